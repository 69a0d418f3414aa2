#include "zax-v8-reference.h"

#include "zax-v8-environment.h"

namespace zax {

ZaxReference* References::make(v8::Isolate* isolate, v8::Local<v8::Value> value) {
  if (anyReleased_.load(std::memory_order_acquire)) letGoOfReleased();
  auto* reference = new ZaxReference{{isolate, value}, shared_from_this(), {}};
  reference->place = living_.insert(living_.end(), reference);
  return reference;
}

void References::letGo(ZaxReference* reference) {
  living_.erase(reference->place);
  delete reference;
}

void References::letGoOfReleased() {
  std::vector<ZaxReference*> released;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    released.swap(released_);
    anyReleased_ = false;
  }
  for (ZaxReference* reference : released) letGo(reference);
}

void References::end() {
  letGoOfReleased();
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  for (ZaxReference* reference : living_) reference->value.Reset();
}

void References::release(ZaxReference* reference) {
  const std::shared_ptr<References> owner = reference->owner;
  const Environment* here = Environment::current();
  if (here && &here->references() == owner.get()) return owner->letGo(reference);
  const std::lock_guard<std::mutex> lock(owner->mutex_);
  if (owner->ended_) {
    delete reference;
  } else {
    owner->released_.push_back(reference);
    owner->anyReleased_ = true;
  }
}

}  // namespace zax
