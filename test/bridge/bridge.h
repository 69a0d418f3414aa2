#ifndef BRIDGE_H
#define BRIDGE_H

#include <string>
#include <type_traits>
#include <utility>

#include "zax-v8-argument-list.h"

// What the files of this add-on share: the way back from native values to JavaScript, types of
// arguments that only tests need, and the export of bound functions.

namespace bridge {

using zax::Callback;
using Exports = v8::Local<v8::Object>;

/// Any JavaScript value, as it is.
struct Any {
  v8::Local<v8::Value> value;
};

template <typename First, typename Second>
v8::Local<v8::Value> toJs(const std::pair<First, Second>& pair);

/// Of a callback what it returns, of a container its elements in their order; those of a map are
/// pairs.
template <typename T>
v8::Local<v8::Value> toJs(const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return Nan::New(value);
  } else if constexpr (std::is_convertible_v<T, double>) {
    return Nan::New<v8::Number>(static_cast<double>(value));
  } else if constexpr (std::is_same_v<T, std::string>) {
    return Nan::New(value).ToLocalChecked();
  } else if constexpr (std::is_same_v<T, Callback>) {
    return value.invoke(0, nullptr).FromMaybe(v8::Local<v8::Value>());
  } else {
    const v8::Local<v8::Array> array = Nan::New<v8::Array>();
    for (const auto& element : value) Nan::Set(array, array->Length(), toJs(element));
    return array;
  }
}

template <typename First, typename Second>
v8::Local<v8::Value> toJs(const std::pair<First, Second>& pair) {
  v8::Local<v8::Value> both[] = {toJs(pair.first), toJs(pair.second)};
  return v8::Array::New(v8::Isolate::GetCurrent(), both, 2);
}

inline Exports group(Exports exports, const char* name) {
  const Exports object = Nan::New<v8::Object>();
  Nan::Set(exports, Nan::New(name).ToLocalChecked(), object);
  return object;
}

/// Exports a native function the way an add-on does.
template <auto* fn>
void bind(Exports exports, const char* name) {
  using Signature = std::remove_pointer_t<decltype(fn)>;
  Nan::Export(exports, name, zax::BindFunction<Signature, fn>::entry);
}

/// Throws what `how` names; returns for the empty text. Any thread.
void raise(const std::string& how);

void registerValues(Exports exports);
void registerCalls(Exports exports);
void registerJobs(Exports exports);
void registerErrors(Exports exports);

}  // namespace bridge

template <>
struct zax::ArgumentConverter<bridge::Any> {
  static void convert(bridge::Any& out, const v8::Local<v8::Value>& value) { out.value = value; }
};

#endif
