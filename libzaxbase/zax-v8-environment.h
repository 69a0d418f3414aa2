#ifndef ZAX_V8_ENVIRONMENT_H
#define ZAX_V8_ENVIRONMENT_H

#include <v8.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "zax-backend.h"
#include "zax-base.h"
#include "zax-v8-bulk.h"
#include "zax-v8-bytes.h"
#include "zax-v8-reference.h"

namespace zax {

/// What the plain road has in one JavaScript thread: one object for the main thread and for each
/// Worker that loads the add-on, from the first load to the end of that thread's environment. Every
/// handle that lives longer than a call lives here. JavaScript thread only.
class Environment : public NonCopyable {
 public:
  /// That of the calling thread; null where none was entered or it has ended.
  static Environment* current() { return current_; }

  /// That of the calling thread, made at the first call. `context` is the main one.
  static Environment& enter(v8::Local<v8::Context> context);

  /// Whether the main thread's environment has ended, and with it what its memory came from: what
  /// is released later, by a static object, is left to the end of the process. Any thread.
  static bool isMainOver() { return mainOver_; }

  v8::Isolate* isolate() const { return isolate_; }

  /// Calls destroy(object) at the end of the environment, the last first.
  void own(void* object, void (*destroy)(void*)) { owned_.emplace_back(object, destroy); }

  /// Makes a ZaxBindingError, in the caller's handle scope; empty when script failed on the way.
  v8::MaybeLocal<v8::Value> makeError(const ZaxErrorRecord& record);

  /// Keeps what script threw until it is taken.
  void keepThrown(v8::Local<v8::Value> thrown) { thrown_.Reset(isolate_, thrown); }
  ZaxReference* takeThrown();

  References& references() const { return *references_; }
  BulkMemory& bulk() { return bulk_; }
  ShapeScripts& scriptsOf(const ZaxShape* shape);

  SmallBuffers& smallBuffers() { return smallBuffers_; }

 private:
  explicit Environment(v8::Local<v8::Context> context);
  ~Environment();

  static thread_local Environment* current_;
  static std::atomic<bool> mainOver_;

  v8::Isolate* isolate_;
  v8::Global<v8::Function> makeError_;
  v8::Global<v8::Function> captureStackTrace_;
  v8::Global<v8::Value> thrown_;
  std::shared_ptr<References> references_;
  BulkMemory bulk_;
  std::vector<std::unique_ptr<ShapeScripts>> shapes_;
  std::size_t lastShape_ = 0;  ///< the index of the one that was asked for last
  SmallBuffers smallBuffers_;
  std::vector<std::pair<void*, void (*)(void*)>> owned_;
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

/// Compiles and runs a script of the framework's own.
v8::MaybeLocal<v8::Value> runScript(v8::Local<v8::Context> context, const char* source);

}  // namespace zax

#endif
