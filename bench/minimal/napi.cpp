#include <napi.h>

#include <string>

namespace {

void echo(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  if (info.Length() != 2 || !info[0].IsString() || !info[1].IsFunction()) {
    throw Napi::TypeError::New(env, "string and function expected");
  }
  const std::string text = info[0].As<Napi::String>();
  const napi_value argv[] = {Napi::Number::New(env, 0), Napi::String::New(env, text)};
  info[1].As<Napi::Function>().MakeCallback(env.Global(), 2, argv);
}

Napi::Object init(Napi::Env env, Napi::Object exports) {
  exports.Set("echo", Napi::Function::New<echo>(env));
  return exports;
}

}  // namespace

NODE_API_MODULE(minimal_napi, init)
