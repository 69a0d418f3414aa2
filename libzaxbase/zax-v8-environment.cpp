#include "zax-v8-environment.h"

#include <dlfcn.h>
#include <node.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "zax-v8-base.h"
#include "zax-v8-script.h"

namespace zax {

namespace {

/// A text of an error; cut where V8 could not hold it.
v8::Local<v8::String> toV8(v8::Isolate* isolate, const char* utf8) {
  constexpr std::size_t longest = 1 << 20;
  if (!utf8) return v8::String::Empty(isolate);
  return newString(isolate, utf8, strnlen(utf8, longest)).ToLocalChecked();
}

/// An object that has captured the stack of the script that runs.
v8::Local<v8::Object> newError(v8::Isolate* isolate) {
  return v8::Exception::Error(v8::String::Empty(isolate)).As<v8::Object>();
}

/// The class of errors of this realm: whoever comes first makes it.
v8::MaybeLocal<v8::Value> errorClass(v8::Local<v8::Context> context) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const auto symbol = v8::Symbol::For(isolate, toV8(isolate, "zaxbase.ZaxBindingError"));
  v8::Local<v8::Value> made;
  if (!context->Global()->Get(context, symbol).ToLocal(&made)) return {};
  if (made->IsFunction()) return made;
  if (!runScript(context, errorClassScript).ToLocal(&made)) return {};
  if (context->Global()->DefineOwnProperty(context, symbol, made, v8::DontEnum).IsNothing()) {
    return {};
  }
  return made;
}

/// Undefined where it is empty.
v8::Local<v8::Value> makeCallStack(v8::Isolate* isolate, const ZaxErrorRecord& record) {
  if (record.callstackSize == 0) return v8::Undefined(isolate);
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  const v8::Local<v8::Array> array = v8::Array::New(isolate);
  for (std::size_t i = 0; i < record.callstackSize; ++i) {
    const ZaxFrame& frame = record.callstack[i];
    const v8::Local<v8::Object> item = v8::Object::New(isolate);
    const auto set = [&](const char* name, const char* text) {
      item->Set(context, toV8(isolate, name), toV8(isolate, text)).FromMaybe(false);
    };
    const auto setHex = [&](const char* name, std::uint64_t value) {
      char text[32];
      std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
      set(name, text);
    };
    set("function", frame.function);
    set("file", frame.file);
    setHex("offset", frame.offset);
    setHex("address", frame.address);
    array->Set(context, static_cast<std::uint32_t>(i), item).FromMaybe(false);
  }
  return array;
}

v8::Local<v8::Value> makeSystemDetails(v8::Isolate* isolate, const ZaxErrorRecord& record) {
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  if (record.syscode < 0 && !(record.sysdesc && *record.sysdesc) &&
      !(record.sysmsg && *record.sysmsg)) {
    return v8::Undefined(isolate);
  }
  const v8::Local<v8::Object> details = v8::Object::New(isolate);
  const auto set = [&](const char* name, v8::Local<v8::Value> value) {
    details->Set(context, toV8(isolate, name), value).FromMaybe(false);
  };
  if (record.syscode >= 0) set("syscode", v8::Integer::New(isolate, record.syscode));
  if (record.sysdesc && *record.sysdesc) set("sysdesc", toV8(isolate, record.sysdesc));
  if (record.sysmsg && *record.sysmsg) set("sysmsg", toV8(isolate, record.sysmsg));
  return details;
}

/// Keeps this library in memory: what it handed to JavaScript may outlive the Worker that loaded
/// it.
void stayLoaded() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&stayLoaded), &info)) {
    dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

}  // namespace

thread_local Environment* Environment::current_ = nullptr;

v8::Local<v8::String> KnownTexts::get(v8::Isolate* isolate, const char* utf8) {
  if (!utf8) return v8::String::Empty(isolate);
  Known& known = known_[(reinterpret_cast<std::uintptr_t>(utf8) >> 3) % known_.size()];
  if (known.string.IsEmpty() || known.utf8 != utf8) {
    known.utf8 = utf8;
    known.string.Reset(isolate, toV8(isolate, utf8));
  }
  return known.string.Get(isolate);
}

v8::MaybeLocal<v8::Value> runScript(v8::Local<v8::Context> context, const char* source) {
  v8::Local<v8::Script> script;
  const auto text = toV8(v8::Isolate::GetCurrent(), source);
  if (!v8::Script::Compile(context, text).ToLocal(&script)) return {};
  return script->Run(context);
}

