#ifndef ZAX_V8_BASE_H
#define ZAX_V8_BASE_H

#include <v8.h>

#include <string>

namespace zax {

/// Replaces `out` with the UTF-8 bytes of a JavaScript string, cut at its first U+0000. A lone
/// surrogate becomes its three-byte form. JavaScript thread only.
void v8ToStd(std::string& out, const v8::Local<v8::String>& value);

/// The prototype of a JavaScript object. JavaScript thread only.
v8::Local<v8::Value> prototypeOf(v8::Local<v8::Object> object);

}  // namespace zax

#endif
