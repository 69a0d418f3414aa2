#ifndef ZAX_V8_ENVIRONMENT_H
#define ZAX_V8_ENVIRONMENT_H

#include <v8.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zax-backend.h"
#include "zax-base.h"
#include "zax-v8-bulk.h"
#include "zax-v8-bytes.h"
#include "zax-v8-loop.h"
#include "zax-v8-reference.h"
#include "zax-v8-task.h"
#include "zax-v8-type.h"

namespace zax {

/// Texts that errors have again and again, as JavaScript strings. JavaScript thread only.
class KnownTexts {
 public:
  /// The string of a text; null is the empty one.
  v8::Local<v8::String> get(v8::Isolate* isolate, const char* utf8);

 private:
  struct Known {
    std::string utf8;
    v8::Global<v8::String> string;
  };

  std::array<Known, 64> known_;  ///< each at a place that its address gives
};

/// What the plain road has in one JavaScript thread: one object for the main thread and for each
/// Worker that loads the add-on, from the first load to the end of that thread's environment. Every
/// handle that lives longer than a call lives here. JavaScript thread only.
class Environment : public NonCopyable {
 public:
  /// That of the calling thread; null where none was entered or it has ended.
  static Environment* current() { return current_; }

  /// That of the calling thread, made at the first call. `context` is the main one.
  static Environment& enter(v8::Local<v8::Context> context);

  v8::Isolate* isolate() const { return isolate_; }
  EventLoop& loop() { return loop_; }

  /// Makes a ZaxBindingError, in the caller's handle scope; empty when script failed on the way.
  v8::MaybeLocal<v8::Value> makeError(const ZaxErrorRecord& record);

  /// Keeps what script threw until it is taken.
  void keepThrown(v8::Local<v8::Value> thrown) { thrown_.Reset(isolate_, thrown); }
  ZaxReference* takeThrown();

  /// A new object that has captured the stack of the script that runs, as far as
  /// `Error.stackTraceLimit` says; empty when script failed on the way.
  v8::MaybeLocal<v8::Object> captureStack();

  /// Within its life errors have the stack that `trace` has captured; an empty one, none.
  class Trace : public NonCopyable {
   public:
    Trace(Environment& environment, v8::Local<v8::Object> trace)
        : environment_(environment), outer_(environment.trace_), trace_(trace) {
      environment.trace_ = &trace_;
    }
    ~Trace() { environment_.trace_ = outer_; }

   private:
    Environment& environment_;
    const v8::Local<v8::Object>* outer_;
    v8::Local<v8::Object> trace_;
  };

  Tasks& tasks();
  Instances& instances() { return instances_; }

  References& references() const { return *references_; }
  BulkMemory& bulk() { return bulk_; }
  ShapeScripts& scriptsOf(const ZaxShape* shape);

  SmallBuffers& smallBuffers() { return smallBuffers_; }

  /// Remembers whose memory native code is going to hold; of late ones, as long as they live.
  void remember(v8::Local<v8::ArrayBuffer> buffer);
  /// The remembered ArrayBuffer of this memory; empty where there is none.
  v8::Local<v8::ArrayBuffer> recall(const std::shared_ptr<v8::BackingStore>& memory) const;

 private:
  Environment(EventLoop& loop, v8::Local<v8::Context> context);
  ~Environment();

  static thread_local Environment* current_;

  EventLoop& loop_;
  v8::Isolate* isolate_;
  v8::Global<v8::Function> makeError_;
  KnownTexts texts_;
  v8::Global<v8::Object> errorConstructor_;
  v8::Global<v8::String> stackTraceLimit_;
  const v8::Local<v8::Object>* trace_ = nullptr;  ///< for errors; null: the stack of the moment
  Instances instances_;
  std::unique_ptr<Tasks> tasks_;
  v8::Global<v8::Value> thrown_;
  std::shared_ptr<References> references_;
  BulkMemory bulk_;
  std::vector<std::unique_ptr<ShapeScripts>> shapes_;
  std::size_t lastShape_ = 0;  ///< the index of the one that was asked for last
  SmallBuffers smallBuffers_;
  std::array<v8::Global<v8::ArrayBuffer>, 16> remembered_;
  std::size_t nextRemembered_ = 0;
};

/// Catches what script throws within its life, for the backend's callers to take. A termination of
/// the thread goes on.
class ScriptGuard : public NonCopyable {
 public:
  explicit ScriptGuard(v8::Isolate* isolate) : tryCatch_(isolate) {}
  ~ScriptGuard() {
    if (tryCatch_.HasCaught()) keep();
  }

 private:
  void keep();

  v8::TryCatch tryCatch_;
};

/// What is thrown into script while `run` runs; empty where nothing is, or where the thread is
/// being terminated, which goes on. (In some versions of V8 nothing else may be called as long as
/// the TryCatch has not been destroyed.)
template <typename F>
v8::Local<v8::Value> thrownBy(v8::Isolate* isolate, const F& run) {
  v8::TryCatch tryCatch(isolate);
  run();
  if (!tryCatch.HasTerminated()) return tryCatch.Exception();
  tryCatch.ReThrow();
  return {};
}

/// Compiles and runs a script of the framework's own.
v8::MaybeLocal<v8::Value> runScript(v8::Local<v8::Context> context, const char* source);

}  // namespace zax

#endif
