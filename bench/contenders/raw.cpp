#include <uv.h>

#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "raw-common.h"

// Written by hand against V8 and libuv: the practical limit. Every check and every conversion that
// the others make is here too.

namespace {

using namespace raw;

void call(v8::Isolate* isolate, v8::Local<v8::Function> function, int argc,
          v8::Local<v8::Value>* argv) {
  const v8::Local<v8::Object> receiver = isolate->GetCurrentContext()->Global();
  (void)node::MakeCallback(isolate, receiver, function, argc, argv, {0, 0});
}

void reply(v8::Isolate* isolate, v8::Local<v8::Function> function, const std::string& text) {
  v8::Local<v8::Value> argv[] = {v8::Integer::New(isolate, 0), toV8(isolate, text)};
  call(isolate, function, 2, argv);
}

bool takesNumberTextFunction(const Info& info) {
  if (info.Length() == 3 && info[0]->IsNumber() && info[1]->IsString() && info[2]->IsFunction()) {
    return true;
  }
  throwTypeError(info.GetIsolate(), "number, string and function expected");
  return false;
}

void sync(const Info& info) {
  if (!takesNumberTextFunction(info)) return;
  v8::Isolate* isolate = info.GetIsolate();
  [[maybe_unused]] const int number = toInt(info, 0);
  const std::string text = toStd(isolate, info[1].As<v8::String>());
  reply(isolate, info[2].As<v8::Function>(), text);
}

void fail(const Info& info) {
  if (!takesNumberTextFunction(info)) return;
  v8::Isolate* isolate = info.GetIsolate();
  const std::string text = toStd(isolate, info[1].As<v8::String>());
  isolate->ThrowException(makeError(isolate, toInt(info, 0), text, {__FILE__, __func__, __LINE__}));
}

/// What a job takes from its start to its reply.
struct Job {
  Job(v8::Isolate* jobIsolate, v8::Local<v8::Value> function)
      : isolate(jobIsolate), callback(jobIsolate, function.As<v8::Function>()) {
    work.data = this;
  }

  void start(uv_work_cb begin, uv_after_work_cb after) {
    uv_queue_work(node::GetCurrentEventLoop(isolate), &work, begin, after);
  }

  v8::Isolate* isolate;
  v8::Global<v8::Function> callback;
  uv_work_t work;
};

struct TextJob : Job {
  TextJob(v8::Isolate* jobIsolate, v8::Local<v8::Value> function, std::string jobText)
      : Job(jobIsolate, function), text(std::move(jobText)) {}

  std::string text;
  std::string error;
};

void echo(uv_work_t*) {}

void afterEcho(uv_work_t* work, int) {
  TextJob* job = static_cast<TextJob*>(work->data);
  const v8::HandleScope scope(job->isolate);
  reply(job->isolate, job->callback.Get(job->isolate), job->text);
  delete job;
}

void throwAndCatch(uv_work_t* work) {
  TextJob* job = static_cast<TextJob*>(work->data);
  try {
    throw std::runtime_error(bench::workMessage(job->text));
  } catch (const std::exception& e) {
    job->error = e.what();
  }
}

void afterThrow(uv_work_t* work, int) {
  TextJob* job = static_cast<TextJob*>(work->data);
  const v8::HandleScope scope(job->isolate);
  v8::Local<v8::Value> argv[] = {v8::Exception::Error(toV8(job->isolate, job->error))};
  call(job->isolate, job->callback.Get(job->isolate), 1, argv);
  delete job;
}

template <uv_work_cb begin, uv_after_work_cb after>
void start(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 2 || !info[0]->IsString() || !info[1]->IsFunction()) {
    return throwTypeError(isolate, "string and function expected");
  }
  auto* job = new TextJob(isolate, info[1], toStd(isolate, info[0].As<v8::String>()));
  job->start(begin, after);
}

struct Task {
  uv_work_t work;
  v8::Global<v8::Promise::Resolver> resolver;
  std::string text;
};

/// The tasks that the pool has given back: all those of a turn of the loop settle in one callback
/// scope.
class Settlements {
 public:
  explicit Settlements(v8::Isolate* isolate)
      : isolate_(isolate), resource_(isolate, v8::Object::New(isolate)) {
    turnOver_.data = this;
    uv_check_init(node::GetCurrentEventLoop(isolate), &turnOver_);
  }

