#include <napi.h>

#include <string>

namespace {

Napi::Value echo(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  if (info.Length() != 1 || !info[0].IsString()) {
    throw Napi::TypeError::New(env, "string expected");
  }
  const std::string text = info[0].As<Napi::String>();
  return Napi::String::New(env, text);
}

Napi::Object init(Napi::Env env, Napi::Object exports) {
  exports.Set("echo", Napi::Function::New<echo>(env));
  return exports;
}

}  // namespace

NODE_API_MODULE(minimal_plain_napi, init)
