#include <utility>

#include "bridge.h"

namespace bridge {

namespace {

void callBare(Callback callback) { callback.call(); }

template <typename T>
void callWith(const T& value, Callback callback) {
  callback.call(value);
}

/// Numbers that are no JavaScript numbers, and so cannot be given.
void callCounts(Callback callback) {
  callback.call(std::map<std::string, unsigned long>{{"odd", (1UL << 53) + 1}, {"max", -1}});
}

/// Calls every kind of copy of a callback after its source has gone or has changed.
void callCopies(const Callback& other, const Callback& callback) {
  Callback assigned(other);
  {
    const Callback original(callback);
    assigned = original;
  }
  assigned.call("assigned");
  const Callback& itself = assigned;
  assigned = itself;
  assigned.call("self-assigned");
  Callback copied(assigned);
  assigned = other;
  copied.call("copied");
  Callback moved(std::move(copied));
  moved.call("moved");
}

// Destroyed when the isolate is gone.
Callback kept;

void keep(const Callback& callback) { kept = callback; }

void callKept(int value) { kept.call(value); }

/// Calls an empty callback and tells whether that and the given one hold a function.
void callEmpty(Callback callback) {
  Callback empty;
  empty.call();
  empty.call("text");
  callback.call((empty ? 2 : 0) + (callback ? 1 : 0));
}

void answer(const Nan::FunctionCallbackInfo<v8::Value>& info) { info.GetReturnValue().Set(42); }

/// A function of a template that nothing else keeps alive.
void fromTemplate(const Nan::FunctionCallbackInfo<v8::Value>& info) {
  static const auto& held =
      *new zax::PersistentFunctionTemplate(Nan::New<v8::FunctionTemplate>(answer));
  info.GetReturnValue().Set(held.getFunctionClone());
}

}  // namespace

void registerCalls(Exports exports) {
  const auto call = group(exports, "call");
  bind<&callBare>(call, "bare");
  bind<&callWith<int>>(call, "int");
  bind<&callWith<std::string>>(call, "string");
  bind<&callWith<std::list<std::string>>>(call, "list");
  bind<&callWith<std::set<std::string>>>(call, "set");
  bind<&callWith<zax::StringMap>>(call, "map");
  bind<&callCounts>(call, "counts");
  bind<&callCopies>(exports, "callCopies");
  bind<&callEmpty>(exports, "callEmpty");
  bind<&keep>(exports, "keep");
  bind<&callKept>(exports, "callKept");
  Nan::Export(exports, "fromTemplate", fromTemplate);
}

}  // namespace bridge
