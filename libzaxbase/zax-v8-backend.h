#ifndef ZAX_V8_BACKEND_H
#define ZAX_V8_BACKEND_H

#include <v8.h>

#include <cstring>

#include "zax-backend.h"

namespace zax {

/// The backend over V8.
extern const ZaxBackend backendTable;

// A ZaxValue is the slot that a v8::Local points to.

inline v8::Local<v8::Value> toLocal(ZaxValue* value) {
  v8::Local<v8::Value> local;
  static_assert(sizeof(local) == sizeof(void*), "a Local is a pointer to a slot");
  std::memcpy(static_cast<void*>(&local), &value, sizeof(void*));
  return local;
}

inline ZaxValue* toSlot(v8::Local<v8::Value> local) {
  ZaxValue* value;
  std::memcpy(&value, static_cast<void*>(&local), sizeof(void*));
  return value;
}

/// Lets the native side of a function handle a call of a JavaScript function.
void callNative(const v8::FunctionCallbackInfo<v8::Value>& info, const ZaxFunction* function);

inline v8::Isolate* currentIsolate() { return v8::Isolate::GetCurrent(); }

}  // namespace zax

#endif
