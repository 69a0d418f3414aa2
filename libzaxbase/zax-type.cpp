#include "zax-type.h"

#include "zax-base.h"
#include "zax-declaration.h"
#include "zax-exception-common.h"

namespace zax {

namespace {

[[noreturn]] void refuseMember(const char* type, const char* member, const char* problem) {
  throw ErrnoGenericException<EBADARG>(
      __("%(type)s.%(member)s %(problem)s", "type", type, "member", member, "problem", problem),
      ZAX_DEBUG_INFO);
}

}  // namespace

Type::Type(std::string_view name, std::string_view text, const std::type_info& info)
    : ZaxType(), name_(name), text_(text) {
  ZaxType::name = name_.c_str();
  ZaxType::key = &info;
}

Type* Type::make(std::string_view name, std::string_view text, const std::type_info& info) {
  if (const ZaxType* known = backend->findType(&info)) {
    auto* type = const_cast<Type*>(static_cast<const Type*>(known));
    if (type->isComplete_) return type;
    throw ErrnoGenericException<EBADARG>(__("the C++ type of %(name)s is %(other)s already", "name",
                                            std::string(name), "other", known->name),
                                         ZAX_DEBUG_INFO);
  }
  auto* type = new Type(name, text, info);
  backend->own(type, [](void* owned) { delete static_cast<Type*>(owned); });
  backend->makeType(type);
  return type;
}

bool Type::own(Function* function, Destroy destroy) const {
  if (isComplete_) {
    destroy(function);
  } else {
    backend->own(function, destroy);
  }
  return !isComplete_;
}

void Type::setConstructor(Function* function, Destroy destroy) {
  if (!own(function, destroy)) return;
  if (constructor_) refuseMember(name, "constructor", "is defined twice");
  constructor = constructor_ = function;
}

void Type::add(ZaxMemberKind kind, Function* function, Destroy destroy) {
  if (own(function, destroy)) addMember({kind, function, nullptr});
}

void Type::addProperty(Function* getter, Destroy destroyGetter, Function* setter,
                       Destroy destroySetter) {
  if (setter) own(setter, destroySetter);
  if (!own(getter, destroyGetter)) return;
  if (getter->signature().count != 0) refuseMember(name, getter->jsName(), "is no getter");
  if (setter && setter->signature().count != 1) {
    refuseMember(name, setter->jsName(), "has no setter of one parameter");
  }
  addMember({ZaxAccessor, getter, setter});
}

void Type::addMember(const Member& member) {
  const std::string_view added = member.function->jsName();
  const bool isStatic = member.kind == ZaxStaticFunction;
  bool isTaken = added == "constructor" || (isStatic && added == "prototype");
  for (const Member& other : members_) {
    const bool isOtherStatic = other.kind == ZaxStaticFunction;
    if (isStatic == isOtherStatic && added == other.function->jsName()) isTaken = true;
  }
  if (isTaken) refuseMember(name, member.function->jsName(), "is defined twice");
  if (!backend->addMember(this, member.kind, member.function, member.setter)) {
    refuseMember(name, member.function->jsName(), "comes after the first instance");
  }
  members_.push_back(member);
}

void Type::extend(const std::type_info& base, void* (*toBase)(void* object)) {
  if (isComplete_) return;
  ZaxType::base = backend->findType(&base);
  ZaxType::toBase = toBase;
  if (!ZaxType::base) {
    throw ErrnoGenericException<EBADARG>(
        __("%(name)s extends a class that is no type of the module yet", "name", name_),
        ZAX_DEBUG_INFO);
  }
}

std::string Type::declareMember(const Member& member, const std::string& indentation) const {
  const Function& function = *member.function;
  const char* jsName = function.jsName();
  const std::string shown = isIdentifier(jsName) ? jsName : quoted(jsName);
  const char* before = member.kind == ZaxStaticFunction ? "static "
                       : member.kind == ZaxAccessor     ? "get "
                                                        : "";
  std::string text = documentation(function.text(), indentation);
  text += function.declaration(concat({indentation, before, shown}), indentation) + ";\n";
  if (member.setter) {
    const std::string type = member.setter->signature().parameters[0]();
    text += concat({indentation, "set ", shown, "(value: ", type,
                    acceptsUndefined(type) ? " | null" : "", ");\n"});
  }
  if (member.kind == ZaxDisposer) {
    text += concat({indentation, "[Symbol.dispose](): void;\n"});
  }
  return text;
}

std::string Type::declaration(const std::string& indentation) const {
  const std::string inner = concat({indentation, "  "});
  std::string text = ZaxType::base ? concat({" extends ", nameOfClass(*ZaxType::base)}) : "";
  text += " {\n";
  if (constructor_) {
    text += constructor_->declaration(concat({inner, "constructor"}), inner, false) + ";\n";
  } else {
    text += concat({inner, "private constructor();\n"});
  }
  for (const Member& member : members_) text += declareMember(member, inner);
  return concat({text, indentation, "}"});
}

Handle Type::complete() {
  if (!isComplete_) {
    if (constructor_) checkTypes(*constructor_);
    for (const Member& member : members_) {
      checkTypes(*member.function);
      if (member.setter) checkTypes(*member.setter);
    }
  }
  isComplete_ = true;
  return checked(backend->getClass(this));
}

void Type::abandon() {
  if (!isComplete_) key = nullptr;
}

void checkTypes(const Function& function) {
  if (!function.signature().usesInstances) return;
  const Declarations types;  // so that the members of structs are declared too
  try {
    (void)function.declaration("", "");
  } catch (const ConversionError& e) {
    throw ErrnoGenericException<EBADARG>(
        __("%(function)s: %(problem)s", "function", function.fullName(), "problem", e.what()),
        ZAX_DEBUG_INFO);
  }
}

}  // namespace zax
