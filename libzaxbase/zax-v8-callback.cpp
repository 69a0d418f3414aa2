#include "zax-v8-callback.h"

#include <nan.h>

#include <utility>

#include "zax-base.h"
#include "zax-v8-utils.h"

namespace zax {

namespace {

v8::MaybeLocal<v8::Value> makeCallback(v8::Isolate* isolate, v8::Local<v8::Function> function,
                                       int argc, v8::Local<v8::Value>* argv) {
  return node::MakeCallback(isolate, isolate->GetCurrentContext()->Global(), function, argc, argv,
                            {0, 0});
}

}  // namespace

void reportUncaught(v8::Isolate* isolate, const v8::TryCatch& tryCatch) {
  if (tryCatch.HasCaught() && !tryCatch.HasTerminated()) node::FatalException(isolate, tryCatch);
}

Callback::Callback(const Callback& other)
    : function_(v8::Isolate::GetCurrent(), other.function_), isolate_(other.isolate_) {}

Callback& Callback::operator=(const Callback& other) { return *this = Callback(other); }

Callback& Callback::operator=(Callback&& other) noexcept {
  function_ = std::move(other.function_);
  isolate_ = other.isolate_;
  return *this;
}

Callback::~Callback() {
  if (*this && v8::Isolate::TryGetCurrent() == isolate_) function_.~Global();
}

void Callback::reset(v8::Local<v8::Function> function) {
  isolate_ = v8::Isolate::GetCurrent();
  function_.Reset(isolate_, function);
}

void Callback::callGuarded(v8::Isolate* isolate, int argc, v8::Local<v8::Value>* argv) {
  v8::TryCatch tryCatch(isolate);
  (void)invoke(argc, argv);
  reportUncaught(isolate, tryCatch);
}

/// Replies with (0, build(isolate)).
template <typename Build>
void Callback::reply(const Build& build) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const v8::HandleScope scope(isolate);
  v8::Local<v8::Value> argv[] = {v8::Integer::New(isolate, 0), build(isolate)};
  callGuarded(isolate, 2, argv);
}

void Callback::call() { call(0, nullptr); }

void Callback::call(int argc, v8::Local<v8::Value>* argv) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const v8::HandleScope scope(isolate);
  callGuarded(isolate, argc, argv);
}

void Callback::call(int value) {
  reply([&](v8::Isolate* isolate) { return v8::Integer::New(isolate, value); });
}

void Callback::call(const std::string& text) {
  reply([&](v8::Isolate*) { return Nan::New(text).ToLocalChecked(); });
}

void Callback::call(const std::list<std::string>& items) {
  reply([&](v8::Isolate* isolate) {
    v8::Local<v8::Array> array = v8::Array::New(isolate);
    stringListToArray(array, items);
    return array;
  });
}

void Callback::call(const std::set<std::string>& items) {
  reply([&](v8::Isolate* isolate) {
    v8::Local<v8::Array> array = v8::Array::New(isolate);
    stringSetToArray(array, items);
    return array;
  });
}

void Callback::call(const std::map<std::string, std::string>& entries) {
  reply([&](v8::Isolate* isolate) {
    v8::Local<v8::Object> object = v8::Object::New(isolate);
    mapToObject(object, entries);
    return object;
  });
}

void Callback::call(const std::map<std::string, unsigned long>& entries) {
  reply([&](v8::Isolate* isolate) {
    v8::Local<v8::Object> object = v8::Object::New(isolate);
    mapToObject(object, entries);
    return object;
  });
}

void Callback::call(v8::Local<v8::Value> value) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const v8::HandleScope scope(isolate);
  v8::Local<v8::Value> argv[] = {v8::Null(isolate), value};
  callGuarded(isolate, 2, argv);
}

v8::MaybeLocal<v8::Value> Callback::invoke(int argc, v8::Local<v8::Value>* argv) const {
  if (!*this) return {};
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  return makeCallback(isolate, function_.Get(isolate), argc, argv);
}

v8::Local<v8::Value> v8call(const char* name, int argc, v8::Local<v8::Value>* argv) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  v8::EscapableHandleScope scope(isolate);
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  const v8::Local<v8::String> key =
      v8::String::NewFromUtf8(isolate, name, v8::NewStringType::kInternalized).ToLocalChecked();
  v8::Local<v8::Value> value;
  if (!context->Global()->Get(context, key).ToLocal(&value)) return {};
  if (!value->IsFunction()) {
    debugTrace(value->IsNull() ? "JS object %s not found\n" : "JS object %s is not a function\n",
               name);
    return scope.Escape(v8::Null(isolate).As<v8::Value>());
  }
  v8::Local<v8::Value> result;
  if (!makeCallback(isolate, value.As<v8::Function>(), argc, argv).ToLocal(&result)) return {};
  return scope.Escape(result);
}

PersistentFunctionTemplate::PersistentFunctionTemplate(
    v8::Local<v8::FunctionTemplate> functionTemplate)
    : template_(v8::Isolate::GetCurrent(), functionTemplate) {}

v8::Local<v8::Function> PersistentFunctionTemplate::getFunctionClone() const {
  Nan::EscapableHandleScope scope;
  return scope.Escape(Nan::GetFunction(template_.Get(v8::Isolate::GetCurrent())).ToLocalChecked());
}

}  // namespace zax
