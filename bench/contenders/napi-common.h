#ifndef BENCH_NAPI_COMMON_H
#define BENCH_NAPI_COMMON_H

#include <napi.h>

#include <string>

#include "work.h"

// What the parts of the add-on on node-addon-api share.

namespace with_napi {

inline Napi::Error makeError(Napi::Env env, int number, const std::string& text,
                             const bench::Place& place) {
  Napi::Object details = Napi::Object::New(env);
  details.Set("exceptionClass", "Napi::Error");
  details.Set("file", place.file);
  details.Set("line", place.line);
  details.Set("function", place.function);
  details.Set("callstack", Napi::Array::New(env));
  Napi::Error error = Napi::Error::New(env, bench::failureMessage(number, text));
  error.Set("code", bench::failureCode);
  error.Set("details", details);
  return error;
}

/// Exports the functions that return.
void exportPlain(Napi::Env env, Napi::Object exports);

}  // namespace with_napi

#endif
