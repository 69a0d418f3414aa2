#include "bridge.h"

// Exposes to JavaScript the part of the framework that talks to V8, so that tests drive it by
// tables.

static void registerModule(v8::Local<v8::Object> exports) {
  using namespace bridge;
  for (auto* add : {registerValues, registerCalls, registerJobs, registerErrors}) add(exports);
}

NODE_MODULE(bridge, registerModule)
