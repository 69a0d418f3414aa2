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

/// What only some instances have.
struct Extra {
  Claim* first = nullptr;  ///< the task that has it, before those that wait for it
  Claim* last = nullptr;
  std::size_t keepers = 0;         ///< tasks that use it
  std::int64_t externalBytes = 0;  ///< as V8 was told
  bool blocksFirst = false;  ///< whether its first task waits for the end of synchronous calls
};

/// V8's part of an instance.
struct Record {
  v8::Global<v8::Object> object;
  ZaxInstance* previous = nullptr;  ///< among all
  ZaxInstance* next = nullptr;
  ZaxInstance* nextInBucket = nullptr;
  std::unique_ptr<Extra> extra;
};
static_assert(sizeof(Record) <= sizeof(ZaxInstance::memory), "a record fits into its memory");

Record& recordOf(ZaxInstance* instance) { return *reinterpret_cast<Record*>(instance->memory); }

Extra& extraOf(ZaxInstance* instance) {
  std::unique_ptr<Extra>& extra = recordOf(instance).extra;
  if (!extra) extra = std::make_unique<Extra>();
  return *extra;
}

Class& classOf(const ZaxType* type) { return *static_cast<Class*>(type->script); }

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
  const v8::TryCatch tryCatch(isolate);  // Script may have done what it likes to Symbol.
  v8::Local<v8::Value> symbol;
  const bool found = runScript(isolate->GetCurrentContext(), "Symbol.dispose").ToLocal(&symbol);
  return found && symbol->IsSymbol() ? symbol.As<v8::Name>() : v8::Local<v8::Name>();
}

void throwTypeError(v8::Isolate* isolate, const char* before, const ZaxType* type,
                    const char* after) {
  const std::string text = concat({before, type->name, after});
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
  Extra& queue = extraOf(claim.instance);
  const bool isFirst = !queue.first;
  (isFirst ? queue.first : queue.last->next) = &claim;
  queue.last = &claim;
  ++claim.instance->claims;
  if (isFirst) queue.blocksFirst = claim.instance->uses > 0;
  if (!isFirst || queue.blocksFirst) ++blocked_;
}

TaskInstances::~TaskInstances() {
  for (Claim& claim : claims_) {
    if (exclusive_) leaveQueue(claim);
    all_.letGo(claim.instance);
  }
}

