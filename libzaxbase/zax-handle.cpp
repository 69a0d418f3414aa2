#include "zax-handle.h"

#include <cerrno>

namespace zax {

void throwWhatScriptThrew() { throw ScriptException(); }

bool Handle::boolean() const {
  bool result;
  if (!backend->getBoolean(value_, &result)) throw BadArgument("boolean", *this);
  return result;
}

double Handle::number() const {
  double result;
  if (!backend->getNumber(value_, &result)) throw BadArgument("number", *this);
  return result;
}

std::size_t Handle::length() const {
  if (!isArray()) throw BadArgument("array", *this);
  return backend->getLength(value_);
}

Handle Handle::element(std::size_t index) const {
  if (!isArray()) throw BadArgument("array", *this);
  ZaxValue* element;
  checked(backend->getElements(value_, index, 1, &element));
  return Handle(element);
}

Handle Handle::property(std::string_view name) const {
  if (!isObject()) throw BadArgument("object", *this);
  return checked(backend->getProperty(value_, name.data(), name.size()));
}

void Handle::set(std::string_view name, Handle value) const { set(text(name), value); }

void Handle::set(Handle key, Handle value) const {
  if (!isObject()) throw BadArgument("object", *this);
  if (!key.isString() && key.kind() != ZaxSymbol) throw BadArgument("string or symbol", key);
  checked(backend->setProperty(value_, key.get(), value.get()));
}

Handle Handle::call(const std::vector<Handle>& arguments) const {
  if (!isFunction()) throw BadArgument("function", *this);
  static_assert(sizeof(Handle) == sizeof(ZaxValue*));
  const auto* values = reinterpret_cast<ZaxValue* const*>(arguments.data());
  return checked(backend->call(value_, values, arguments.size()));
}

Handle Handle::text(std::string_view utf8) {
  ZaxValue* value = backend->makeString(utf8.data(), utf8.size());
  if (!value) {
    throw ConversionError(Errno(ERANGE), "a text of " + std::to_string(utf8.size()) +
                                             " bytes is too long for a JavaScript string");
  }
  return Handle(value);
}

Handle Handle::array(const std::vector<Handle>& elements) {
  const auto* values = reinterpret_cast<ZaxValue* const*>(elements.data());
  return Handle(backend->makeArray(values, elements.size()));
}

std::string Handle::description() const {
  char text[160];
  backend->describe(value_, text, sizeof(text));
  return text;
}

void Reference::check() const {
  if (!reference_ || !backend->canGetReference(reference_.get())) {
    throw Exception("EFAILED",
                    __("a JavaScript value can be used only on the thread that it belongs to, "
                       "while its environment lives"),
                    ZAX_DEBUG_INFO);
  }
}

Handle Reference::value() const {
  check();
  return Handle(backend->getReference(reference_.get()));
}

}  // namespace zax
