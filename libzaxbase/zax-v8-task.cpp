#include "zax-v8-task.h"

#include <node.h>

#include <algorithm>
#include <memory>

#include "zax-block-cache.h"
#include "zax-v8-backend.h"
#include "zax-v8-base.h"
#include "zax-v8-environment.h"
#include "zax-v8-script.h"

namespace zax {

namespace {

/// How many progress values are delivered before the event loop gets its turn.
constexpr std::size_t mostProgress = 1024;

thread_local BlockCache jobMemory;

v8::Local<v8::Function> functionNamed(v8::Local<v8::Context> context, v8::Local<v8::Object> object,
                                      const char* name) {
  const auto key = v8::String::NewFromUtf8(v8::Isolate::GetCurrent(), name).ToLocalChecked();
  return object->Get(context, key).ToLocalChecked().As<v8::Function>();
}

}  // namespace

TaskJob::TaskJob(Tasks& tasks, ZaxTask* task, v8::Local<v8::Promise::Resolver> resolver)
    : tasks_(tasks), task_(task), resolver_(tasks.isolate_, resolver) {
  task->job = this;
}

void* TaskJob::operator new(std::size_t size) { return jobMemory.allocate(size); }

void TaskJob::operator delete(void* memory, std::size_t size) noexcept {
  jobMemory.release(memory, size);
}

TaskJob::~TaskJob() {
  task_->closeProgress(task_);
  tasks_.forget(*this);
  task_->destroy(task_);
}

void TaskJob::finish(bool ran) {
  ran_ = ran;
  if (tasks_.environment_.loop().isEnding()) {
    delete this;
  } else {
    tasks_.settleLater(*this);
  }
}

void TaskJob::cancel() {
  task_->cancel(task_);
  task_->closeProgress(task_);
}

bool TaskJob::deliverProgress() {
  v8::Isolate* isolate = tasks_.isolate_;
  if (deliver_.IsEmpty() || isolate->IsExecutionTerminating()) return false;
  const v8::HandleScope scope(isolate);
  ZaxValue* values[mostProgress];
  std::size_t count = 0;
  v8::Local<v8::Value> failure =
      thrownBy(isolate, [&] { count = task_->takeProgress(task_, values, mostProgress); });
  if (count > 0) {
    auto* locals = reinterpret_cast<v8::Local<v8::Value>*>(values);
    const auto array = v8::Array::New(isolate, locals, count);
    // A call that fails has given at least one value, unless no script can run any more.
    for (std::size_t calls = 0; calls <= count && !callProgress(deliver_, array);) ++calls;
  }
  if (!failure.IsEmpty()) callProgress(tasks_.raise_, failure);
  return count == mostProgress || !failure.IsEmpty();
}

/// Calls a function, for which what it throws is an uncaught exception; returns whether it has done
/// all that it will do.
bool TaskJob::callProgress(const v8::Global<v8::Function>& function,
                           v8::Local<v8::Value> argument) {
  v8::Isolate* isolate = tasks_.isolate_;
  const v8::TryCatch tryCatch(isolate);
  const auto result = function.Get(isolate)->Call(isolate->GetCurrentContext(),
                                                  v8::Undefined(isolate), 1, &argument);
  if (!result.IsEmpty()) return true;
  if (tryCatch.HasTerminated()) return true;
  node::FatalException(isolate, tryCatch);
  return false;
}

void TaskJob::settle() {
  v8::Isolate* isolate = tasks_.isolate_;
  const v8::HandleScope scope(isolate);
  task_->closeProgress(task_);  // Threads that go on posting would never let it end.
  while (deliverProgress()) continue;
  if (isolate->IsExecutionTerminating()) return;
  const v8::Local<v8::Context> context = isolate->GetCurrentContext();
  settleFrom(context);
  if (signal_.IsEmpty()) return;
  v8::Local<v8::Value> arguments[] = {signal_.Get(isolate), listening_.Get(isolate)};
  tasks_.unlisten_.Get(isolate)->Call(context, v8::Undefined(isolate), 2, arguments).IsEmpty();
}

void TaskJob::settleFrom(v8::Local<v8::Context> context) {
  v8::Isolate* isolate = tasks_.isolate_;
  const v8::Local<v8::Promise::Resolver> resolver = resolver_.Get(isolate);
  const Environment::Trace trace(tasks_.environment_, trace_.Get(isolate));
  ZaxValue* result = nullptr;
  v8::Local<v8::Value> why =
      thrownBy(isolate, [&] { result = ran_ ? task_->result(task_) : nullptr; });
  if (isolate->IsExecutionTerminating()) return;
  if (result) {
    resolver->Resolve(context, toLocal(result)).FromMaybe(false);
    return;
  }
  if (why.IsEmpty() && !signal_.IsEmpty()) why = reason(context);
  if (!why.IsEmpty()) {  // Without either the thread is being terminated.
    resolver->Reject(context, why).FromMaybe(false);
  }
}

/// Why the signal was aborted.
v8::Local<v8::Value> TaskJob::reason(v8::Local<v8::Context> context) const {
  v8::Isolate* isolate = tasks_.isolate_;
  const v8::TryCatch tryCatch(isolate);
  v8::Local<v8::Value> reason;
  const auto name = v8::String::NewFromUtf8Literal(isolate, "reason");
  if (signal_.Get(isolate)->Get(context, name).ToLocal(&reason)) return reason;
  return tryCatch.Exception();
}

Tasks::Tasks(Environment& environment)
    : environment_(environment), isolate_(environment.isolate()) {
  EventLoop& loop = environment.loop();
  wake_.data = turnOver_.data = this;
  uv_async_init(loop.handle(), &wake_, onWake);
  uv_check_init(loop.handle(), &turnOver_);
  auto* wake = reinterpret_cast<uv_handle_t*>(&wake_);
  auto* turnOver = reinterpret_cast<uv_handle_t*>(&turnOver_);
  uv_unref(wake);
  uv_unref(turnOver);
  loop.closeAtEnd(wake);
  loop.closeAtEnd(turnOver);
  resource_.Reset(isolate_, v8::Object::New(isolate_));
}

/// What the end of the environment kept from being settled.
Tasks::~Tasks() {
  for (TaskJob* job : over_) delete job;
}

v8::MaybeLocal<v8::Promise> Tasks::start(ZaxTask* task, const TaskTakes& takes,
                                         v8::Local<v8::Value> signal,
                                         v8::Local<v8::Value> onProgress) {
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  v8::Local<v8::Promise::Resolver> resolver;
  if (!v8::Promise::Resolver::New(context).ToLocal(&resolver)) {
    task->destroy(task);
    return {};
  }
  auto* job = new TaskJob(*this, task, resolver);
  bool aborted = false;
  if ((!onProgress.IsEmpty() && !bindProgress(*job, onProgress)) ||
      (!signal.IsEmpty() && !listen(*job, signal.As<v8::Object>(), &aborted))) {
    delete job;
    return {};
  }
  if (aborted) {
    resolver->Reject(context, job->reason(context)).FromMaybe(false);
    delete job;
  } else {
    captureStack(*job);
    queue(*job, takes);
  }
  return resolver->GetPromise();
}

void Tasks::queue(TaskJob& job, const TaskTakes& takes) {
  EventLoop& loop = environment_.loop();
  loop.hold(job);
  if (takes.count > 0) {
    job.instances_ = std::make_unique<TaskInstances>(environment_.instances(), job);
    job.instances_->take(takes.instances, takes.count, takes.exclusive);
    if (job.instances_->isWaiting()) return;
  }
  loop.start(job);
}

void Tasks::captureStack(TaskJob& job) {
  v8::Local<v8::Object> trace;
  if (environment_.captureStack().ToLocal(&trace)) job.trace_.Reset(isolate_, trace);
}

bool Tasks::loadScript(v8::Local<v8::Context> context) {
  if (!listen_.IsEmpty()) return true;
  v8::Local<v8::Value> make;
  v8::Local<v8::Value> made;
  v8::Local<v8::Function> drop;
  v8::Local<v8::Function> cancel;
  if (!v8::Function::New(context, onDrop).ToLocal(&drop) ||
      !v8::Function::New(context, onCancel).ToLocal(&cancel) ||
      !runScript(context, taskScript).ToLocal(&make)) {
    return false;
  }
  v8::Local<v8::Value> arguments[] = {drop, cancel};
  if (!make.As<v8::Function>()
           ->Call(context, v8::Undefined(isolate_), 2, arguments)
           .ToLocal(&made)) {
    return false;
  }
  const auto functions = made.As<v8::Object>();
  raise_.Reset(isolate_, functionNamed(context, functions, "raise"));
  deliverer_.Reset(isolate_, functionNamed(context, functions, "deliverer"));
  unlisten_.Reset(isolate_, functionNamed(context, functions, "unlisten"));
  listen_.Reset(isolate_, functionNamed(context, functions, "listen"));
  return true;
}

bool Tasks::bindProgress(TaskJob& job, v8::Local<v8::Value> onProgress) {
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  v8::Local<v8::Value> deliver;
  if (!loadScript(context) || !deliverer_.Get(isolate_)
                                   ->Call(context, v8::Undefined(isolate_), 1, &onProgress)
                                   .ToLocal(&deliver)) {
    return false;
  }
  job.deliver_.Reset(isolate_, deliver.As<v8::Function>());
  return true;
}

bool Tasks::listen(TaskJob& job, v8::Local<v8::Object> signal, bool* aborted) {
  const v8::Local<v8::Context> context = isolate_->GetCurrentContext();
  v8::Local<v8::Value> arguments[] = {signal, wrapPointer(isolate_, &job)};
  v8::Local<v8::Value> result;
  if (!loadScript(context) || !listen_.Get(isolate_)
                                   ->Call(context, v8::Undefined(isolate_), 2, arguments)
                                   .ToLocal(&result)) {
    return false;
  }
  *aborted = result->IsTrue();
  job.signal_.Reset(isolate_, signal);
  job.listening_.Reset(isolate_, arguments[1]);
  return true;
}

void Tasks::onDrop(const v8::FunctionCallbackInfo<v8::Value>& info) {
  auto* job = static_cast<TaskJob*>(unwrapPointer(info[0]));
  job->tasks_.environment_.loop().takeBack(*job);
}

void Tasks::onCancel(const v8::FunctionCallbackInfo<v8::Value>& info) {
  const auto* job = static_cast<TaskJob*>(unwrapPointer(info[0]));
  job->task_->cancel(job->task_);
}

void Tasks::settleLater(TaskJob& job) {
  if (over_.empty()) uv_check_start(&turnOver_, onTurnOver);
  over_.push_back(&job);
}

void Tasks::onTurnOver(uv_check_t* handle) {
  auto* self = static_cast<Tasks*>(handle->data);
  uv_check_stop(handle);
  self->environment_.loop().setInRush(self->over_.size() > 1);
  self->settleAll();
  self->environment_.loop().setInRush(false);
}

void Tasks::settleAll() {
  const v8::HandleScope scope(isolate_);
  const node::CallbackScope callback(isolate_, resource_.Get(isolate_), {0, 0});
  for (TaskJob* job : std::exchange(over_, {})) {
    job->settle();
    delete job;
  }
}

void Tasks::wake(TaskJob& job) {
  if (job.isAwake_.exchange(true)) return;
  TaskJob* first = awake_.load();
  do {
    job.nextAwake_ = first;
  } while (!awake_.compare_exchange_weak(first, &job));
  if (!first) uv_async_send(&wake_);
}

/// Takes the jobs that have been woken, the first first.
void Tasks::collectAwake() {
  const std::size_t before = woken_.size();
  for (TaskJob* job = awake_.exchange(nullptr); job;) {
    TaskJob* next = job->nextAwake_;
    woken_.push_back(job);
    job->isAwake_ = false;
    job = next;
  }
  std::reverse(woken_.begin() + static_cast<std::ptrdiff_t>(before), woken_.end());
}

/// For a job that no thread wakes any more.
void Tasks::forget(TaskJob& job) {
  if (job.isAwake_) collectAwake();
  woken_.erase(std::remove(woken_.begin(), woken_.end(), &job), woken_.end());
}

void Tasks::onWake(uv_async_t* handle) {
  auto* self = static_cast<Tasks*>(handle->data);
  const v8::HandleScope scope(self->isolate_);
  const node::CallbackScope callback(self->isolate_, self->resource_.Get(self->isolate_), {0, 0});
  self->collectAwake();
  for (TaskJob* job : std::exchange(self->woken_, {})) {
    if (job->deliverProgress()) self->wake(*job);
  }
}

}  // namespace zax
