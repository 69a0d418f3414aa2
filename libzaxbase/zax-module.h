#ifndef ZAX_MODULE_H
#define ZAX_MODULE_H

#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zax-function.h"
#include "zax-task.h"
#include "zax-type.h"

namespace zax {

struct ModuleContents;

/// What an add-on exports, or a group of it. Exists while the body of ZAX_MODULE runs, on the
/// JavaScript thread that loads the add-on.
///
/// A name may stand once; every function throws an Exception with code "EBADARG" where it stands
/// already. `names` are the parameters' names and `text` is a sentence of documentation; both go to
/// error messages and declarations.
class Module {
 public:
  explicit Module(Handle exports, ModuleContents& contents)
      : exports_(exports), contents_(contents) {}
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  /// Exports a function that calls `callable`: a function pointer, or a function object, which
  /// lives until the environment ends.
  template <typename F>
  void function(std::string_view name, F&& callable, std::initializer_list<const char*> names = {},
                std::string_view text = {}) {
    define<PlainFunction>(std::forward<F>(callable), Naming{name, names, text},
                          backend->makeFunction);
  }

  /// Exports a function that runs `callable` on the thread pool and returns a promise of its
  /// result. Calls may run at the same time, so a function object is called as const. Of its
  /// parameters a zax::Progress and a zax::Cancellation are not JavaScript's; after the others
  /// JavaScript may give `{ signal, onProgress }`.
  template <typename F>
  void task(std::string_view name, F&& callable, std::initializer_list<const char*> names = {},
            std::string_view text = {}) {
    define<TaskFunction>(std::forward<F>(callable), Naming{name, names, text},
                         backend->makeTaskFunction);
  }

  /// Exports a value.
  template <typename T>
  void value(const std::string& name, T&& value, const std::string& text = "") {
    using Plain = std::decay_t<T>;
    const Handle handle = to(static_cast<const Plain&>(value));
    addValue(name, handle, Declared<Plain>::text, text);
  }
  void value(const std::string& name, const char* value, const std::string& text = "") {
    this->value(name, std::string(value), text);
  }

  /// Exports a class whose instances stand for objects of T; what it has is said on the result. An
  /// object lives until its JavaScript object has been collected, or the environment ends, and
  /// belongs to the thread of that environment.
  template <typename T>
  TypeBuilder<T> type(std::string_view name, std::string_view text = {}) {
    return TypeBuilder<T>(addType(name, text, typeid(T)));
  }

  /// Exports an object with functions and values of its own; use it while the body runs.
  Module object(const std::string& name, const std::string& text = "");

 private:
  using Make = ZaxValue* (*)(const ZaxFunction* function);

  template <template <typename> typename Made, typename F>
  void define(F&& callable, const Naming& naming, Make make) {
    using Callable = std::decay_t<F>;
    static_assert(
        CallableOf<Callable>::known,
        "not a callable with one signature: of an overloaded or generic one, wrap the form "
        "that is meant in a lambda");
    if constexpr (CallableOf<Callable>::known) {
      add(new Made<Callable>(std::forward<F>(callable), naming), Made<Callable>::destroy, make);
    }
  }

  /// `destroy(function)` is called at the end of the environment.
  void add(Function* function, void (*destroy)(void* function), Make make);
  void addValue(const std::string& name, Handle value, std::string (*declaration)(),
                const std::string& text);
  Type& addType(std::string_view name, std::string_view text, const std::type_info& info);
  void reserve(const std::string& name) const;
  void define(const std::string& name, Handle value);

  Handle exports_;
  ModuleContents& contents_;
};

/// Runs the body of a module for the environment that loads it; what it throws is thrown by
/// `require`.
bool loadModule(const ZaxBackend* table, ZaxValue* exports, void (*body)(Module& module)) noexcept;

}  // namespace zax

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is a name.

/// Registers an add-on: `ZAX_MODULE(module) { module.function("add", add); }`. The body runs once
/// for each JavaScript thread that loads the add-on.
#define ZAX_MODULE(module)                                                                     \
  static void zaxModuleBody(zax::Module& module);                                              \
  extern "C" __attribute__((visibility("default"))) const ZaxNeeds* zax_needs() {              \
    static const ZaxNeeds needs = {ZAX_BACKEND_MAJOR, sizeof(ZaxBackend)};                     \
    return &needs;                                                                             \
  }                                                                                            \
  extern "C" __attribute__((visibility("default"))) bool zax_module(const ZaxBackend* backend, \
                                                                    ZaxValue* exports) {       \
    return zax::loadModule(backend, exports, zaxModuleBody);                                   \
  }                                                                                            \
  static void zaxModuleBody([[maybe_unused]] zax::Module& module)

// NOLINTEND(bugprone-macro-parentheses)

#endif
