#ifndef BRIDGE_H
#define BRIDGE_H

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>

#include "zax-v8-argument-list.h"

// What the files of this add-on share: the way back from native values to JavaScript, types of
// arguments that only tests need, and the export of bound functions.

namespace bridge {

using zax::Callback;
using Counts = std::map<std::string, unsigned long>;
using Exports = v8::Local<v8::Object>;

/// Any JavaScript value, as it is.
struct Any {
  v8::Local<v8::Value> value;
};

inline v8::Local<v8::Value> toJs(bool value) { return Nan::New(value); }
inline v8::Local<v8::Value> toJs(int value) { return Nan::New(value); }
inline v8::Local<v8::Value> toJs(unsigned int value) { return Nan::New(value); }
inline v8::Local<v8::Value> toJs(boolean_t value) { return Nan::New<v8::Uint32>(value); }
inline v8::Local<v8::Value> toJs(long value) { return Nan::New(static_cast<double>(value)); }
inline v8::Local<v8::Value> toJs(const std::string& value) {
  return Nan::New(value).ToLocalChecked();
}

/// What the function returns.
inline v8::Local<v8::Value> toJs(const Callback& value) {
  return value.invoke(0, nullptr).FromMaybe(v8::Local<v8::Value>());
}

template <typename First, typename Second>
v8::Local<v8::Value> toJs(const std::pair<First, Second>& value) {
  const v8::Local<v8::Array> array = Nan::New<v8::Array>();
  Nan::Set(array, 0, toJs(value.first));
  Nan::Set(array, 1, toJs(value.second));
  return array;
}

/// The elements in their order; those of a map are pairs.
template <typename Container>
v8::Local<v8::Value> toJs(const Container& container) {
  const v8::Local<v8::Array> array = Nan::New<v8::Array>();
  std::uint32_t index = 0;
  for (const auto& element : container) Nan::Set(array, index++, toJs(element));
  return array;
}

inline v8::Local<v8::Object> group(Exports exports, const char* name) {
  const v8::Local<v8::Object> object = Nan::New<v8::Object>();
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

void registerParsing(Exports exports);
void registerBuilding(Exports exports);
void registerCalls(Exports exports);
void registerJobs(Exports exports);
void registerErrors(Exports exports);

}  // namespace bridge

template <>
struct zax::ArgumentConverter<bridge::Any> {
  static void convert(bridge::Any& out, const v8::Local<v8::Value>& value) { out.value = value; }
};

/// Numbers are given as texts: not all of them are JavaScript numbers.
template <>
struct zax::ArgumentConverter<bridge::Counts> {
  static void convert(bridge::Counts& out, const v8::Local<v8::Value>& value) {
    StringMap texts;
    parseStringStringMap(texts, value);
    for (const auto& [key, text] : texts) out[key] = std::stoul(text);
  }
};

#endif
