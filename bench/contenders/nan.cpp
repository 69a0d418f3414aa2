#include <stdexcept>
#include <string>

#include "nan-common.h"

// Nan, with its own helpers throughout.

namespace {

using namespace with_nan;

bool takesNumberTextFunction(const Nan::FunctionCallbackInfo<v8::Value>& info) {
  if (info.Length() == 3 && info[0]->IsNumber() && info[1]->IsString() && info[2]->IsFunction()) {
    return true;
  }
  Nan::ThrowTypeError("number, string and function expected");
  return false;
}

bool takesTextFunction(const Nan::FunctionCallbackInfo<v8::Value>& info) {
  if (info.Length() == 2 && info[0]->IsString() && info[1]->IsFunction()) return true;
  Nan::ThrowTypeError("string and function expected");
  return false;
}

/// For calls that begin and end within a call from JavaScript. One for all: making one a call is
/// several times as dear as the call.
Nan::AsyncResource* syncResource;

NAN_METHOD(sync) {
  if (!takesNumberTextFunction(info)) return;
  [[maybe_unused]] const int number = Nan::To<int32_t>(info[0]).FromJust();
  const std::string text = toStd(info[1]);
  const Nan::Callback callback(info[2].As<v8::Function>());
  v8::Local<v8::Value> argv[] = {Nan::New(0), toV8(text)};
  callback.Call(2, argv, syncResource);
}

NAN_METHOD(fail) {
  if (!takesNumberTextFunction(info)) return;
  const int number = Nan::To<int32_t>(info[0]).FromJust();
  const Nan::Callback callback(info[2].As<v8::Function>());
  Nan::ThrowError(makeError(number, toStd(info[1]), {__FILE__, __func__, __LINE__}));
}

class EchoWorker : public Nan::AsyncWorker {
 public:
  EchoWorker(Nan::Callback* callback, std::string text)
      : AsyncWorker(callback), text_(std::move(text)) {}

  void Execute() override {}

 protected:
  void HandleOKCallback() override {
    Nan::HandleScope scope;
    v8::Local<v8::Value> argv[] = {Nan::New(0), toV8(text_)};
    callback->Call(2, argv, async_resource);
  }

 private:
  std::string text_;
};

/// Settles a promise with the text that it was given.
class TaskWorker : public Nan::AsyncWorker {
 public:
  TaskWorker(v8::Local<v8::Promise::Resolver> resolver, std::string text)
      : AsyncWorker(nullptr, "bench"), resolver_(resolver), text_(std::move(text)) {}

  void Execute() override {}

 protected:
  void HandleOKCallback() override {
    v8::Isolate* isolate = v8::Isolate::GetCurrent();
    const Nan::HandleScope scope;
    const node::CallbackScope callback(isolate, Nan::New<v8::Object>(), {0, 0});
    Nan::New(resolver_)->Resolve(isolate->GetCurrentContext(), toV8(text_)).Check();
    resolver_.Reset();
  }

 private:
  Nan::Persistent<v8::Promise::Resolver> resolver_;
  std::string text_;
};

NAN_METHOD(task) {
  if (info.Length() != 1 || !info[0]->IsString()) return Nan::ThrowTypeError("string expected");
  const auto context = v8::Isolate::GetCurrent()->GetCurrentContext();
  const auto resolver = v8::Promise::Resolver::New(context).ToLocalChecked();
  Nan::AsyncQueueWorker(new TaskWorker(resolver, toStd(info[0])));
  info.GetReturnValue().Set(resolver->GetPromise());
}

class ThrowingWorker : public Nan::AsyncWorker {
 public:
  ThrowingWorker(Nan::Callback* callback, std::string text)
      : AsyncWorker(callback), text_(std::move(text)) {}

  void Execute() override {
    try {
      throw std::runtime_error(bench::workMessage(text_));
    } catch (const std::exception& e) {
      SetErrorMessage(e.what());
    }
  }

 private:
  std::string text_;
};

template <typename Worker>
NAN_METHOD(start) {
  if (!takesTextFunction(info)) return;
  auto* callback = new Nan::Callback(info[1].As<v8::Function>());
  Nan::AsyncQueueWorker(new Worker(callback, toStd(info[0])));
}

class ProgressWorker : public Nan::AsyncProgressQueueWorker<char> {
 public:
  ProgressWorker(Nan::Callback* callback, bench::Feed feed)
      : AsyncProgressQueueWorker(callback), feed_(feed) {}

  void Execute(const ExecutionProgress& progress) override {
    feed_.run([&](const std::string& text) { progress.Send(text.data(), text.size()); });
  }

  void HandleProgressCallback(const char* data, size_t size) override {
    Nan::HandleScope scope;
    v8::Local<v8::Value> argv[] = {Nan::New(0),
                                   Nan::New(data, static_cast<int>(size)).ToLocalChecked()};
    callback->Call(2, argv, async_resource);
  }

 private:
  bench::Feed feed_;
};

NAN_METHOD(progress) {
  if (info.Length() != 3 || !info[0]->IsNumber() || !info[1]->IsNumber() ||
      !info[2]->IsFunction()) {
    return Nan::ThrowTypeError("two numbers and a function expected");
  }
  const bench::Feed feed{Nan::To<int32_t>(info[0]).FromJust(),
                         Nan::To<int32_t>(info[1]).FromJust()};
  Nan::AsyncQueueWorker(new ProgressWorker(new Nan::Callback(info[2].As<v8::Function>()), feed));
}

NAN_MODULE_INIT(init) {
  syncResource = new Nan::AsyncResource("bench");
  Nan::Export(target, "sync", sync);
  Nan::Export(target, "fail", fail);
  Nan::Export(target, "job", start<EchoWorker>);
  Nan::Export(target, "task", task);
  Nan::Export(target, "throwing", start<ThrowingWorker>);
  Nan::Export(target, "progress", progress);
  exportPlain(target);
}

}  // namespace

NODE_MODULE(bench_nan, init)
