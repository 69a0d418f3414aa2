#include "zax-module.h"

#include <memory>

namespace zax {

/// What a module, or a group of it, has: for its declarations.
struct ModuleContents {
  struct Entry {
    std::string name;
    std::string text;
    const Function* function = nullptr;      ///< owned by the environment
    std::string (*declaration)() = nullptr;  ///< of a value
    std::unique_ptr<ModuleContents> group;
  };

  const Entry* find(const std::string& name) const {
    for (const Entry& entry : entries) {
      if (entry.name == name) return &entry;
    }
    return nullptr;
  }

  std::vector<Entry> entries;
};

namespace {

bool isReserved(const std::string& name) {
  static const char* const words[] = {
      "break",  "case",     "catch",  "class",  "const",  "continue",   "debugger", "default",
      "delete", "do",       "else",   "enum",   "export", "extends",    "false",    "finally",
      "for",    "function", "if",     "import", "in",     "instanceof", "new",      "null",
      "return", "super",    "switch", "this",   "throw",  "true",       "try",      "typeof",
      "var",    "void",     "while",  "with",   "yield",  "let",        "static",   "await"};
  for (const char* word : words) {
    if (name == word) return true;
  }
  return false;
}

/// The members of a group's type.
std::string declareMembers(const ModuleContents& contents, const std::string& indentation) {
  std::string text;
  for (const auto& entry : contents.entries) {
    text += documentation(entry.text, indentation) + indentation;
    if (entry.function) {
      text += entry.function->declaration();
    } else if (entry.group) {
      text += entry.name + ": {\n" + declareMembers(*entry.group, indentation + "  ") +
              indentation + "}";
    } else {
      text += "readonly " + entry.name + ": " + entry.declaration();
    }
    text += ";\n";
  }
  return text;
}

/// One export, as a statement.
std::string declareExport(const ModuleContents::Entry& entry) {
  const std::string head = documentation(entry.text, "");
  // A word of the language can be exported under its name, but not declared under it.
  const bool reserved = isReserved(entry.name);
  const std::string prefix = reserved ? "declare " : "export ";
  const std::string suffix =
      reserved ? "export { " + entry.name + "_ as " + entry.name + " };\n" : "";
  const std::string name = entry.name + (reserved ? "_" : "");
  std::string text;
  if (entry.function) {
    text = "function " + name + entry.function->declaration().substr(entry.name.size());
  } else if (entry.group) {
    text = "const " + name + ": {\n" + declareMembers(*entry.group, "  ") + "}";
  } else {
    text = "const " + name + ": " + entry.declaration();
  }
  return head + prefix + text + ";\n" + suffix + "\n";
}

/// The add-on's declarations; what `zaxbase types` calls.
std::string declare(const ModuleContents& contents) {
  const Declarations types;
  std::string exports;
  for (const auto& entry : contents.entries) exports += declareExport(entry);
  std::string text = types.text() + exports;
  if (!text.empty()) text.pop_back();  // the blank line after the last
  return text;
}

template <typename T>
void own(T* object) {
  backend->own(object, [](void* owned) { delete static_cast<T*>(owned); });
}

constexpr const char* declarationsSymbol = "zaxbase.declarations";

/// The function that gives the declarations, out of sight.
void addDeclarations(Handle exports, const ModuleContents& contents) {
  auto give = [&contents] { return declare(contents); };
  auto* function = new FunctionOf<decltype(give)>(give, declarationsSymbol, {}, "");
  own<Function>(function);
  const Handle value = checked(backend->makeFunction(function));
  checked(backend->hideProperty(exports.get(), declarationsSymbol, value.get()));
}

}  // namespace

void Module::define(const std::string& name, Handle value) {
  if (contents_.find(name)) {
    throw ErrnoGenericException<EBADARG>(__("%(name)s is exported twice", "name", name),
                                         ZAX_DEBUG_INFO);
  }
  exports_.set(name, value);
}

void Module::add(Function* function) {
  own(function);
  define(function->jsName(), checked(backend->makeFunction(function)));
  contents_.entries.push_back({function->jsName(), function->text(), function, nullptr, nullptr});
}

void Module::addValue(const std::string& name, Handle value, std::string (*declaration)(),
                      const std::string& text) {
  define(name, value);
  contents_.entries.push_back({name, text, nullptr, declaration, nullptr});
}

Module Module::object(const std::string& name, const std::string& text) {
  const Handle object = Handle::object();
  define(name, object);
  contents_.entries.push_back({name, text, nullptr, nullptr, std::make_unique<ModuleContents>()});
  return Module(object, *contents_.entries.back().group);
}

bool loadModule(const ZaxBackend* table, ZaxValue* exports, void (*body)(Module& module)) noexcept {
  if (backend != table) backend = table;  // Workers read it.
  try {
    auto* contents = new ModuleContents;
    own(contents);
    addDeclarations(Handle(exports), *contents);
    Module module(Handle(exports), *contents);
    body(module);
    return true;
  } catch (...) {
    throwToScript("module", "");
    return false;
  }
}

}  // namespace zax
