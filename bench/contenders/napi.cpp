#include <memory>
#include <stdexcept>
#include <string>

#include "napi-common.h"

// node-addon-api with C++ exceptions.

namespace {

using namespace with_napi;

void wantNumberTextFunction(const Napi::CallbackInfo& info) {
  if (info.Length() == 3 && info[0].IsNumber() && info[1].IsString() && info[2].IsFunction()) {
    return;
  }
  throw Napi::TypeError::New(info.Env(), "number, string and function expected");
}

void sync(const Napi::CallbackInfo& info) {
  wantNumberTextFunction(info);
  const Napi::Env env = info.Env();
  [[maybe_unused]] const int number = info[0].As<Napi::Number>().Int32Value();
  const std::string text = info[1].As<Napi::String>().Utf8Value();
  const napi_value argv[] = {Napi::Number::New(env, 0), Napi::String::New(env, text)};
  info[2].As<Napi::Function>().MakeCallback(env.Global(), 2, argv);
}

void fail(const Napi::CallbackInfo& info) {
  wantNumberTextFunction(info);
  const int number = info[0].As<Napi::Number>().Int32Value();
  const std::string text = info[1].As<Napi::String>().Utf8Value();
  throw makeError(info.Env(), number, text, {__FILE__, __func__, __LINE__});
}

class EchoWorker : public Napi::AsyncWorker {
 public:
  EchoWorker(const Napi::Function& callback, std::string text)
      : AsyncWorker(callback), text_(std::move(text)) {}

  void Execute() override {}

  void OnOK() override {
    Callback().Call({Napi::Number::New(Env(), 0), Napi::String::New(Env(), text_)});
  }

 private:
  std::string text_;
};

/// Settles a promise with the text that it was given.
class TaskWorker : public Napi::AsyncWorker {
 public:
  TaskWorker(Napi::Env env, std::string text)
      : AsyncWorker(env), deferred_(env), text_(std::move(text)) {}

  Napi::Promise promise() const { return deferred_.Promise(); }

  void Execute() override {}

  void OnOK() override { deferred_.Resolve(Napi::String::New(Env(), text_)); }

 private:
  Napi::Promise::Deferred deferred_;
  std::string text_;
};

Napi::Value task(const Napi::CallbackInfo& info) {
  if (info.Length() != 1 || !info[0].IsString()) {
    throw Napi::TypeError::New(info.Env(), "string expected");
  }
  auto* worker = new TaskWorker(info.Env(), info[0].As<Napi::String>().Utf8Value());
  worker->Queue();
  return worker->promise();
}

class ThrowingWorker : public Napi::AsyncWorker {
 public:
  ThrowingWorker(const Napi::Function& callback, std::string text)
      : AsyncWorker(callback), text_(std::move(text)) {}

  void Execute() override { throw std::runtime_error(bench::workMessage(text_)); }

 private:
  std::string text_;
};

template <typename Worker>
void start(const Napi::CallbackInfo& info) {
  if (info.Length() != 2 || !info[0].IsString() || !info[1].IsFunction()) {
    throw Napi::TypeError::New(info.Env(), "string and function expected");
  }
  const std::string text = info[0].As<Napi::String>().Utf8Value();
  (new Worker(info[1].As<Napi::Function>(), text))->Queue();
}

class ProgressWorker : public Napi::AsyncProgressQueueWorker<char> {
 public:
  ProgressWorker(const Napi::Function& callback, bench::Feed feed)
      : AsyncProgressQueueWorker(callback), feed_(feed) {}

  void Execute(const ExecutionProgress& progress) override {
    feed_.run([&](const std::string& text) { progress.Send(text.data(), text.size()); });
  }

  void OnProgress(const char* data, size_t size) override {
    const Napi::HandleScope scope(Env());
    Callback().Call({Napi::Number::New(Env(), 0), Napi::String::New(Env(), data, size)});
  }

 private:
  bench::Feed feed_;
};

/// Calls the function with a posted text, or without arguments at the end.
void callJs(Napi::Env env, Napi::Function function, std::nullptr_t*, std::string* text) {
  const std::unique_ptr<std::string> owned(text);
  if (text) {
    function.Call({Napi::Number::New(env, 0), Napi::String::New(env, *text)});
  } else {
    function.Call({});
  }
}

/// The same progress through a thread-safe function. The reply takes the same road: the worker's
/// own would overtake what is still queued.
class ThreadSafeWorker : public Napi::AsyncWorker {
 public:
  ThreadSafeWorker(const Napi::Function& callback, bench::Feed feed)
      : AsyncWorker(callback.Env()),
        function_(Function::New(callback.Env(), callback, "bench", 0, 1)),
        feed_(feed) {}

  void Execute() override {
    feed_.run(
        [this](std::string text) { function_.NonBlockingCall(new std::string(std::move(text))); });
    function_.NonBlockingCall(nullptr);
    function_.Release();
  }

 private:
  using Function = Napi::TypedThreadSafeFunction<std::nullptr_t, std::string, callJs>;

  Function function_;
  bench::Feed feed_;
};

template <typename Worker>
void startFeed(const Napi::CallbackInfo& info) {
  if (info.Length() != 3 || !info[0].IsNumber() || !info[1].IsNumber() || !info[2].IsFunction()) {
    throw Napi::TypeError::New(info.Env(), "two numbers and a function expected");
  }
  const bench::Feed feed{info[0].As<Napi::Number>(), info[1].As<Napi::Number>()};
  (new Worker(info[2].As<Napi::Function>(), feed))->Queue();
}

Napi::Object init(Napi::Env env, Napi::Object exports) {
  exports.Set("sync", Napi::Function::New<sync>(env));
  exports.Set("fail", Napi::Function::New<fail>(env));
  exports.Set("job", Napi::Function::New<start<EchoWorker>>(env));
  exports.Set("task", Napi::Function::New<task>(env));
  exports.Set("throwing", Napi::Function::New<start<ThrowingWorker>>(env));
  exports.Set("progress", Napi::Function::New<startFeed<ProgressWorker>>(env));
  exports.Set("threadSafeProgress", Napi::Function::New<startFeed<ThreadSafeWorker>>(env));
  exportPlain(env, exports);
  return exports;
}

}  // namespace

NODE_API_MODULE(bench_napi, init)
