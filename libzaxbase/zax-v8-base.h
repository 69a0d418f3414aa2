#ifndef ZAX_V8_BASE_H
#define ZAX_V8_BASE_H

#include <v8.h>

#include <string>

namespace zax {

/// Replaces `out` with the UTF-8 bytes of a JavaScript string, cut at its first U+0000. A lone
/// surrogate becomes its three-byte form. JavaScript thread only.
void v8ToStd(std::string& out, const v8::Local<v8::String>& value);

/// Writes the UTF-8 bytes of a JavaScript string, a lone surrogate as U+FFFD, without a terminator,
/// if they are no more than `capacity`. Returns how many they are. JavaScript thread only.
std::size_t readUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
                     std::size_t capacity);

/// A JavaScript string from UTF-8; what is invalid becomes U+FFFD. Empty where V8 takes no string
/// of that length. JavaScript thread only.
v8::MaybeLocal<v8::String> newString(v8::Isolate* isolate, const char* utf8, std::size_t size);

/// A string that is the same one wherever it is made, as the names of properties are.
v8::Local<v8::String> internalized(v8::Isolate* isolate, const char* text);

/// A JavaScript value that holds a native pointer, and the pointer. JavaScript thread only.
v8::Local<v8::Value> wrapPointer(v8::Isolate* isolate, const void* pointer);
void* unwrapPointer(v8::Local<v8::Value> wrapped);

/// The prototype of a JavaScript object. JavaScript thread only.
v8::Local<v8::Value> prototypeOf(v8::Local<v8::Object> object);
v8::Maybe<bool> setPrototypeOf(v8::Local<v8::Object> object, v8::Local<v8::Value> prototype);

}  // namespace zax

#endif
