#include "bridge.h"

// Exposes to JavaScript the part of the framework that talks to V8, so that tests drive it by
// tables.

namespace {

void RegisterModule(v8::Local<v8::Object> exports) {
  bridge::registerParsing(exports);
  bridge::registerBuilding(exports);
  bridge::registerCalls(exports);
  bridge::registerJobs(exports);
  bridge::registerErrors(exports);
}

}  // namespace

NODE_MODULE(bridge, RegisterModule)
