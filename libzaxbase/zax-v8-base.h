#ifndef ZAX_V8_BASE_H
#define ZAX_V8_BASE_H

#include <v8.h>

#include <string>

namespace zax {

/// Replaces `out` with the UTF-8 bytes of a JavaScript string, cut at its first U+0000. A lone
/// surrogate becomes its three-byte form. JavaScript thread only.
void v8ToStd(std::string& out, const v8::Local<v8::String>& value);

/// The size of a JavaScript string in UTF-8 bytes, without a terminator. JavaScript thread only.
std::size_t utf8Size(v8::Isolate* isolate, const v8::Local<v8::String>& value);

/// Writes a JavaScript string of that size, a lone surrogate as U+FFFD, without a terminator.
/// JavaScript thread only.
void writeUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
               std::size_t size);

/// A JavaScript value that holds a native pointer, and the pointer. JavaScript thread only.
v8::Local<v8::Value> wrapPointer(v8::Isolate* isolate, const void* pointer);
void* unwrapPointer(v8::Local<v8::Value> wrapped);

/// The prototype of a JavaScript object. JavaScript thread only.
v8::Local<v8::Value> prototypeOf(v8::Local<v8::Object> object);

}  // namespace zax

#endif
