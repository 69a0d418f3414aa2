#ifndef ZAX_V8_TASK_H
#define ZAX_V8_TASK_H

#include <uv.h>
#include <v8.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "zax-backend.h"
#include "zax-v8-loop.h"
#include "zax-v8-type.h"

namespace zax {

class Environment;
class Tasks;

/// What a task is started with: the instances that it uses, and whether it claims them.
struct TaskTakes {
  ZaxInstance* const* instances;
  std::size_t count;
  bool exclusive;
};

/// A task on its way: V8's side of a ZaxTask, which it owns. JavaScript thread only, but for what
/// says otherwise.
class TaskJob : public PoolWork {
 public:
  TaskJob(Tasks& tasks, ZaxTask* task, v8::Local<v8::Promise::Resolver> resolver);

  static void* operator new(std::size_t size);
  static void operator delete(void* memory, std::size_t size) noexcept;

  Tasks& tasks() const { return tasks_; }

  /// Hands waiting progress values to onProgress; returns whether more wait.
  bool deliverProgress();
  /// Settles the promise, after the progress that waits. Inside a CallbackScope.
  void settle();

 private:
  friend class Tasks;

  ~TaskJob() override;
  void run() override { task_->run(task_); }
  void finish(bool ran) override;
  void cancel() override;

  bool callProgress(const v8::Global<v8::Function>& function, v8::Local<v8::Value> argument);
  void settleFrom(v8::Local<v8::Context> context);
  v8::Local<v8::Value> reason(v8::Local<v8::Context> context) const;

  Tasks& tasks_;
  ZaxTask* const task_;
  bool ran_ = false;
  v8::Global<v8::Promise::Resolver> resolver_;
  v8::Global<v8::Object> trace_;      ///< has captured the caller's stack
  v8::Global<v8::Object> signal_;     ///< empty without one
  v8::Global<v8::Value> listening_;   ///< under which the signal's listener knows this
  v8::Global<v8::Function> deliver_;  ///< hands an array of progress values out; empty without
  std::unique_ptr<TaskInstances> instances_;  ///< null where it uses none
  std::atomic<bool> isAwake_{false};
  TaskJob* nextAwake_ = nullptr;
};

/// The tasks of one environment. They settle together, at the end of the turn of the loop in which
/// the pool has given them back. Made at the first task; JavaScript thread only, but for what says
/// otherwise.
class Tasks : public NonCopyable {
 public:
  explicit Tasks(Environment& environment);
  ~Tasks();

  /// Starts a task and owns it from then on: its promise; empty where script threw.
  v8::MaybeLocal<v8::Promise> start(ZaxTask* task, const TaskTakes& takes,
                                    v8::Local<v8::Value> signal, v8::Local<v8::Value> onProgress);

  /// Any thread.
  void wake(TaskJob& job);

 private:
  friend class TaskJob;

  static void onWake(uv_async_t* handle);
  static void onTurnOver(uv_check_t* handle);
  void settleAll();
  static void onDrop(const v8::FunctionCallbackInfo<v8::Value>& info);
  static void onCancel(const v8::FunctionCallbackInfo<v8::Value>& info);

  bool loadScript(v8::Local<v8::Context> context);
  bool listen(TaskJob& job, v8::Local<v8::Object> signal, bool* aborted);
  bool bindProgress(TaskJob& job, v8::Local<v8::Value> onProgress);
  void captureStack(TaskJob& job);
  void queue(TaskJob& job, const TaskTakes& takes);
  void settleLater(TaskJob& job);
  void collectAwake();
  void forget(TaskJob& job);

  Environment& environment_;
  v8::Isolate* const isolate_;
  uv_async_t wake_;                       ///< progress waits
  uv_check_t turnOver_;                   ///< active while tasks wait to be settled
  std::atomic<TaskJob*> awake_{nullptr};  ///< a chain, the last first; pushed to on any thread
  std::vector<TaskJob*> woken_;           ///< taken from there
  std::vector<TaskJob*> over_;            ///< to be settled
  v8::Global<v8::Object> resource_;
  v8::Global<v8::Function> deliverer_;
  v8::Global<v8::Function> raise_;
  v8::Global<v8::Function> listen_;
  v8::Global<v8::Function> unlisten_;
};

}  // namespace zax

#endif
