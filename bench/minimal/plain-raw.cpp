#include <node.h>

namespace {

void echo(const v8::FunctionCallbackInfo<v8::Value>& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !info[0]->IsString()) {
    isolate->ThrowException(
        v8::Exception::TypeError(v8::String::NewFromUtf8Literal(isolate, "string expected")));
    return;
  }
  const v8::String::Utf8Value text(isolate, info[0]);
  info.GetReturnValue().Set(
      v8::String::NewFromUtf8(isolate, *text, v8::NewStringType::kNormal, text.length())
          .ToLocalChecked());
}

void init(v8::Local<v8::Object> exports) { NODE_SET_METHOD(exports, "echo", echo); }

}  // namespace

NODE_MODULE(minimal_plain_raw, init)
