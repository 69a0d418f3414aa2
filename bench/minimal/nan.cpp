#include <nan.h>

namespace {

NAN_METHOD(echo) {
  if (info.Length() != 2 || !info[0]->IsString() || !info[1]->IsFunction()) {
    return Nan::ThrowTypeError("string and function expected");
  }
  const Nan::Utf8String text(info[0]);
  const Nan::Callback callback(info[1].As<v8::Function>());
  v8::Local<v8::Value> argv[] = {Nan::New(0), Nan::New(*text, text.length()).ToLocalChecked()};
  Nan::AsyncResource resource("minimal");
  callback.Call(2, argv, &resource);
}

NAN_MODULE_INIT(init) { Nan::Export(target, "echo", echo); }

}  // namespace

NODE_MODULE(minimal_nan, init)
