#include "zax-module.h"

#include <memory>

#include "zax-base.h"

namespace zax {

/// What a module, or a group of it, has: for its declarations.
struct ModuleContents {
  struct Entry {
    std::string name;
    std::string text;
    const Function* function = nullptr;      ///< owned by the environment
    std::string (*declaration)() = nullptr;  ///< of a value
    std::unique_ptr<ModuleContents> group = nullptr;
    Type* type = nullptr;  ///< owned by the environment
  };

  const Entry* find(const std::string& name) const {
    for (const Entry& entry : entries) {
      if (entry.name == name) return &entry;
    }
    return nullptr;
  }

  std::vector<Entry> entries;
  Handle exports;  ///< while the body runs
};

namespace {

/// Makes the classes and checks what the module has, once that is all there.
void complete(const ModuleContents& contents) {
  for (const auto& entry : contents.entries) {
    if (entry.type) {
      contents.exports.set(entry.name, entry.type->complete());
    } else if (entry.function) {
      checkTypes(*entry.function);
    } else if (entry.group) {
      complete(*entry.group);
    }
  }
}

void abandon(const ModuleContents& contents) {
  for (const auto& entry : contents.entries) {
    if (entry.type) entry.type->abandon();
    if (entry.group) abandon(*entry.group);
  }
}

/// The members of a group's type.
std::string declareMembers(const ModuleContents& contents, const std::string& indentation) {
  std::string text;
  for (const auto& entry : contents.entries) {
    const std::string name = isIdentifier(entry.name) ? entry.name : quoted(entry.name);
    text += documentation(entry.text, indentation);
    if (entry.function) {
      text += entry.function->declaration(concat({indentation, name}), indentation);
    } else if (entry.type) {
      text += concat({indentation, "readonly ", name, ": typeof ", nameOfClass(*entry.type)});
    } else if (entry.group) {
      const std::string members = declareMembers(*entry.group, concat({indentation, "  "}));
      text += concat({indentation, name, ": {\n", members, indentation, "}"});
    } else {
      text += concat({indentation, "readonly ", name, ": ", entry.declaration()});
    }
    text += ";\n";
  }
  return text;
}

/// The statement that declares an entry under a name, after `keyword`.
std::string declareAs(const char* keyword, const ModuleContents::Entry& entry,
                      const std::string& name) {
  std::string text = documentation(entry.text, "");
  if (entry.type) {
    return concat({text, keyword, "class ", name, entry.type->declaration(""), "\n\n"});
  }
  if (entry.function) {
    text += entry.function->declaration(concat({keyword, "function ", name}), "");
  } else if (entry.group) {
    text += concat({keyword, "const ", name, ": {\n", declareMembers(*entry.group, "  "), "}"});
  } else {
    text += concat({keyword, "const ", name, ": ", entry.declaration()});
  }
  return text + ";\n\n";
}

/// One export. Any name can be exported, but not every one declared.
std::string declareExport(const ModuleContents::Entry& entry) {
  const std::string name = entry.type ? nameOfClass(*entry.type) : declarable(entry.name);
  if (name == entry.name) return declareAs("export ", entry, name);
  const std::string exported = isIdentifier(entry.name) ? entry.name : quoted(entry.name);
  std::string text = declareAs("declare ", entry, name);
  text.pop_back();  // The two statements belong together.
  return concat({text, "export { ", name, " as ", exported, " };\n\n"});
}

/// Gives the classes their names, before anything else takes one.
void nameClasses(const ModuleContents& contents) {
  for (const auto& entry : contents.entries) {
    if (entry.type) (void)nameOfClass(*entry.type);
    if (entry.group) nameClasses(*entry.group);
  }
}

/// The classes of a group, to which its members refer.
std::string declareClasses(const ModuleContents& group) {
  std::string text;
  for (const auto& entry : group.entries) {
    if (entry.group) text += declareClasses(*entry.group);
    if (entry.type) text += declareAs("declare ", entry, nameOfClass(*entry.type));
  }
  return text;
}

constexpr const char* errorDeclaration =
    "/** What is thrown where native code fails. */\n"
    "export type { ZaxBindingError } from 'zaxbase/runtime';\n";

/// The add-on's declarations; what `zaxbase types` calls.
std::string declare(const ModuleContents& contents) {
  const Declarations types;
  nameClasses(contents);
  std::string exports;
  for (const auto& entry : contents.entries) {
    if (entry.group) exports += declareClasses(*entry.group);
    exports += declareExport(entry);
  }
  const std::string text = concat({types.text(), exports, errorDeclaration});
  const bool disposes = text.find("[Symbol.dispose]") != std::string::npos;
  return concat({disposes ? "/// <reference lib=\"esnext.disposable\" />\n\n" : "", text});
}

constexpr const char* declarationsSymbol = "zaxbase.declarations";

/// The function that gives the declarations, out of sight.
void addDeclarations(Handle exports, const ModuleContents& contents) {
  auto give = [&contents] { return declare(contents); };
  using Made = PlainFunction<decltype(give)>;
  auto* function = new Made(give, Naming{declarationsSymbol, {}, {}});
  backend->own(static_cast<Function*>(function), Made::destroy);
  const Handle value = checked(backend->makeFunction(function));
  checked(backend->hideProperty(exports.get(), declarationsSymbol, value.get()));
}

}  // namespace

void Module::reserve(const std::string& name) const {
  if (contents_.find(name)) {
    throw ErrnoGenericException<EBADARG>(__("%(name)s is exported twice", "name", name),
                                         ZAX_DEBUG_INFO);
  }
}

void Module::define(const std::string& name, Handle value) {
  reserve(name);
  exports_.set(name, value);
}

void Module::add(Function* function, void (*destroy)(void* function), Make make) {
  backend->own(function, destroy);
  define(function->jsName(), checked(make(function)));
  contents_.entries.push_back({function->jsName(), function->text(), function});
}

Type& Module::addType(std::string_view name, std::string_view text, const std::type_info& info) {
  reserve(std::string(name));
  Type* type = Type::make(name, text, info);
  contents_.exports = exports_;
  contents_.entries.push_back({type->name, type->text(), nullptr, nullptr, nullptr, type});
  return *type;
}

void Module::addValue(const std::string& name, Handle value, std::string (*declaration)(),
                      const std::string& text) {
  define(name, value);
  contents_.entries.push_back({name, text, nullptr, declaration});
}

Module Module::object(const std::string& name, const std::string& text) {
  const Handle object = Handle::object();
  define(name, object);
  contents_.entries.push_back({name, text, nullptr, nullptr, std::make_unique<ModuleContents>()});
  return Module(object, *contents_.entries.back().group);
}

bool loadModule(const ZaxBackend* table, ZaxValue* exports, void (*body)(Module& module)) noexcept {
  if (backend != table) backend = table;  // Workers read it.
  ModuleContents* contents = nullptr;
  try {
    contents = new ModuleContents;
    backend->own(contents, [](void* owned) { delete static_cast<ModuleContents*>(owned); });
    addDeclarations(Handle(exports), *contents);
    Module module(Handle(exports), *contents);
    body(module);
    complete(*contents);
    return true;
  } catch (std::exception& e) {
    throwToScript(&e, "module", "");
  } catch (...) {
    throwToScript(nullptr, "module", "");
  }
  if (contents) abandon(*contents);
  return false;
}

}  // namespace zax
