#include "zax-v8-base.h"

#include <cstdint>
#include <memory>

// What differs between the versions of V8 is told apart here and nowhere else.

namespace zax {

namespace {

#if V8_MAJOR_VERSION >= 13

std::size_t utf8Length(v8::Isolate* isolate, const v8::Local<v8::String>& value) {
  return value->Utf8LengthV2(isolate);
}

void writeUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
               std::size_t size) {
  value->WriteUtf8V2(isolate, bytes, size, v8::String::WriteFlags::kNullTerminate);
}

void writeOneByte(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes) {
  value->WriteOneByteV2(isolate, 0, value->Length(), reinterpret_cast<std::uint8_t*>(bytes),
                        v8::String::WriteFlags::kNullTerminate);
}

#else

std::size_t utf8Length(v8::Isolate* isolate, const v8::Local<v8::String>& value) {
  return static_cast<std::size_t>(value->Utf8Length(isolate));
}

void writeUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
               std::size_t /*size*/) {
  value->WriteUtf8(isolate, bytes);
}

void writeOneByte(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes) {
  value->WriteOneByte(isolate, reinterpret_cast<std::uint8_t*>(bytes));
}

#endif

}  // namespace

void v8ToStd(std::string& out, const v8::Local<v8::String>& value) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const std::size_t length = utf8Length(isolate, value);
  const std::unique_ptr<char[]> bytes(new char[length + 1]);
  if (length == static_cast<std::size_t>(value->Length())) {
    writeOneByte(isolate, value, bytes.get());  // All ASCII: no need to encode.
  } else {
    writeUtf8(isolate, value, bytes.get(), length + 1);
  }
  out = bytes.get();
}

v8::Local<v8::Value> prototypeOf(v8::Local<v8::Object> object) {
#if V8_MAJOR_VERSION >= 13
  return object->GetPrototypeV2();
#else
  return object->GetPrototype();
#endif
}

}  // namespace zax
