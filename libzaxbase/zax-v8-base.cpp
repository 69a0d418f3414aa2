#include "zax-v8-base.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

// What differs between the versions of V8 is told apart here and nowhere else.

namespace zax {

namespace {

/// The size of a string in UTF-8.
std::size_t utf8Size(v8::Isolate* isolate, const v8::Local<v8::String>& value) {
#if V8_MAJOR_VERSION >= 13
  return value->Utf8LengthV2(isolate);
#else
  return static_cast<std::size_t>(value->Utf8Length(isolate));
#endif
}

/// Writes a string of `length` characters below 256, without a terminator.
void writeOneByte(v8::Isolate* isolate, const v8::Local<v8::String>& value, int length,
                  char* bytes) {
  auto* target = reinterpret_cast<std::uint8_t*>(bytes);
#if V8_MAJOR_VERSION >= 13
  value->WriteOneByteV2(isolate, 0, length, target);
#else
  value->WriteOneByte(isolate, target, 0, length, v8::String::NO_NULL_TERMINATION);
#endif
}

/// Writes a string whose size is `size`, without a terminator.
void write(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes, std::size_t size,
           bool replaceSurrogates) {
  const int length = value->Length();
  if (size == static_cast<std::size_t>(length)) {  // No need to encode.
    return writeOneByte(isolate, value, length, bytes);
  }
#if V8_MAJOR_VERSION >= 13
  using Flags = v8::String::WriteFlags;
  value->WriteUtf8V2(isolate, bytes, size,
                     replaceSurrogates ? Flags::kReplaceInvalidUtf8 : Flags::kNone);
#else
  int options = v8::String::NO_NULL_TERMINATION;
  if (replaceSurrogates) options |= v8::String::REPLACE_INVALID_UTF8;
  value->WriteUtf8(isolate, bytes, static_cast<int>(size), nullptr, options);
#endif
}

/// Bytes that are looked at together, wherever they lie.
using Word = std::uint64_t __attribute__((aligned(1), may_alias));
using Block = std::uint64_t __attribute__((vector_size(16), aligned(1), may_alias));

Word wordAt(const char* text) { return *reinterpret_cast<const Word*>(text); }
Block blockAt(const char* text) { return *reinterpret_cast<const Block*>(text); }

bool isAscii(const char* text, std::size_t size) {
  std::uint64_t bits = 0;
  const char* const end = text + size;
  if (size >= sizeof(Word)) {
    Block blocks{};
    for (; size >= 2 * sizeof(Block); text += 2 * sizeof(Block), size -= 2 * sizeof(Block)) {
      blocks |= blockAt(text) | blockAt(text + sizeof(Block));
    }
    bits = blocks[0] | blocks[1] | wordAt(end - sizeof(Word));
    for (; size > sizeof(Word); text += sizeof(Word), size -= sizeof(Word)) bits |= wordAt(text);
  } else {
    for (; text < end; ++text) bits |= static_cast<std::uint8_t>(*text);
  }
  return (bits & 0x8080808080808080) == 0;
}

/// The length of a string that is ASCII and fits, and writes it; 0 for any other. To look at the
/// bytes is cheaper than to ask V8 for the size in UTF-8.
std::size_t readAscii(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
                      std::size_t capacity) {
#if V8_MAJOR_VERSION >= 13
  const v8::String::ValueView view(isolate, value);
  const std::size_t length = view.length();
  if (length > capacity || !view.is_one_byte()) return 0;
  const auto* text = reinterpret_cast<const char*>(view.data8());
  if (!isAscii(text, length)) return 0;
  std::memcpy(bytes, text, length);
  return length;
#else
  const int characters = value->Length();
  const auto length = static_cast<std::size_t>(characters);
  if (length > capacity || !value->IsOneByte()) return 0;
  writeOneByte(isolate, value, characters, bytes);
  return isAscii(bytes, length) ? length : 0;
#endif
}

}  // namespace

std::size_t readUtf8(v8::Isolate* isolate, const v8::Local<v8::String>& value, char* bytes,
                     std::size_t capacity) {
  if (const std::size_t length = readAscii(isolate, value, bytes, capacity)) return length;
  const std::size_t size = utf8Size(isolate, value);
  if (size <= capacity) write(isolate, value, bytes, size, true);
  return size;
}

v8::MaybeLocal<v8::String> newString(v8::Isolate* isolate, const char* utf8, std::size_t size) {
  if (size > static_cast<std::size_t>(v8::String::kMaxLength) * 3) return {};
  const auto type = v8::NewStringType::kNormal;
  const int bytes = static_cast<int>(std::min<std::size_t>(size, INT32_MAX));
  if (!isAscii(utf8, size)) return v8::String::NewFromUtf8(isolate, utf8, type, bytes);
  const auto* oneByte = reinterpret_cast<const std::uint8_t*>(utf8);
  return v8::String::NewFromOneByte(isolate, oneByte, type, bytes);
}

void v8ToStd(std::string& out, const v8::Local<v8::String>& value) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const std::size_t size = utf8Size(isolate, value);
  const std::unique_ptr<char[]> bytes(new char[size + 1]);
  write(isolate, value, bytes.get(), size, false);
  bytes[size] = '\0';
  out = bytes.get();
}

v8::Local<v8::String> internalized(v8::Isolate* isolate, const char* text) {
  return v8::String::NewFromUtf8(isolate, text, v8::NewStringType::kInternalized).ToLocalChecked();
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

v8::Maybe<bool> setPrototypeOf(v8::Local<v8::Object> object, v8::Local<v8::Value> prototype) {
  const v8::Local<v8::Context> context = v8::Isolate::GetCurrent()->GetCurrentContext();
#if V8_MAJOR_VERSION >= 13
  return object->SetPrototypeV2(context, prototype);
#else
  return object->SetPrototype(context, prototype);
#endif
}

}  // namespace zax
