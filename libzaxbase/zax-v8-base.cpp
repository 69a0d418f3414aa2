#include "zax-v8-base.h"

#include <cstdint>
#include <memory>

// What differs between the versions of V8 is told apart here and nowhere else.

namespace zax {

namespace {

/// Writes a string whose size is `size`, without a terminator.
void write(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes, std::size_t size,
           [[maybe_unused]] bool replaceSurrogates) {
  const int length = value->Length();
  const bool isAscii = size == static_cast<std::size_t>(length);  // No need to encode.
#if V8_MAJOR_VERSION >= 13
  using Flags = v8::String::WriteFlags;
  if (isAscii) {
    value->WriteOneByteV2(isolate, 0, length, reinterpret_cast<std::uint8_t*>(bytes));
  } else {
    value->WriteUtf8V2(isolate, bytes, size,
                       replaceSurrogates ? Flags::kReplaceInvalidUtf8 : Flags::kNone);
  }
#else
  int options = v8::String::NO_NULL_TERMINATION;
  if (isAscii) {
    value->WriteOneByte(isolate, reinterpret_cast<std::uint8_t*>(bytes), 0, length, options);
  } else {
    if (replaceSurrogates) options |= v8::String::REPLACE_INVALID_UTF8;
    value->WriteUtf8(isolate, bytes, static_cast<int>(size), nullptr, options);
  }
#endif
}

}  // namespace

std::size_t utf8Size(v8::Isolate* isolate, const v8::Local<v8::String>& value) {
#if V8_MAJOR_VERSION >= 13
  return value->Utf8LengthV2(isolate);
#else
  return static_cast<std::size_t>(value->Utf8Length(isolate));
#endif
}

void writeUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
               std::size_t size) {
  write(isolate, value, bytes, size, true);
}

void v8ToStd(std::string& out, const v8::Local<v8::String>& value) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const std::size_t size = utf8Size(isolate, value);
  const std::unique_ptr<char[]> bytes(new char[size + 1]);
  write(isolate, value, bytes.get(), size, false);
  bytes[size] = '\0';
  out = bytes.get();
}

v8::Local<v8::Value> wrapPointer(v8::Isolate* isolate, const void* pointer) {
#if V8_MAJOR_VERSION >= 14
  return v8::External::New(isolate, const_cast<void*>(pointer), v8::kExternalPointerTypeTagDefault);
#else
  return v8::External::New(isolate, const_cast<void*>(pointer));
#endif
}

void* unwrapPointer(v8::Local<v8::Value> wrapped) {
#if V8_MAJOR_VERSION >= 14
  return wrapped.As<v8::External>()->Value(v8::kExternalPointerTypeTagDefault);
#else
  return wrapped.As<v8::External>()->Value();
#endif
}

v8::Local<v8::Value> prototypeOf(v8::Local<v8::Object> object) {
#if V8_MAJOR_VERSION >= 13
  return object->GetPrototypeV2();
#else
  return object->GetPrototype();
#endif
}

}  // namespace zax