void TaskInstances::leaveQueue(Claim& claim) {
  Extra& queue = extraOf(claim.instance);
  Claim* before = nullptr;
  for (Claim* other = queue.first; other != &claim; other = other->next) before = other;
  (before ? before->next : queue.first) = claim.next;
  if (queue.last == &claim) queue.last = before;
  --claim.instance->claims;
  if (before) return;
  queue.blocksFirst = queue.first && claim.instance->uses > 0;
  if (queue.first && !queue.blocksFirst) queue.first->owner->unblock();
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

const ZaxType* Instances::findType(const void* key) {
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
  v8::Isolate* isolate = info.GetIsolate();
  if (!info.IsConstructCall()) {
    return throwTypeError(isolate, "Class constructor ", type, " cannot be invoked without 'new'");
  }
  setField(info.This(), nullptr);  // for whoever should see it before it is attached
  if (type->constructor) return callNative(info, type->constructor);
  throwTypeError(isolate, "", type, " has no constructor: native code makes its instances");
}

// Instances.

ZaxInstance* Instances::get(v8::Local<v8::Value> value, const ZaxType* type) {
  Class& of = classOf(type);
  if (of.last && recordOf(of.last).object == value) return of.last;
  v8::Local<v8::FunctionTemplate> made;  // where the Global lies: a copy takes as long as the rest
  std::memcpy(static_cast<void*>(&made), static_cast<const void*>(&of.made), sizeof(made));
  if (!made->HasInstance(value)) return nullptr;
  auto* instance = static_cast<ZaxInstance*>(getField(value.As<v8::Object>()));
  if (instance) of.last = instance;
  return instance;
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
  if (buckets_.empty()) index();
  ZaxInstance* instance = *bucketOf(identity);
  while (instance && !(instance->identity == identity && isOrExtends(instance->type, type))) {
    instance = recordOf(instance).nextInBucket;
  }
  return instance ? recordOf(instance).object.Get(isolate_) : v8::Local<v8::Object>();
}

/// An object with tasks lives: script may have given it properties.
void Instances::keep(ZaxInstance* instance) {
  if (extraOf(instance).keepers++ == 0) recordOf(instance).object.ClearWeak();
}

void Instances::letGo(ZaxInstance* instance) {
  if (--extraOf(instance).keepers > 0 || loop_.isEnding()) return;
  if (instance->claims == 0) measure(instance);
  recordOf(instance).object.SetWeak(instance, onCollected, v8::WeakCallbackType::kParameter);
}

void Instances::endUse(ZaxInstance* instance) {
  if (instance->claims == 0) measure(instance);
  Extra* extra = recordOf(instance).extra.get();
  if (extra && std::exchange(extra->blocksFirst, false)) {
    extra->first->owner->unblock();
  } else if (instance->collected) {
    destroy(instance);
  }
}

void Instances::measure(ZaxInstance* instance) {
  if (!instance->type->externalBytes) return;
  tell(instance, static_cast<std::int64_t>(instance->type->externalBytes(instance->object)));
}

/// Tells V8 how many bytes an instance holds outside its heap.
void Instances::tell(ZaxInstance* instance, std::int64_t bytes) {
  std::int64_t& told = extraOf(instance).externalBytes;
  const std::int64_t change = bytes - std::exchange(told, bytes);
  if (change != 0) isolate_->AdjustAmountOfExternalAllocatedMemory(change);
}

/// In the middle of a garbage collection: nothing of V8's may be done but to let go of handles.
void Instances::onCollected(const v8::WeakCallbackInfo<ZaxInstance>& info) {
  ZaxInstance* instance = info.GetParameter();
  Instances& self = Environment::current()->instances();
  recordOf(instance).object.Reset();
  instance->collected = true;
  self.remove(instance);
  if (instance->uses == 0) self.destroy(instance);  // Otherwise endUse does.
}

void Instances::destroy(ZaxInstance* instance) {
  Record& record = recordOf(instance);
  if (record.extra) tell(instance, 0);
  record.~Record();
  instance->destroy(instance);
}

Instances::~Instances() {
  while (first_) destroy(std::exchange(first_, recordOf(first_).next));
}

// All of them; and by the objects that they stand for, from when one is looked for on.

void Instances::insert(ZaxInstance* instance) {
  if (first_) recordOf(first_).previous = instance;
  recordOf(instance).next = first_;
  first_ = instance;
  ++count_;
  if (buckets_.empty()) return;
  if (count_ > buckets_.size()) {
    index();
  } else {
    insertInBucket(instance);
  }
}

void Instances::remove(ZaxInstance* instance) {
  for (const ZaxType* type = instance->type; type; type = type->base) {
    if (classOf(type).last == instance) classOf(type).last = nullptr;
  }
  const Record& record = recordOf(instance);
  (record.previous ? recordOf(record.previous).next : first_) = record.next;
  if (record.next) recordOf(record.next).previous = record.previous;
  --count_;
  if (buckets_.empty()) return;
  ZaxInstance** place = bucketOf(instance->identity);
  while (*place != instance) place = &recordOf(*place).nextInBucket;
  *place = record.nextInBucket;
}

ZaxInstance** Instances::bucketOf(const void* identity) {
  const auto address = reinterpret_cast<std::uintptr_t>(identity);
  return &buckets_[(address >> 5 ^ address >> 20) & (buckets_.size() - 1)];
}

void Instances::insertInBucket(ZaxInstance* instance) {
  ZaxInstance** bucket = bucketOf(instance->identity);
  recordOf(instance).nextInBucket = *bucket;
  *bucket = instance;
}

void Instances::index() {
  std::size_t size = 64;
  while (size < count_) size *= 2;
  buckets_.assign(2 * size, nullptr);
  for (ZaxInstance* each = first_; each; each = recordOf(each).next) insertInBucket(each);
}

}  // namespace zax
