#ifndef BENCH_RAW_COMMON_H
#define BENCH_RAW_COMMON_H

#include <node.h>

#include <string>

#include "work.h"

// What the parts of the add-on written by hand share.

namespace raw {

using Info = v8::FunctionCallbackInfo<v8::Value>;

/// As long in UTF-8 as in characters means ASCII, which need not be encoded.
inline std::string toStd(v8::Isolate* isolate, v8::Local<v8::String> value) {
#if V8_MAJOR_VERSION >= 13
  std::string text(value->Utf8LengthV2(isolate), '\0');
  if (text.size() == static_cast<std::size_t>(value->Length())) {
    value->WriteOneByteV2(isolate, 0, value->Length(), reinterpret_cast<uint8_t*>(text.data()));
  } else {
    value->WriteUtf8V2(isolate, text.data(), text.size());
  }
#else
  std::string text(value->Utf8Length(isolate), '\0');
  const int options = v8::String::NO_NULL_TERMINATION;
  if (text.size() == static_cast<std::size_t>(value->Length())) {
    value->WriteOneByte(isolate, reinterpret_cast<uint8_t*>(text.data()), 0, -1, options);
  } else {
    value->WriteUtf8(isolate, text.data(), -1, nullptr, options);
  }
#endif
  return text;
}

inline v8::Local<v8::String> toV8(v8::Isolate* isolate, const std::string& text) {
  return v8::String::NewFromUtf8(isolate, text.data(), v8::NewStringType::kNormal,
                                 static_cast<int>(text.size()))
      .ToLocalChecked();
}

inline void throwTypeError(v8::Isolate* isolate, const char* message) {
  isolate->ThrowException(v8::Exception::TypeError(toV8(isolate, message)));
}

inline int toInt(const Info& info, int index) {
  return info[index]->Int32Value(info.GetIsolate()->GetCurrentContext()).FromJust();
}

template <int N>
void set(v8::Isolate* isolate, v8::Local<v8::Object> object, const char (&key)[N],
         v8::Local<v8::Value> value) {
  const auto name = v8::String::NewFromUtf8Literal(isolate, key, v8::NewStringType::kInternalized);
  object->Set(isolate->GetCurrentContext(), name, value).Check();
}

inline v8::Local<v8::Value> makeError(v8::Isolate* isolate, int number, const std::string& text,
                                      const bench::Place& place) {
  const v8::Local<v8::Object> details = v8::Object::New(isolate);
  set(isolate, details, "exceptionClass", toV8(isolate, "std::runtime_error"));
  set(isolate, details, "file", toV8(isolate, place.file));
  set(isolate, details, "line", v8::Integer::New(isolate, place.line));
  set(isolate, details, "function", toV8(isolate, place.function));
  set(isolate, details, "callstack", v8::Array::New(isolate));
  const auto message = toV8(isolate, bench::failureMessage(number, text));
  const auto error = v8::Exception::Error(message).As<v8::Object>();
  set(isolate, error, "code", toV8(isolate, bench::failureCode));
  set(isolate, error, "details", details);
  return error;
}

/// Exports the functions that return.
void exportPlain(v8::Local<v8::Object> exports);

}  // namespace raw

#endif
