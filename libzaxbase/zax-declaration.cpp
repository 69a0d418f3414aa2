#include "zax-declaration.h"

#include "zax-base.h"

namespace zax {

thread_local Declarations* Declarations::current = nullptr;

Declarations::Declarations() : outer_(current) { current = this; }

Declarations::~Declarations() { current = outer_; }

/// Where a type is among those that were referred to; behind the last where it is not.
std::size_t Declarations::indexOf(const void* type) const {
  std::size_t index = 0;
  while (index < types_.size() && types_[index].type != type) ++index;
  return index;
}

std::string Declarations::nameFor(const std::string& cppName) const {
  const auto isTaken = [&](const std::string& name) {
    for (const Declared& type : types_) {
      if (type.name == name) return true;
    }
    return false;
  };
  const std::size_t colon = cppName.rfind(':');
  std::string name = colon == std::string::npos ? cppName : cppName.substr(colon + 1);
  while (isTaken(name)) name += "_";
  return name;
}

std::string Declarations::refer(const std::string& cppName, const void* type, Write write) {
  if (!current) return cppName;
  const std::size_t index = current->indexOf(type);
  if (index == current->types_.size()) {
    current->types_.push_back({type, current->nameFor(cppName), ""});
    // It may refer to others, and to itself.
    std::string text = write(type);
    Declared& declared = current->types_[index];
    declared.text = text.replace(text.find('%'), 1, declared.name);
  }
  return current->types_[index].name;
}

std::string Declarations::text() const {
  std::string result;
  for (const Declared& type : types_) result += concat({"export ", type.text, "\n\n"});
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
