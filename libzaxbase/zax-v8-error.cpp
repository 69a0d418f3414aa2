#include "zax-v8-error.h"

#include <nan.h>

#include <cstdint>
#include <cstdio>

#include "zax-v8-base.h"
#include "zax-v8-utils.h"

namespace zax {

namespace {

v8::Local<v8::Value> toV8(const char* text) { return Nan::New(text ? text : "").ToLocalChecked(); }

v8::Local<v8::Name> toName(const char* text) {
  return v8::String::NewFromUtf8(v8::Isolate::GetCurrent(), text ? text : "",
                                 v8::NewStringType::kInternalized)
      .ToLocalChecked();
}

/// Collects the properties of a new object and makes it in one step, which takes a fraction of the
/// time that setting them one by one does: an error's names are rarely those of the error before.
template <std::size_t Capacity>
class ObjectBuilder {
 public:
  void add(const char* name, v8::Local<v8::Value> value) {
    names_[size_] = toName(name);
    values_[size_++] = value;
  }
  void add(const char* name, const char* value) { add(name, toV8(value)); }
  void add(const char* name, int value) { add(name, Nan::New(value)); }

  v8::Local<v8::Object> build() {
    const v8::Local<v8::Value> prototype = prototypeOf(v8::Object::New(isolate_));
    return v8::Object::New(isolate_, prototype, names_, values_, size_);
  }

 private:
  v8::Isolate* isolate_ = v8::Isolate::GetCurrent();
  v8::Local<v8::Name> names_[Capacity];
  v8::Local<v8::Value> values_[Capacity];
  std::size_t size_ = 0;
};

/// The message as "__" builds it; empty when that threw.
v8::Local<v8::Value> createMessage(const MessageBuffer& message) {
  if (message.overflow) {
    v8::Local<v8::Value> argv[] = {toV8("Error message buffer overflow")};
    return v8call("__", 1, argv);
  }
  ObjectBuilder<MessageBuffer::maxArguments> arguments;
  for (unsigned long i = 0; i < message.count; ++i) {
    arguments.add(message.args[i].key, message.args[i].value);
  }
  v8::Local<v8::Value> argv[] = {toV8(message.format), arguments.build()};
  return v8call("__", 2, argv);
}

void insertHex(v8::Local<v8::Object>& object, const char* key, std::uint64_t value) {
  char text[64];
  std::snprintf(text, sizeof(text), "0x%lx", value);
  insertToObject(object, key, text);
}

v8::Local<v8::Array> createCallStack(const CallStack& callstack) {
  v8::Local<v8::Array> array = Nan::New<v8::Array>();
  std::uint32_t index = 0;
  for (const CallStack::Item& item : callstack.items()) {
    v8::Local<v8::Object> frame = Nan::New<v8::Object>();
    insertToObject(frame, "function", item.function);
    insertToObject(frame, "file", item.file);
    insertHex(frame, "offset", item.offset);
    insertHex(frame, "address", item.address);
    (void)Nan::Set(array, index++, frame);
  }
  return array;
}

v8::Local<v8::Object> createDetails(const ErrorInfo& info) {
  const DebugInfo& where = info.where();
  ObjectBuilder<8> details;
  details.add("exceptionClass", info.exceptionClass());
  details.add("file", where.file);
  details.add("line", where.line);
  details.add("function", where.function);
  details.add("callstack", createCallStack(where.callstack));
  if (where.syscode >= 0) details.add("syscode", where.syscode);
  if (!where.sysdesc.empty()) details.add("sysdesc", where.sysdesc.c_str());
  if (!where.sysmsg.empty()) details.add("sysmsg", where.sysmsg.c_str());
  return details.build();
}

}  // namespace

ZAXError::ZAXError(const ErrorCode& code, const MessageBuffer& message,
                   const DebugInfo& debugInfo) {
  create(ErrorInfo(code, message, debugInfo, "ZAXError::ZAXError()"));
}

void ZAXError::create(const ErrorInfo& info) {
  Nan::EscapableHandleScope scope;
  const v8::Local<v8::Value> message = createMessage(info.message());
  if (message.IsEmpty()) return;
  v8::Local<v8::Value> argv[] = {toV8(info.error().c_str()), message, createDetails(info)};
  const v8::Local<v8::Value> value = v8call("createZaxBindingError", 3, argv);
  if (!value.IsEmpty() && !value->IsNull()) errorObject_ = scope.Escape(value);
}

void ZAXError::sendReply(Callback& callback) {
  if (!errorObject_.IsEmpty()) callback.call(1, &errorObject_);
}

void ZAXError::throwException() {
  if (!errorObject_.IsEmpty()) v8::Isolate::GetCurrent()->ThrowException(errorObject_);
}

}  // namespace zax
