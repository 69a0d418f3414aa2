#include "zax-v8-utils.h"

#include <nan.h>

#include "zax-exception-errno.h"
#include "zax-v8-base.h"

namespace zax {

namespace {

using WrongType = ErrnoGenericException<EBADARG>;
using Failed = ErrnoGenericException<EFAILED>;

/// The raising place in a helper that stands in for the function that its caller called.
DebugInfo placeIn(const char* function, int line) {
  return DebugInfo(__FILE__, line, function, -1, nullptr, nullptr);
}

/// Whether a property was read and is a string; a read that threw gives an empty handle.
bool isString(const v8::Local<v8::Value>& value) { return !value.IsEmpty() && value->IsString(); }

bool isNumber(const v8::Local<v8::Value>& value) { return !value.IsEmpty() && value->IsNumber(); }

template <typename Key>
v8::Local<v8::Value> get(const v8::Local<v8::Object>& object, const Key& key) {
  return Nan::Get(object, key).FromMaybe(v8::Local<v8::Value>());
}

/// Calls add(element) for each element of an array and throws `expected` at the first that is not
/// accepted; `undefined` is an array without elements.
template <typename Accept, typename Add>
void readElements(const v8::Local<v8::Value>& value, const char* function, const char* expected,
                  const Accept& accept, const Add& add) {
  if (value->IsUndefined()) return;
  if (!value->IsArray()) throw WrongType(__("Array expected"), placeIn(function, __LINE__));
  const auto array = value.As<v8::Array>();
  const std::uint32_t length = array->Length();
  for (std::uint32_t i = 0; i < length; ++i) {
    const auto element = get(array, i);
    if (!accept(element)) throw WrongType(__(expected), placeIn(function, __LINE__));
    add(element);
  }
}

template <typename Add>
void readStrings(const v8::Local<v8::Value>& value, const char* function, const Add& add) {
  readElements(value, function, "String expected", isString,
               [&](const auto& element) { add(element.template As<v8::String>()); });
}

void convertNumber(int& out, const v8::Local<v8::Value>& number) {
  out = number->IsInt32() ? number.As<v8::Int32>()->Value()
                          : Nan::To<std::int32_t>(number).FromJust();
}

void convertNumber(unsigned int& out, const v8::Local<v8::Value>& number) {
  out = Nan::To<std::uint32_t>(number).FromJust();
}

template <typename Int>
void readNumbers(std::vector<Int>& out, const v8::Local<v8::Value>& value, const char* function) {
  out.clear();
  readElements(value, function, "Number expected", isNumber,
               [&](const auto& element) { convertNumber(out.emplace_back(), element); });
}

/// Calls read(object, name) for each own enumerable property name of an object; `undefined` is an
/// object without properties.
template <typename Read>
void readProperties(const v8::Local<v8::Value>& value, const char* function, const Read& read) {
  if (value->IsUndefined()) return;
  if (!value->IsObject()) throw WrongType(__("Object expected"), placeIn(function, __LINE__));
  const auto object = value.As<v8::Object>();
  v8::Local<v8::Array> names;
  if (!Nan::GetOwnPropertyNames(object).ToLocal(&names)) throw Failed(placeIn(function, __LINE__));
  const std::uint32_t length = names->Length();
  for (std::uint32_t i = 0; i < length; ++i) read(object, get(names, i));
}

/// Reads the string `object[name]`; `key` is the name as the error message shows it.
template <typename Key>
void readStringProperty(std::string& out, const v8::Local<v8::Object>& object,
                        const v8::Local<v8::Value>& name, const Key& key, const char* function) {
  const auto value = get(object, name);
  if (!isString(value)) {
    throw WrongType(__("Value of %(key)s expected to be String", "key", key),
                    placeIn(function, __LINE__));
  }
  v8ToStd(out, value.As<v8::String>());
}

/// Calls add(name, text) for each property of an object whose names and values are strings.
template <typename Add>
void readStringProperties(const v8::Local<v8::Value>& value, const char* function, const Add& add) {
  std::string key;
  std::string text;
  readProperties(value, function, [&](const auto& object, const auto& name) {
    if (!isString(name)) {
      throw WrongType(__("Key expected to be String"), placeIn(function, __LINE__));
    }
    v8ToStd(key, name.template As<v8::String>());
    readStringProperty(text, object, name, key, function);
    add(key, text);
  });
}

}  // namespace

void parseString(std::string& out, const v8::Local<v8::Value>& value) {
  out.clear();
  if (value->IsUndefined()) return;
  if (!value->IsString()) throw WrongType(__("String expected"), ZAX_DEBUG_INFO);
  v8ToStd(out, value.As<v8::String>());
}

void parseInt(long& out, const v8::Local<v8::Value>& value) {
  out = 0;
  if (value->IsUndefined()) return;
  if (!value->IsNumber()) throw WrongType(__("Number expected"), ZAX_DEBUG_INFO);
  out = Nan::To<std::int64_t>(value).FromJust();
}

void parseInt(int& out, const v8::Local<v8::Value>& value) {
  out = 0;
  if (value->IsUndefined()) return;
  if (!value->IsNumber()) throw WrongType(__("Number expected"), ZAX_DEBUG_INFO);
  convertNumber(out, value);
}

void parseInt(unsigned int& out, const v8::Local<v8::Value>& value) {
  out = 0;
  if (value->IsUndefined()) return;
  if (!value->IsUint32()) {
    throw WrongType(__("Unsigned 32-bit number expected"), ZAX_DEBUG_INFO);
  }
  convertNumber(out, value);
}

void parseBoolean(bool& out, const v8::Local<v8::Value>& value) {
  out = false;
  if (value->IsUndefined()) return;
  if (!value->IsBoolean()) throw WrongType(__("Boolean expected"), ZAX_DEBUG_INFO);
  out = value->IsTrue();
}

void parseBoolean(boolean_t& out, const v8::Local<v8::Value>& value) {
  bool flag;
  parseBoolean(flag, value);
  out = flag ? BOOLEAN_TRUE : BOOLEAN_FALSE;
}

void parseCallback(Callback& out, const v8::Local<v8::Value>& value) {
  if (value->IsUndefined()) throw WrongType(__("Function undefined"), ZAX_DEBUG_INFO);
  if (!value->IsFunction()) throw WrongType(__("Function expected"), ZAX_DEBUG_INFO);
  out.reset(value.As<v8::Function>());
}

void parseStringList(std::list<std::string>& out, const v8::Local<v8::Value>& value) {
  out.clear();
  readStrings(value, __func__, [&](const auto& text) { v8ToStd(out.emplace_back(), text); });
}

void parseStringSet(std::set<std::string>& out, const v8::Local<v8::Value>& value) {
  out.clear();
  std::string element;
  readStrings(value, __func__, [&](const auto& text) {
    v8ToStd(element, text);
    out.insert(element);
  });
}

void parseIntVector(std::vector<unsigned int>& out, const v8::Local<v8::Value>& value) {
  readNumbers(out, value, __func__);
}

void parseIntVector(std::vector<int>& out, const v8::Local<v8::Value>& value) {
  readNumbers(out, value, __func__);
}

void parseStringPairs(std::list<std::pair<std::string, std::string>>& out,
                      const v8::Local<v8::Value>& value) {
  out.clear();
  readStringProperties(value, __func__, [&](const std::string& key, const std::string& text) {
    out.emplace_back(key, text);
  });
}

void parseStringStringMap(std::map<std::string, std::string>& out,
                          const v8::Local<v8::Value>& value) {
  out.clear();
  readStringProperties(value, __func__,
                       [&](const std::string& key, const std::string& text) { out[key] = text; });
}

void parseIntStringMap(std::map<int, std::string>& out, const v8::Local<v8::Value>& value) {
  out.clear();
  const char* function = __func__;
  std::string text;
  readProperties(value, function, [&](const auto& object, const auto& name) {
    if (!isNumber(name)) {
      throw WrongType(__("Number expected"), placeIn(function, __LINE__));
    }
    int key;
    convertNumber(key, name);
    readStringProperty(text, object, name, key, function);
    out[key] = text;
  });
}

v8::Local<v8::Value> getChildValue(v8::Local<v8::Value>& object, const std::string& name) {
  Nan::EscapableHandleScope scope;
  if (!object->IsObject()) throw WrongType(__("Object expected"), ZAX_DEBUG_INFO);
  v8::Local<v8::Object> target;
  if (!Nan::To<v8::Object>(object).ToLocal(&target)) throw Failed(ZAX_DEBUG_INFO);
  v8::Local<v8::String> key;
  if (!Nan::New(name).ToLocal(&key)) throw Failed(ZAX_DEBUG_INFO);
  v8::Local<v8::Value> value;
  if (!Nan::Get(target, key).ToLocal(&value)) throw Failed(ZAX_DEBUG_INFO);
  return scope.Escape(value);
}

void getChildString(std::string& out, const std::string& name, v8::Local<v8::Value>& object) {
  out.clear();
  parseString(out, getChildValue(object, name));
}

void getChildInt(int& out, const std::string& name, v8::Local<v8::Value>& object) {
  out = 0;
  parseInt(out, getChildValue(object, name));
}

void getChildInt(unsigned int& out, const std::string& name, v8::Local<v8::Value>& object) {
  out = 0;
  parseInt(out, getChildValue(object, name));
}

void getChildBoolean(bool& out, const std::string& name, v8::Local<v8::Value>& object) {
  out = false;
  parseBoolean(out, getChildValue(object, name));
}

void getChildStringMap(std::map<std::string, std::string>& out, const std::string& name,
                       v8::Local<v8::Value>& object) {
  out.clear();
  parseStringStringMap(out, getChildValue(object, name));
}

void getChildStringList(std::list<std::string>& out, const std::string& name,
                        v8::Local<v8::Value>& object) {
  out.clear();
  readStrings(getChildValue(object, name), __func__,
              [&](const auto& text) { v8ToStd(out.emplace_back(), text); });
}

namespace {

v8::Local<v8::Value> toV8(const std::string& value) { return Nan::New(value).ToLocalChecked(); }

v8::Local<v8::Value> toV8(unsigned long value) {
  return Nan::New<v8::Number>(static_cast<double>(value));
}

void store(v8::Local<v8::Object>& object, const std::string& key, v8::Local<v8::Value> value) {
  (void)Nan::Set(object, Nan::New(key).ToLocalChecked(), value);
}

template <typename Map>
void storeMap(v8::Local<v8::Object>& object, const Map& map) {
  for (const auto& [key, value] : map) store(object, key, toV8(value));
}

template <typename Strings>
void storeStrings(v8::Local<v8::Array>& array, const Strings& strings) {
  std::uint32_t index = 0;
  for (const std::string& text : strings) (void)Nan::Set(array, index++, toV8(text));
}

}  // namespace

void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const std::string& value) {
  store(object, key, toV8(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, const char* value) {
  store(object, key, Nan::New(value).ToLocalChecked());
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, bool value) {
  store(object, key, Nan::New(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, int value) {
  store(object, key, Nan::New(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, unsigned int value) {
  store(object, key, Nan::New(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, long value) {
  store(object, key, Nan::New(static_cast<double>(value)));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, unsigned long value) {
  store(object, key, toV8(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key, double value) {
  store(object, key, Nan::New(value));
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const std::list<std::string>& value) {
  v8::Local<v8::Array> array = Nan::New<v8::Array>();
  stringListToArray(array, value);
  store(object, key, array);
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const v8::Local<v8::Object>& value) {
  store(object, key, value);
}

void insertToObject(v8::Local<v8::Object>& object, const std::string& key,
                    const v8::Local<v8::Array>& value) {
  store(object, key, value);
}

void mapToObject(v8::Local<v8::Object>& object, const std::map<std::string, std::string>& map) {
  storeMap(object, map);
}

void mapToObject(v8::Local<v8::Object>& object, const std::map<std::string, unsigned long>& map) {
  storeMap(object, map);
}

void stringListToArray(v8::Local<v8::Array>& array, const std::list<std::string>& list) {
  storeStrings(array, list);
}

void stringSetToArray(v8::Local<v8::Array>& array, const std::set<std::string>& set) {
  storeStrings(array, set);
}

}  // namespace zax
