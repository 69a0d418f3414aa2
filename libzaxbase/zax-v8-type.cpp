#include "zax-v8-type.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "zax-v8-backend.h"
#include "zax-v8-base.h"
#include "zax-v8-environment.h"
#include "zax-v8-loop.h"

namespace zax {

namespace {

/// V8's part of an instance.
struct Record {
  v8::Global<v8::Object> object;
  ZaxInstance* next;  ///< in its bucket
  Claim* first;       ///< the task that has it, before those that wait for it
  Claim* last;
  std::size_t keepers;         ///< tasks that use it
  std::int64_t externalBytes;  ///< as V8 was told
  bool blocksFirst;            ///< whether its first task waits for the end of a synchronous call
};
static_assert(sizeof(Record) <= sizeof(ZaxInstance::memory), "a record fits into its memory");

Record& recordOf(ZaxInstance* instance) { return *reinterpret_cast<Record*>(instance->memory); }

Class& classOf(const ZaxType* type) { return *static_cast<Class*>(type->script); }

bool isOrExtends(const ZaxType* type, const ZaxType* base) {
  while (type && type != base) type = type->base;
  return type;
}

#if V8_MAJOR_VERSION >= 14
void setField(v8::Local<v8::Object> object, void* pointer) {
  object->SetAlignedPointerInInternalField(0, pointer, v8::kEmbedderDataTypeTagDefault);
}
void* getField(v8::Local<v8::Object> object) {
  return object->GetAlignedPointerFromInternalField(0, v8::kEmbedderDataTypeTagDefault);
}
#else
void setField(v8::Local<v8::Object> object, void* pointer) {
  object->SetAlignedPointerInInternalField(0, pointer);
}
void* getField(v8::Local<v8::Object> object) {
  return object->GetAlignedPointerFromInternalField(0);
}
#endif

/// Symbol.dispose; empty where this Node has none.
v8::Local<v8::Name> disposeSymbol(v8::Isolate* isolate) {
  v8::Local<v8::Value> symbol;
  const bool found = runScript(isolate->GetCurrentContext(), "Symbol.dispose").ToLocal(&symbol);
  return found && symbol->IsSymbol() ? symbol.As<v8::Name>() : v8::Local<v8::Name>();
}

void throwTypeError(v8::Isolate* isolate, const std::string& text) {
  const auto message = newString(isolate, text.data(), text.size()).ToLocalChecked();
  isolate->ThrowException(v8::Exception::TypeError(message));
}

}  // namespace

// Tasks.

void TaskInstances::take(ZaxInstance* const* instances, std::size_t count, bool exclusive) {
  exclusive_ = exclusive;
  claims_.reserve(count);  // Pointers to them stay valid.
  for (std::size_t i = 0; i < count; ++i) {
    const auto isTaken = [&](const Claim& claim) { return claim.instance == instances[i]; };
    if (std::any_of(claims_.begin(), claims_.end(), isTaken)) continue;
    Claim& claim = claims_.emplace_back(Claim{instances[i], this});
    all_.keep(claim.instance);
    if (exclusive) queueUp(claim);
  }
}

void TaskInstances::queueUp(Claim& claim) {
  Record& record = recordOf(claim.instance);
  const bool isFirst = !record.first;
  (isFirst ? record.first : record.last->next) = &claim;
  record.last = &claim;
  ++claim.instance->claims;
  if (isFirst) record.blocksFirst = claim.instance->uses > 0;
  if (!isFirst || record.blocksFirst) ++blocked_;
}

TaskInstances::~TaskInstances() {
  for (Claim& claim : claims_) {
    if (exclusive_) leaveQueue(claim);
    all_.letGo(claim.instance);
  }
}

void TaskInstances::leaveQueue(Claim& claim) {
  Record& record = recordOf(claim.instance);
  Claim* before = nullptr;
  for (Claim* other = record.first; other != &claim; other = other->next) before = other;
  (before ? before->next : record.first) = claim.next;
  if (record.last == &claim) record.last = before;
  --claim.instance->claims;
  if (before || !claim.next) return;
  record.blocksFirst = claim.instance->uses > 0;
  if (!record.blocksFirst) claim.next->owner->unblock();
}

void TaskInstances::unblock() {
  if (--blocked_ == 0) all_.loop_.start(work_);
}

// Classes.

Instances::Instances(EventLoop& loop) : loop_(loop), isolate_(loop.isolate()) {}

void Instances::makeClass(ZaxType* type) {
  const v8::HandleScope scope(isolate_);
  const auto made = v8::FunctionTemplate::New(isolate_, onConstruct, wrapPointer(isolate_, type));
  made->SetClassName(internalized(isolate_, type->name));
  made->ReadOnlyPrototype();
  made->InstanceTemplate()->SetInternalFieldCount(1);
  classes_.push_back(std::make_unique<Class>());
  type->script = classes_.back().get();
  classes_.back()->type = type;
  classes_.back()->made.Reset(isolate_, made);
}

bool Instances::addMember(const ZaxType* type, const char* name,
                          v8::Local<v8::FunctionTemplate> member, ZaxMemberKind kind,
                          v8::Local<v8::FunctionTemplate> setter) {
  const Class& of = classOf(type);
  if (!of.function.IsEmpty()) return false;
  const v8::Local<v8::FunctionTemplate> made = of.made.Get(isolate_);
  const v8::Local<v8::ObjectTemplate> prototype = made->PrototypeTemplate();
  const v8::Local<v8::Name> key = internalized(isolate_, name);
  if (kind == ZaxStaticFunction) {
    made->Set(key, member, v8::DontEnum);
  } else if (kind == ZaxAccessor) {
    prototype->SetAccessorProperty(key, member, setter, v8::DontEnum);
  } else {
    prototype->Set(key, member, v8::DontEnum);
  }
  if (kind != ZaxDisposer) return true;
  const v8::Local<v8::Name> dispose = disposeSymbol(isolate_);
  if (!dispose.IsEmpty()) prototype->Set(dispose, member, v8::DontEnum);
  return true;
}

v8::MaybeLocal<v8::Function> Instances::getClass(const ZaxType* type) {
  Class& of = classOf(type);
  if (!of.function.IsEmpty()) return of.function.Get(isolate_);
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  const v8::Local<v8::FunctionTemplate> made = of.made.Get(isolate_);
  v8::Local<v8::Function> base;
  if (type->base) {
    if (!getClass(type->base).ToLocal(&base)) return {};
    made->Inherit(classOf(type->base).made.Get(isolate_));
  }
  if (type->constructor) made->SetLength(type->constructor->length);
  v8::Local<v8::Function> function;
  if (!made->GetFunction(context).ToLocal(&function)) return {};
  if (type->base && setPrototypeOf(function, base).IsNothing()) return {};
  of.function.Reset(isolate_, function);
  return function;
}

const ZaxType* Instances::find(const void* key) {
  const auto is = [&](std::size_t i) {
    return i < classes_.size() && classes_[i]->type->key == key;
  };
  if (is(lastClass_)) return classes_[lastClass_]->type;
  for (std::size_t i = 0; i < classes_.size(); ++i) {
    if (is(i)) return classes_[lastClass_ = i]->type;
  }
  return nullptr;
}

/// What V8 calls for `new`, and for a call without it.
void Instances::onConstruct(const v8::FunctionCallbackInfo<v8::Value>& info) {
  const auto* type = static_cast<const ZaxType*>(unwrapPointer(info.Data()));
  const std::string name = type->name;
  if (!info.IsConstructCall()) {
    throwTypeError(info.GetIsolate(),
                   "Class constructor " + name + " cannot be invoked without 'new'");
    return;
  }
  setField(info.This(), nullptr);
  if (type->constructor) {
    callNative(info, type->constructor);
  } else {
    throwTypeError(info.GetIsolate(),
                   name + " has no constructor: native code makes its instances");
  }
}

// Instances.

ZaxInstance* Instances::get(v8::Isolate* isolate, v8::Local<v8::Value> value, const ZaxType* type) {
  if (!value->IsObject() || !classOf(type).made.Get(isolate)->HasInstance(value)) return nullptr;
  return static_cast<ZaxInstance*>(getField(value.As<v8::Object>()));
}

void Instances::attach(v8::Local<v8::Object> object, ZaxInstance* instance) {
  setField(object, instance);
  auto* record = new (instance->memory) Record();
  record->object.Reset(isolate_, object);
  record->object.SetWeak(instance, onCollected, v8::WeakCallbackType::kParameter);
  insert(instance);
  measure(instance);
}

v8::MaybeLocal<v8::Object> Instances::wrap(ZaxInstance* instance) {
  v8::Local<v8::Object> object;
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  if (getClass(instance->type).IsEmpty() || !classOf(instance->type)
                                                 .made.Get(isolate_)
                                                 ->InstanceTemplate()
                                                 ->NewInstance(context)
                                                 .ToLocal(&object)) {
    instance->destroy(instance);
    return {};
  }
  attach(object, instance);
  return object;
}

v8::Local<v8::Value> Instances::find(const void* identity, const ZaxType* type) {
  if (count_ == 0) return {};
  for (ZaxInstance* instance = *bucketOf(identity); instance; instance = recordOf(instance).next) {
    if (instance->identity == identity && isOrExtends(instance->type, type)) {
      return recordOf(instance).object.Get(isolate_);
    }
  }
  return {};
}

/// An object with tasks lives: script may have given it properties.
void Instances::keep(ZaxInstance* instance) {
  Record& record = recordOf(instance);
  if (record.keepers++ == 0 && !instance->collected) record.object.ClearWeak();
}

void Instances::letGo(ZaxInstance* instance) {
  Record& record = recordOf(instance);
  if (--record.keepers > 0 || loop_.isEnding()) return;
  if (instance->claims == 0) measure(instance);
  if (!instance->collected) {
    record.object.SetWeak(instance, onCollected, v8::WeakCallbackType::kParameter);
  } else if (instance->uses == 0) {
    destroy(instance);
  }
}

void Instances::endUse(ZaxInstance* instance) {
  Record& record = recordOf(instance);
  if (instance->claims == 0) measure(instance);
  if (record.blocksFirst) {
    record.blocksFirst = false;
    record.first->owner->unblock();
  } else if (instance->collected && record.keepers == 0) {
    destroy(instance);
  }
}

void Instances::measure(ZaxInstance* instance) {
  if (!instance->type->externalBytes) return;
  Record& record = recordOf(instance);
  const auto bytes = static_cast<std::int64_t>(instance->type->externalBytes(instance->object));
  if (bytes == record.externalBytes) return;
  isolate_->AdjustAmountOfExternalAllocatedMemory(bytes - record.externalBytes);
  record.externalBytes = bytes;
}

/// In the middle of a garbage collection: nothing of V8's may be done but to let go of the object.
void Instances::onCollected(const v8::WeakCallbackInfo<ZaxInstance>& info) {
  ZaxInstance* instance = info.GetParameter();
  Instances& self = Environment::current()->instances();
  recordOf(instance).object.Reset();
  instance->collected = true;
  self.remove(instance);
  if (instance->uses > 0) return;  // endUse destroys it.
  if (self.dead_.empty()) info.SetSecondPassCallback(onCollectionOver);
  self.dead_.push_back(instance);
}

void Instances::onCollectionOver(const v8::WeakCallbackInfo<ZaxInstance>& /*info*/) {
  Environment* here = Environment::current();
  if (here) here->instances().destroyDead();
}

void Instances::destroyDead() {
  std::vector<ZaxInstance*> dead;
  dead.swap(dead_);
  for (ZaxInstance* instance : dead) destroy(instance);
}

void Instances::destroy(ZaxInstance* instance) {
  Record& record = recordOf(instance);
  if (record.externalBytes != 0) {
    isolate_->AdjustAmountOfExternalAllocatedMemory(-record.externalBytes);
  }
  record.~Record();
  instance->destroy(instance);
}

Instances::~Instances() {
  destroyDead();
  for (ZaxInstance* first : buckets_) {
    while (first) {
      ZaxInstance* instance = std::exchange(first, recordOf(first).next);
      destroy(instance);
    }
  }
}

// The table.

ZaxInstance** Instances::bucketOf(const void* identity) {
  constexpr std::uint64_t golden = 0x9e3779b97f4a7c15;
  const auto address = reinterpret_cast<std::uintptr_t>(identity);
  return &buckets_[(address * golden >> 32) & (buckets_.size() - 1)];
}

void Instances::insert(ZaxInstance* instance) {
  if (count_ == buckets_.size()) grow();
  ZaxInstance** bucket = bucketOf(instance->identity);
  recordOf(instance).next = *bucket;
  *bucket = instance;
  ++count_;
}

void Instances::remove(ZaxInstance* instance) {
  ZaxInstance** place = bucketOf(instance->identity);
  while (*place != instance) place = &recordOf(*place).next;
  *place = recordOf(instance).next;
  --count_;
}

void Instances::grow() {
  constexpr std::size_t least = 64;
  const std::vector<ZaxInstance*> before =
      std::exchange(buckets_, std::vector<ZaxInstance*>(std::max(least, 2 * buckets_.size())));
  for (ZaxInstance* first : before) {
    while (first) {
      ZaxInstance* instance = std::exchange(first, recordOf(first).next);
      ZaxInstance** bucket = bucketOf(instance->identity);
      recordOf(instance).next = *bucket;
      *bucket = instance;
    }
  }
}

}  // namespace zax
