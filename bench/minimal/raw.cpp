#include <node.h>

namespace {

void echo(const v8::FunctionCallbackInfo<v8::Value>& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 2 || !info[0]->IsString() || !info[1]->IsFunction()) {
    isolate->ThrowException(v8::Exception::TypeError(
        v8::String::NewFromUtf8Literal(isolate, "string and function expected")));
    return;
  }
  const v8::String::Utf8Value text(isolate, info[0]);
  v8::Local<v8::Value> argv[] = {
      v8::Integer::New(isolate, 0),
      v8::String::NewFromUtf8(isolate, *text, v8::NewStringType::kNormal, text.length())
          .ToLocalChecked()};
  (void)node::MakeCallback(isolate, isolate->GetCurrentContext()->Global(),
                           info[1].As<v8::Function>(), 2, argv, {0, 0});
}

void init(v8::Local<v8::Object> exports) { NODE_SET_METHOD(exports, "echo", echo); }

}  // namespace

NODE_MODULE(minimal_raw, init)
