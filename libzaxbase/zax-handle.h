#ifndef ZAX_HANDLE_H
#define ZAX_HANDLE_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zax-backend.h"
#include "zax-conversion-error.h"

namespace zax {

/// A JavaScript value during a call: what converters read and make. Copied freely; valid until the
/// call, or the Scope in which it was made, ends. JavaScript thread only.
///
/// Where script runs on the way (a getter, a Proxy) and throws, the function throws a
/// ScriptException, which the caller in JavaScript receives as what was thrown.
class Handle {
 public:
  /// An empty handle: no value, not even `undefined`.
  Handle() = default;
  explicit Handle(ZaxValue* value) : value_(value) {}

  ZaxValue* get() const { return value_; }
  ZaxKind kind() const { return backend->kind(value_); }

  bool isUndefined() const { return kind() == ZaxUndefined; }
  bool isNull() const { return kind() == ZaxNull; }
  bool isBoolean() const { return kind() == ZaxBoolean; }
  bool isNumber() const { return kind() == ZaxNumber; }
  bool isBigInt() const { return kind() == ZaxBigInt; }
  bool isString() const { return kind() == ZaxString; }
  bool isFunction() const { return kind() == ZaxFunctionKind; }
  bool isArray() const { return kind() == ZaxArray; }
  bool isMap() const { return kind() == ZaxMap; }
  /// Whether it has properties; true for arrays and functions too.
  bool isObject() const { return kind() >= ZaxFunctionKind; }

  // The native form of a value. Each throws BadArgument where the value is something else.
  bool boolean() const;
  double number() const;
  std::string text() const;

  /// The number of elements of an array.
  std::size_t length() const;
  Handle element(std::size_t index) const;
  /// A property of an object, inherited ones included; `undefined` where there is none.
  Handle property(std::string_view name) const;

  /// Defines an own property of an object; `key` is a string or a symbol.
  void set(std::string_view name, Handle value) const;
  void set(Handle key, Handle value) const;

  /// Calls a function, with `undefined` as its receiver, and returns its result.
  Handle call(const std::vector<Handle>& arguments) const;

  static Handle undefined() { return Handle(backend->makeUndefined()); }
  static Handle null() { return Handle(backend->makeNull()); }
  static Handle boolean(bool value) { return Handle(backend->makeBoolean(value)); }
  static Handle number(double value) { return Handle(backend->makeNumber(value)); }
  /// A string from UTF-8; what is invalid becomes U+FFFD. Throws ConversionError "ERANGE" where V8
  /// takes no string of that length.
  static Handle text(std::string_view utf8);
  static Handle array(const std::vector<Handle>& elements);
  /// A plain object without properties.
  static Handle object() { return Handle(backend->makeObject()); }

  /// What an error message shows of the value: short values as they are, others by their kind.
  std::string description() const;

 private:
  ZaxValue* value_ = nullptr;
};

// Here, because the framework's own unit is compiled for size, and texts are what most calls have.
__attribute__((noinline)) inline std::string Handle::text() const {
  char few[2048];
  std::size_t size;
  if (!backend->getString(value_, few, sizeof(few), &size)) throw BadArgument("string", *this);
  if (size <= sizeof(few)) return std::string(few, size);
  std::string result(size, '\0');
  backend->getString(value_, result.data(), size, &size);
  return result;
}

/// Ends the life of the handles that are made within it, so that a long loop holds few. JavaScript
/// thread only.
class Scope {
 public:
  Scope() { backend->openScope(&scope_); }
  ~Scope() {
    if (open_) backend->closeScope(&scope_, nullptr);
  }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

  /// Ends the scope, but for one value.
  Handle close(Handle survivor) {
    open_ = false;
    return Handle(backend->closeScope(&scope_, survivor.get()));
  }

 private:
  ZaxScope scope_;
  bool open_ = true;
};

/// Keeps a JavaScript value beyond the call. Copies share it. May be destroyed on any thread, and
/// after its environment has ended.
class Reference {
 public:
  Reference() = default;
  explicit Reference(Handle value) : Reference(backend->makeReference(value.get())) {}
  /// Takes over a reference of the backend; null makes an empty one.
  explicit Reference(ZaxReference* reference) {
    if (reference)
      reference_.reset(reference, [](ZaxReference* r) { backend->releaseReference(r); });
  }

  explicit operator bool() const { return reference_ != nullptr; }

  /// Throws what value() throws. Any thread.
  void check() const;

  /// The value. Throws an Exception with code "EFAILED" on another thread than that which made it,
  /// and after the end of its environment.
  Handle value() const;

  ZaxReference* get() const { return reference_.get(); }

 private:
  std::shared_ptr<ZaxReference> reference_;
};

/// What script threw, on its way through native code back to script.
class ScriptException : public std::exception {
 public:
  /// Takes what the backend keeps.
  ScriptException() : thrown_(backend->takeThrown()) {}

  const char* what() const noexcept override { return "JavaScript threw an exception"; }

  /// What was thrown; empty while the thread is being terminated.
  const Reference& thrown() const { return thrown_; }

 private:
  Reference thrown_;
};

[[noreturn]] void throwWhatScriptThrew();

/// The handle of a value from the backend; throws what script threw where there is none.
inline Handle checked(ZaxValue* value) {
  if (!value) throwWhatScriptThrew();
  return Handle(value);
}
inline void checked(bool done) {
  if (!done) throwWhatScriptThrew();
}

}  // namespace zax

#endif
