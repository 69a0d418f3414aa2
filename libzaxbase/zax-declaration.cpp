#include "zax-declaration.h"

#include "zax-base.h"

namespace zax {

namespace {

/// Whether a name is one of some words that have spaces around them.
bool isAmong(std::string_view words, const std::string& name) {
  return words.find(concat({" ", name, " "})) != std::string_view::npos;
}

/// A name for a class, an interface or a union: it hides no type that declarations refer to.
std::string typeName(const std::string& name) {
  constexpr std::string_view types =
      " AbortSignal ArrayBuffer BigInt64Array BigUint64Array Date Float32Array Float64Array "
      "Int16Array Int32Array Int8Array Map Promise Record Symbol Uint16Array Uint32Array "
      "Uint8Array Uint8ClampedArray ZaxBindingError any bigint boolean never number object "
      "string symbol undefined unknown ";
  const std::string result = declarable(name);
  return isAmong(types, result) ? result + "_" : result;
}

}  // namespace

thread_local Declarations* Declarations::current = nullptr;

Declarations::Declarations() : outer_(current) { current = this; }

Declarations::~Declarations() { current = outer_; }

/// Where a type is among those that were referred to; behind the last where it is not.
std::size_t Declarations::indexOf(const void* type) const {
  std::size_t index = 0;
  while (index < types_.size() && types_[index].type != type) ++index;
  return index;
}

std::string Declarations::nameFor(const std::string& ownName) const {
  const auto isTaken = [&](const std::string& name) {
    for (const Declared& type : types_) {
      if (type.name == name) return true;
    }
    return false;
  };
  const std::size_t colon = ownName.rfind(':');
  std::string name = typeName(colon == std::string::npos ? ownName : ownName.substr(colon + 1));
  while (isTaken(name)) name += "_";
  return name;
}

std::string Declarations::refer(const std::string& ownName, const void* type, Write write) {
  if (!current) return ownName;
  const std::size_t index = current->indexOf(type);
  if (index == current->types_.size()) {
    current->types_.push_back({type, current->nameFor(ownName), ""});
    if (write) {  // It may refer to others, and to itself.
      std::string text = write(type);
      Declared& declared = current->types_[index];
      declared.text = concat({"export ", text.replace(text.find('%'), 1, declared.name), "\n\n"});
    }
  }
  return current->types_[index].name;
}

bool isIdentifier(const std::string& name) {
  if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
  for (const char c : name) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$';
    if (!letter && !(c >= '0' && c <= '9')) return false;
  }
  return true;
}

std::string quoted(const std::string& name) {
  std::string text = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') text += '\\';
    text += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return text + "\"";
}

std::string declarable(const std::string& name) {
  constexpr std::string_view words =
      " arguments await break case catch class const continue debugger default delete do else enum "
      "eval export extends false finally for function if implements import in instanceof interface "
      "let new null package private protected public return static super switch this throw true "
      "try typeof var void while with yield ";
  if (isAmong(words, name)) return name + "_";
  if (isIdentifier(name)) return name;
  std::string result = "_";
  for (const char c : name) result += isIdentifier({'_', c}) ? c : '_';
  return result;
}

std::string Declarations::text() const {
  std::string result;
  for (const Declared& type : types_) result += type.text;
  return result;
}

bool acceptsUndefined(const std::string& declaration) {
  const std::string suffix = " | undefined";
  return declaration == "undefined" ||
         (declaration.size() >= suffix.size() &&
          declaration.compare(declaration.size() - suffix.size(), suffix.size(), suffix) == 0);
}

std::string documentation(const std::string& text, const std::string& indentation) {
  if (text.empty()) return "";
  std::string safe = text;
  for (std::size_t at = 0; (at = safe.find("*/", at)) != std::string::npos;)
    safe.insert(at + 1, "\\");
  for (std::size_t at = 0; (at = safe.find('\n', at)) != std::string::npos;) {
    safe.insert(++at, concat({indentation, " * "}));
  }
  return concat({indentation, "/** ", safe, " */\n"});
}

}  // namespace zax
