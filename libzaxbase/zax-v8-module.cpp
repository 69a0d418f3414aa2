// How Node finds an add-on on ZAX_MODULE. Part of every add-on that compiles the framework as one
// unit; in one that registers with NODE_MODULE it stands back.

#include <dlfcn.h>
#include <node.h>

#include <string>

#include "zax-v8-backend.h"
#include "zax-v8-environment.h"

extern "C" __attribute__((weak)) bool zax_module(const ZaxBackend* backend, ZaxValue* exports);

namespace zax {

namespace {

void load(v8::Local<v8::Object> exports, v8::Local<v8::Value> /*module*/,
          v8::Local<v8::Context> context, void* /*data*/) {
  Environment::enter(context);
  zax_module(&backendTable, toSlot(exports.As<v8::Value>()));
}

node::node_module moduleRecord = {
    NODE_MODULE_VERSION, 0, nullptr, __FILE__, nullptr, load, "zax", nullptr, nullptr};

/// Tells Node at the first load which Node the add-on is built for, so that it can refuse one that
/// is built for another with both versions.
__attribute__((constructor)) void registerAddOn() {
  if (zax_module) node_module_register(&moduleRecord);
}

/// What Node itself throws for an add-on that only one thread can load.
void refuseThread(v8::Local<v8::Context> context) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const auto text = [&](const std::string& utf8) {
    return v8::String::NewFromUtf8(isolate, utf8.c_str()).ToLocalChecked();
  };
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&refuseThread), &info);
  const std::string file = info.dli_fname ? info.dli_fname : "";
  const auto error = v8::Exception::Error(text("Module did not self-register: '" + file + "'."));
  error.As<v8::Object>()->Set(context, text("code"), text("ERR_DLOPEN_FAILED")).Check();
  isolate->ThrowException(error);
}

}  // namespace

}  // namespace zax

/// What Node calls at every load after the first: it forgets a registration with the thread that
/// caused it, while the library stays in memory.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports,
                                                           v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
  if (zax_module) {
    zax::load(exports, module, context, nullptr);
  } else {
    zax::refuseThread(context);
  }
}
