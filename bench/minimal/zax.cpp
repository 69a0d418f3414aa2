#include <string>

#include "zax-v8-argument-list.h"

namespace {

void echo(std::string text, zax::Callback callback) { callback.call(text); }

void init(v8::Local<v8::Object> exports) {
  Nan::Export(exports, "echo", zax::BindFunction<void(std::string, zax::Callback), echo>::entry);
}

}  // namespace

NODE_MODULE(minimal_zax, init)