  void add(Task* task) {
    if (over_.empty()) {
      uv_check_start(&turnOver_, [](uv_check_t* handle) {
        uv_check_stop(handle);
        static_cast<Settlements*>(handle->data)->settle();
      });
    }
    over_.push_back(task);
  }

 private:
  void settle() {
    const v8::HandleScope scope(isolate_);
    const node::CallbackScope callback(isolate_, resource_.Get(isolate_), {0, 0});
    const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
    for (Task* task : over_) {
      const v8::HandleScope taskScope(isolate_);
      task->resolver.Get(isolate_)->Resolve(context, toV8(isolate_, task->text)).Check();
      delete task;
    }
    over_.clear();
  }

  v8::Isolate* isolate_;
  v8::Global<v8::Object> resource_;
  uv_check_t turnOver_;
  std::vector<Task*> over_;
};

Settlements* settlements;

void afterTask(uv_work_t* work, int) { settlements->add(static_cast<Task*>(work->data)); }

void task(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 1 || !info[0]->IsString()) return throwTypeError(isolate, "string expected");
  const auto resolver = v8::Promise::Resolver::New(isolate->GetCurrentContext()).ToLocalChecked();
  auto* task = new Task{{}, {isolate, resolver}, toStd(isolate, info[0].As<v8::String>())};
  task->work.data = task;
  uv_queue_work(node::GetCurrentEventLoop(isolate), &task->work, echo, afterTask);
  info.GetReturnValue().Set(resolver->GetPromise());
}

/// Posts texts to the JavaScript thread, which takes all that there are at once.
struct ProgressJob : Job {
  ProgressJob(v8::Isolate* jobIsolate, v8::Local<v8::Value> function, bench::Feed jobFeed)
      : Job(jobIsolate, function), feed(jobFeed) {
    async.data = this;
    uv_async_init(node::GetCurrentEventLoop(jobIsolate), &async,
                  [](uv_async_t* handle) { static_cast<ProgressJob*>(handle->data)->deliver(); });
  }

  void post(std::string text) {
    const std::lock_guard<std::mutex> guard(lock);
    if (pending.empty()) uv_async_send(&async);
    pending.push_back(std::move(text));
  }

  void deliver() {
    std::vector<std::string> texts;
    {
      const std::lock_guard<std::mutex> guard(lock);
      texts.swap(pending);
    }
    for (const std::string& text : texts) {
      const v8::HandleScope scope(isolate);
      reply(isolate, callback.Get(isolate), text);
    }
  }

  bench::Feed feed;
  uv_async_t async;
  std::mutex lock;
  std::vector<std::string> pending;
};

void runFeed(uv_work_t* work) {
  ProgressJob* job = static_cast<ProgressJob*>(work->data);
  job->feed.run([job](std::string text) { job->post(std::move(text)); });
}

void afterFeed(uv_work_t* work, int) {
  ProgressJob* job = static_cast<ProgressJob*>(work->data);
  const v8::HandleScope scope(job->isolate);
  job->deliver();
  call(job->isolate, job->callback.Get(job->isolate), 0, nullptr);
  uv_close(reinterpret_cast<uv_handle_t*>(&job->async),
           [](uv_handle_t* handle) { delete static_cast<ProgressJob*>(handle->data); });
}

void progress(const Info& info) {
  v8::Isolate* isolate = info.GetIsolate();
  if (info.Length() != 3 || !info[0]->IsNumber() || !info[1]->IsNumber() ||
      !info[2]->IsFunction()) {
    return throwTypeError(isolate, "two numbers and a function expected");
  }
  const bench::Feed feed{toInt(info, 0), toInt(info, 1)};
  (new ProgressJob(isolate, info[2], feed))->start(runFeed, afterFeed);
}

void init(v8::Local<v8::Object> exports) {
  settlements = new Settlements(v8::Isolate::GetCurrent());
  NODE_SET_METHOD(exports, "sync", sync);
  NODE_SET_METHOD(exports, "fail", fail);
  NODE_SET_METHOD(exports, "job", start<echo, afterEcho>);
  NODE_SET_METHOD(exports, "task", task);
  NODE_SET_METHOD(exports, "throwing", start<throwAndCatch, afterThrow>);
  NODE_SET_METHOD(exports, "progress", progress);
  exportPlain(exports);
}

}  // namespace

NODE_MODULE(bench_raw, init)