Environment::Environment(EventLoop& loop, v8::Local<v8::Context> context)
    : loop_(loop),
      isolate_(loop.isolate()),
      instances_(loop),
      references_(std::make_shared<References>()) {
  v8::Local<v8::Value> ofErrors;
  v8::Local<v8::Value> maker;
  v8::Local<v8::Value> makeError;
  v8::Local<v8::Value> error;
  if (errorClass(context).ToLocal(&ofErrors) &&
      runScript(context, makeErrorScript).ToLocal(&maker) &&
      maker.As<v8::Function>()
          ->Call(context, v8::Undefined(isolate_), 1, &ofErrors)
          .ToLocal(&makeError) &&
      runScript(context, "Error").ToLocal(&error)) {
    errorConstructor_.Reset(isolate_, error.As<v8::Object>());
    stackTraceLimit_.Reset(isolate_, internalized(isolate_, "stackTraceLimit"));
    makeError_.Reset(isolate_, makeError.As<v8::Function>());
  }
}

Environment::~Environment() {
  references_->end();
  current_ = nullptr;
}

Environment& Environment::enter(v8::Local<v8::Context> context) {
  if (!current_) {
    stayLoaded();
    EventLoop& loop = EventLoop::enter(context);
    current_ = new Environment(loop, context);
    loop.own(current_, [](void* environment) { delete static_cast<Environment*>(environment); });
  }
  return *current_;
}

v8::MaybeLocal<v8::Value> Environment::makeError(const ZaxErrorRecord& record) {
  if (makeError_.IsEmpty()) return v8::Exception::Error(toV8(isolate_, record.message));
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  // Here there is no script between the stack and the caller, which would be walked for nothing.
  v8::Local<v8::Object> trace;
  if (trace_) trace = trace_->IsEmpty() ? v8::Object::New(isolate_) : *trace_;
  if (!trace_) trace = newError(isolate_);
  v8::Local<v8::Value> arguments[] = {texts_.get(isolate_, record.code),
                                      toV8(isolate_, record.message),
                                      texts_.get(isolate_, record.exceptionClass),
                                      texts_.get(isolate_, record.file),
                                      v8::Integer::New(isolate_, record.line),
                                      texts_.get(isolate_, record.function),
                                      makeCallStack(isolate_, record),
                                      makeSystemDetails(isolate_, record),
                                      trace};
  return makeError_.Get(isolate_)->Call(context, v8::Undefined(isolate_), 9, arguments);
}

v8::MaybeLocal<v8::Object> Environment::captureStack() {
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  v8::Local<v8::Value> limit;
  if (!errorConstructor_.Get(isolate_)
           ->Get(context, stackTraceLimit_.Get(isolate_))
           .ToLocal(&limit)) {
    return {};
  }
  if (!limit->IsNumber() || limit.As<v8::Number>()->Value() <= 0) return v8::Object::New(isolate_);
  return newError(isolate_);
}

Tasks& Environment::tasks() {
  if (!tasks_) tasks_ = std::make_unique<Tasks>(*this);
  return *tasks_;
}

ZaxReference* Environment::takeThrown() {
  if (thrown_.IsEmpty()) return nullptr;
  const v8::HandleScope scope(isolate_);
  ZaxReference* reference = references_->make(isolate_, thrown_.Get(isolate_));
  thrown_.Reset();
  return reference;
}

ShapeScripts& Environment::scriptsOf(const ZaxShape* shape) {
  const auto is = [&](std::size_t i) { return i < shapes_.size() && shapes_[i]->shape() == shape; };
  if (is(lastShape_)) return *shapes_[lastShape_];
  lastShape_ = 0;
  while (lastShape_ < shapes_.size() && !is(lastShape_)) ++lastShape_;
  if (lastShape_ == shapes_.size()) shapes_.push_back(std::make_unique<ShapeScripts>(shape));
  return *shapes_[lastShape_];
}

void Environment::remember(v8::Local<v8::ArrayBuffer> buffer) {
  for (const auto& known : remembered_) {
    if (known == buffer) return;
  }
  auto& place = remembered_[nextRemembered_++ % remembered_.size()];
  place.Reset(isolate_, buffer);
  place.SetWeak();
}

v8::Local<v8::ArrayBuffer> Environment::recall(
    const std::shared_ptr<v8::BackingStore>& memory) const {
  for (const auto& known : remembered_) {
    const v8::Local<v8::ArrayBuffer> buffer = known.Get(isolate_);
    if (!buffer.IsEmpty() && buffer->GetBackingStore() == memory) return buffer;
  }
  return {};
}

void ScriptGuard::keep() {
  if (tryCatch_.HasTerminated()) {
    tryCatch_.ReThrow();
  } else {
    Environment::current()->keepThrown(tryCatch_.Exception());
  }
}

}  // namespace zax
