#ifndef ZAX_V8_CALLBACK_H
#define ZAX_V8_CALLBACK_H

#include <v8.h>

#include <list>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

namespace zax {

/// Holds a JavaScript function and replies to it. Empty until parseCallback or reset fills it; a
/// copy is a second, independent handle to the same function. JavaScript thread only, the
/// destructor included. One that outlives its JavaScript thread, as a static one does, lets go of
/// nothing.
///
/// Every `call` opens its own handle scope. What the function returns is discarded; what it throws
/// is reported as an uncaught exception of the process, and the native caller carries on.
/// Calling an empty Callback does nothing.
class Callback {
 public:
  Callback() : function_() {}
  Callback(const Callback& other);
  Callback(Callback&& other) noexcept
      : function_(std::move(other.function_)), isolate_(other.isolate_) {}
  Callback& operator=(const Callback& other);
  Callback& operator=(Callback&& other) noexcept;
  ~Callback();

  /// Whether it holds a function.
  explicit operator bool() const { return !function_.IsEmpty(); }

  /// Holds `function` from now on and lets go of what was held before.
  void reset(v8::Local<v8::Function> function);

  /// Calls the function without arguments: the reply of a job that has no result.
  void call();

  /// Calls the function with (0, value).
  void call(int value);
  void call(const std::string& text);
  void call(const std::list<std::string>& items);
  void call(const std::set<std::string>& items);
  void call(const std::map<std::string, std::string>& entries);
  void call(const std::map<std::string, unsigned long>& entries);

  /// Calls the function with (null, value): a ready value is marked by `null`, not by 0.
  void call(v8::Local<v8::Value> value);

  /// For what would silently become an int or a text. Does not compile, and says why.
  template <typename T,
            typename = std::enable_if_t<std::is_same_v<T, bool> || std::is_floating_point_v<T> ||
                                        std::is_null_pointer_v<T>>>
  void call(T) {
    static_assert(sizeof(T) == 0,
                  "a Callback replies with int, text or a container of texts: make any other value "
                  "ready, as in call(Nan::New(1.5))");
  }

  /// Calls the function with the given arguments; error replies use this.
  void call(int argc, v8::Local<v8::Value>* argv);

  /// The bare call, for callers that hold a handle scope and a TryCatch themselves. Empty when the
  /// function threw inside an outer JavaScript call, and when there is no function.
  v8::MaybeLocal<v8::Value> invoke(int argc, v8::Local<v8::Value>* argv) const;

 private:
  void callGuarded(v8::Isolate* isolate, int argc, v8::Local<v8::Value>* argv);

  template <typename Build>
  void reply(const Build& build);

  // In a union, for the destructor to decide: without the isolate there is nothing to let go of.
  union {
    v8::Global<v8::Function> function_;
  };
  v8::Isolate* isolate_ = nullptr;  // that of the function
};

/// Reports what script threw, if it did, as an uncaught exception of the process; the termination
/// of a Worker's script is none. JavaScript thread only.
void reportUncaught(v8::Isolate* isolate, const v8::TryCatch& tryCatch);

/// Calls the function stored under `name` on the global object, with the global object as receiver,
/// and returns its result. When there is no such function, writes a line to standard error and
/// returns `null`. An exception thrown by the function stays pending, and the result is empty;
/// with no JavaScript further out, it is reported as uncaught, and the result is `undefined`.
/// JavaScript thread only, inside the caller's handle scope.
v8::Local<v8::Value> v8call(const char* name, int argc, v8::Local<v8::Value>* argv);

/// Keeps a function template alive. JavaScript thread only, the destructor included.
class PersistentFunctionTemplate {
 public:
  explicit PersistentFunctionTemplate(v8::Local<v8::FunctionTemplate> functionTemplate);

  /// The function that the template makes in the current context, in the caller's handle scope.
  v8::Local<v8::Function> getFunctionClone() const;

 private:
  v8::Global<v8::FunctionTemplate> template_;
};

}  // namespace zax

#endif
