#include "zax-instance.h"

#include "zax-base.h"
#include "zax-debug.h"
#include "zax-declaration.h"

namespace zax {

thread_local Uses* Uses::current = nullptr;

namespace {

/// The name of a type's class, or of itself where it has none.
std::string nameOfType(const std::type_info& type) {
  const ZaxType* known = backend->findType(&type);
  if (known) return known->name;
  std::string name;
  cxxDemangle(name, type.name());
  return name;
}

std::string problemOf(const ZaxInstance& instance) {
  if (instance.disposed) return concat({"the ", instance.type->name, " has been disposed of"});
  if (instance.claims == 0) return concat({"the ", instance.type->name, " is being used"});
  return concat({"a task of the ", instance.type->name, " has not settled yet"});
}

}  // namespace

UnusableInstance::UnusableInstance(const ZaxInstance& instance)
    : ConversionError(Errno(EBUSY), problemOf(instance)) {
  if (instance.disposed) code_ = ErrorCode("EDISPOSED");
}

const ZaxType* typeOf(const std::type_info& type) {
  const ZaxType* known = backend->findType(&type);
  if (!known) {
    throw ConversionError(Errno(EINVAL), concat({"the module has no type ", nameOfType(type),
                                                 ": give it one with module.type"}));
  }
  return known;
}

Instance* Instance::make(std::shared_ptr<void> shared, const ZaxType* type, void* object,
                         const void* identity) {
  const auto destroy = [](ZaxInstance* self) { delete static_cast<Instance*>(self); };
  auto* instance = new Instance(type, object, identity, destroy);
  instance->owner = std::move(shared);
  return instance;
}

namespace {

/// What the shares in an instance and its object have in common.
struct Shared {
  ~Shared() {
    if (instance) instance->destroy(instance);
  }
  ZaxInstance* instance = nullptr;
};

}  // namespace

const std::shared_ptr<void>& Instance::share() {
  if (owner) return owner;
  const auto shared = std::make_shared<Shared>();
  owner = {shared, object};
  shared->instance = this;
  return owner;
}

void refuseInstance(const ZaxInstance& instance) { throw UnusableInstance(instance); }

void Uses::note(ZaxInstance& instance) {
  const bool isForTask = current && current->of_ == Of::task;
  if (instance.disposed || !isForTask) checkUsable(instance);
  if (!current) return;
  current->add(&instance);
  beginUse(instance);
}

void Uses::add(ZaxInstance* instance) {
  constexpr std::size_t few = sizeof(few_) / sizeof(few_[0]);
  if (size_ == few) more_.assign(few_, few_ + few);
  if (size_ < few) {
    few_[size_] = instance;
  } else {
    more_.push_back(instance);
  }
  ++size_;
}

namespace {

ZaxInstance& instanceIn(Handle value, const ZaxType* type) {
  ZaxInstance* instance = backend->getInstance(value.get(), type);
  if (!instance) throw BadArgument(concat({"instance of ", type->name}), value);
  return *instance;
}

ZaxInstance& notedInstanceIn(Handle value, const ZaxType* type) {
  ZaxInstance& instance = instanceIn(value, type);
  Uses::note(instance);
  return instance;
}

}  // namespace

void* readInstance(Handle value, const std::type_info& info) {
  const ZaxType* type = typeOf(info);
  return objectAs(notedInstanceIn(value, type), type);
}

const void* readInstanceNow(Handle value, const std::type_info& info) {
  const ZaxType* type = typeOf(info);
  const ZaxInstance& instance = instanceIn(value, type);
  checkUsable(instance);
  return objectAs(instance, type);
}

std::shared_ptr<void> shareInstance(Handle value, const std::type_info& info) {
  const ZaxType* type = typeOf(info);
  auto& instance = static_cast<Instance&>(notedInstanceIn(value, type));
  return {instance.share(), objectAs(instance, type)};
}

Handle writeNew(Instance* instance) { return checked(backend->wrapInstance(instance)); }

Handle writeShared(const Outgoing& outgoing, std::shared_ptr<void> owner) {
  const ZaxType* type = typeOf(outgoing.type);
  if (ZaxValue* known = backend->findInstance(outgoing.whole, type)) return Handle(known);
  void* object = outgoing.object;
  const ZaxType* whole = backend->findType(&outgoing.wholeType);
  if (isOrExtends(whole, type)) {
    type = whole;
    object = outgoing.whole;
  }
  return writeNew(Instance::make(std::move(owner), type, object, outgoing.whole));
}

Handle writeKnown(const Outgoing& outgoing) {
  ZaxValue* known = backend->findInstance(outgoing.whole, typeOf(outgoing.type));
  if (known) return Handle(known);
  throw ConversionError(Errno(EINVAL), concat({"a ", nameOfType(outgoing.type),
                                               " that no JavaScript object stands for: return a "
                                               "std::shared_ptr, a std::unique_ptr or a value"}));
}

void refuseNull(const std::type_info& type) {
  throw ConversionError(Errno(EINVAL),
                        concat({"null is no ", nameOfType(type),
                                ": return a std::optional where there may be none"}));
}

std::string nameOfClass(const ZaxType& type) {
  return Declarations::refer(type.name, &type, nullptr);
}

std::string declareInstance(const std::type_info& type) { return nameOfClass(*typeOf(type)); }

}  // namespace zax
