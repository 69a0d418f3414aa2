#ifndef BENCH_NAN_COMMON_H
#define BENCH_NAN_COMMON_H

#include <nan.h>

#include <string>

#include "work.h"

// What the parts of the add-on on Nan share.

namespace with_nan {

inline std::string toStd(const v8::Local<v8::Value>& value) {
  const Nan::Utf8String text(value);
  return std::string(*text, text.length());
}

inline v8::Local<v8::String> toV8(const std::string& text) {
  return Nan::New(text).ToLocalChecked();
}

inline void set(const v8::Local<v8::Object>& object, const char* key,
                const v8::Local<v8::Value>& value) {
  Nan::Set(object, Nan::New(key).ToLocalChecked(), value).Check();
}

inline v8::Local<v8::Value> makeError(int number, const std::string& text,
                                      const bench::Place& place) {
  v8::Local<v8::Object> details = Nan::New<v8::Object>();
  set(details, "exceptionClass", toV8("std::runtime_error"));
  set(details, "file", toV8(place.file));
  set(details, "line", Nan::New(place.line));
  set(details, "function", toV8(place.function));
  set(details, "callstack", Nan::New<v8::Array>());
  const std::string message = bench::failureMessage(number, text);
  v8::Local<v8::Object> error = Nan::Error(toV8(message)).As<v8::Object>();
  set(error, "code", toV8(bench::failureCode));
  set(error, "details", details);
  return error;
}

/// Exports the functions that return.
NAN_MODULE_INIT(exportPlain);

}  // namespace with_nan

#endif
