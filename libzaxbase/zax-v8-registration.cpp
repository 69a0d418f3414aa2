#include <node.h>

#include "zax-v8-backend.h"
#include "zax-v8-environment.h"

// How Node finds an add-on on ZAX_MODULE: when it is first loaded by the record, which tells a
// binary for another Node; in every later thread by the exported function, whose name has the
// version.

/// What ZAX_MODULE defines; null in an add-on that registers otherwise.
extern "C" __attribute__((weak)) bool zax_module(const ZaxBackend* backend, ZaxValue* exports);

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports,
                                                           v8::Local<v8::Value> /*module*/,
                                                           v8::Local<v8::Context> context) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  if (!zax_module) {
    isolate->ThrowException(v8::Exception::Error(
        v8::String::NewFromUtf8Literal(isolate, "The add-on has no ZAX_MODULE to load")));
    return;
  }
  zax::Environment::enter(context);
  zax_module(&zax::backendTable, zax::toSlot(exports));
}

namespace zax {

namespace {

void load(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
          v8::Local<v8::Context> context, void* /*data*/) {
  NODE_MODULE_INITIALIZER(exports, module, context);
}

node::node_module moduleRecord = {
    NODE_MODULE_VERSION, 0, nullptr, __FILE__, nullptr, load, "zax", nullptr, nullptr};

__attribute__((constructor)) void registerModule() {
  if (zax_module) node_module_register(&moduleRecord);
}

}  // namespace

}  // namespace zax
