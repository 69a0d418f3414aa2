#include <node.h>
#include <uv.h>

#include <string>

#include "zax-v8-backend.h"

// The backend as a library of its own, for add-ons that are linked without one. It registers as an
// add-on does, and exports a function that opens those.

namespace zax {

namespace {

/// The entries of an add-on's binary; null where it has none.
struct Entries {
  ZaxNeedsFunction needs = nullptr;
  ZaxModuleFunction module = nullptr;
};

template <typename Entry>
void find(uv_lib_t* library, const char* name, Entry* entry) {
  void* address = nullptr;
  if (uv_dlsym(library, name, &address) == 0) *entry = reinterpret_cast<Entry>(address);
}

/// Opens a binary, which stays open: what it handed to JavaScript may outlive whoever loaded it.
/// Returns why it cannot be, or an empty text.
std::string openLibrary(const char* file, Entries* entries) {
  uv_lib_t library;
  std::string error;
  if (uv_dlopen(file, &library) != 0) {
    error = uv_dlerror(&library);
    uv_dlclose(&library);
    return error;
  }
  find(&library, "zax_needs", &entries->needs);
  find(&library, "zax_module", &entries->module);
  if (entries->needs && entries->module) return error;
  uv_dlclose(&library);
  return std::string(file) + " does not register with ZAX_MODULE";
}

/// Why a binary does not fit this backend, or an empty text.
std::string mismatch(const char* file, const ZaxNeeds& needs) {
  const std::string name = file;
  if (needs.major != ZAX_BACKEND_MAJOR) {
    return name + " was made for version " + std::to_string(needs.major) +
           " of the interface to JavaScript, and this zaxbase has version " +
           std::to_string(ZAX_BACKEND_MAJOR);
  }
  if (needs.size > sizeof(ZaxBackend)) return name + " was made for a newer zaxbase than this one";
  return {};
}

/// open(file, exports): fills the exports of the add-on in a file, or returns why that cannot be.
/// What the add-on's own body throws is thrown.
void open(const v8::FunctionCallbackInfo<v8::Value>& info) {
  v8::Isolate* isolate = info.GetIsolate();
  const v8::String::Utf8Value file(isolate, info[0]);
  Entries entries;
  std::string error = openLibrary(*file, &entries);
  if (error.empty()) error = mismatch(*file, *entries.needs());
  if (error.empty()) {
    entries.module(&backendTable, toSlot(info[1]));
  } else {
    info.GetReturnValue().Set(v8::String::NewFromUtf8(isolate, error.c_str()).ToLocalChecked());
  }
}

}  // namespace

}  // namespace zax

extern "C" bool zax_module(const ZaxBackend* /*backend*/, ZaxValue* exports) {
  v8::Isolate* isolate = zax::currentIsolate();
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::Function> open;
  return v8::Function::New(context, zax::open).ToLocal(&open) &&
         zax::toLocal(exports)
             .As<v8::Object>()
             ->Set(context, v8::String::NewFromUtf8Literal(isolate, "open"), open)
             .FromMaybe(false);
}
