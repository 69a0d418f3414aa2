#include "zax-v8-error.h"

#include <nan.h>

#include <cstdint>
#include <cstdio>

#include "zax-v8-utils.h"

namespace zax {

namespace {

v8::Local<v8::Value> toV8(const char* text) { return Nan::New(text ? text : "").ToLocalChecked(); }

/// The message as "__" builds it; empty when that threw.
v8::Local<v8::Value> createMessage(const MessageBuffer& message) {
  if (message.overflow) {
    v8::Local<v8::Value> argv[] = {toV8("Error message buffer overflow")};
    return v8call("__", 1, argv);
  }
  v8::Local<v8::Object> arguments = Nan::New<v8::Object>();
  for (unsigned long i = 0; i < message.count; ++i) {
    Nan::HandleScope scope;
    (void)Nan::Set(arguments, toV8(message.args[i].key), toV8(message.args[i].value));
  }
  v8::Local<v8::Value> argv[] = {toV8(message.format), arguments};
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
  v8::Local<v8::Object> details = Nan::New<v8::Object>();
  insertToObject(details, "exceptionClass", info.exceptionClass());
  insertToObject(details, "file", where.file ? where.file : "");
  insertToObject(details, "line", where.line);
  insertToObject(details, "function", where.function ? where.function : "");
  insertToObject(details, "callstack", createCallStack(where.callstack));
  if (where.syscode >= 0) insertToObject(details, "syscode", where.syscode);
  if (!where.sysdesc.empty()) insertToObject(details, "sysdesc", where.sysdesc.c_str());
  if (!where.sysmsg.empty()) insertToObject(details, "sysmsg", where.sysmsg.c_str());
  return details;
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
  if (hasValue()) callback.call(1, &errorObject_);
}

void ZAXError::throwException() {
  if (hasValue()) v8::Isolate::GetCurrent()->ThrowException(errorObject_);
}

}  // namespace zax
