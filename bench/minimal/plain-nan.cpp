#include <nan.h>

namespace {

NAN_METHOD(echo) {
  if (info.Length() != 1 || !info[0]->IsString()) return Nan::ThrowTypeError("string expected");
  const Nan::Utf8String text(info[0]);
  info.GetReturnValue().Set(Nan::New(*text, text.length()).ToLocalChecked());
}

NAN_MODULE_INIT(init) { Nan::Export(target, "echo", echo); }

}  // namespace

NODE_MODULE(minimal_plain_nan, init)
