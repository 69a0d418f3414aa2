#ifndef ZAX_V8_H
#define ZAX_V8_H

#include <v8.h>

#include "zax-handle.h"
#include "zax-v8-backend.h"

// For authors who want V8 after all. An add-on that includes this is bound to one version of Node.

namespace zax {

/// A handle as V8 knows it, and back. JavaScript thread only; the value lives in the same scope.
inline v8::Local<v8::Value> toV8(Handle handle) { return toLocal(handle.get()); }
inline Handle fromV8(v8::Local<v8::Value> value) { return Handle(toSlot(value)); }

}  // namespace zax

#endif
