#include "zax-v8-base.h"

#include <memory>

// What differs between the versions of V8 is told apart here and nowhere else.

namespace zax {

void v8ToStd(std::string& out, const v8::Local<v8::String>& value) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
#if V8_MAJOR_VERSION >= 13
  const std::size_t size = value->Utf8LengthV2(isolate) + 1;
  const std::unique_ptr<char[]> bytes(new char[size]);
  value->WriteUtf8V2(isolate, bytes.get(), size, v8::String::WriteFlags::kNullTerminate);
#else
  const std::size_t size = static_cast<std::size_t>(value->Utf8Length(isolate)) + 1;
  const std::unique_ptr<char[]> bytes(new char[size]);
  value->WriteUtf8(isolate, bytes.get());
#endif
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
