#ifndef ZAX_V8_LOOP_H
#define ZAX_V8_LOOP_H

#include <node.h>
#include <uv.h>
#include <v8.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "zax-base.h"
#include "zax-v8-pool-queue.h"

namespace zax {

class EventLoop;

/// Work that a JavaScript thread gives to the libuv pool. Made and destroyed on the JavaScript
/// thread; its functions say where they run.
class PoolWork : public NonCopyable {
 protected:
  PoolWork() = default;
  virtual ~PoolWork() = default;

 private:
  friend class EventLoop;

  enum class State { queued, running, awaited, over };

  /// The work, on a thread of the pool. Must neither touch V8 nor throw.
  virtual void run() = 0;

  /// JavaScript thread, the last call: `ran` tells whether run() was called. Once the loop is
  /// ending, nothing of JavaScript may be entered or made. May delete the work.
  virtual void finish(bool ran) = 0;

  /// JavaScript thread, while run() may be running: nobody waits for the result any more.
  virtual void cancel() = 0;

  PoolQueue::Number number_ = 0;  ///< in the queue; 0 where a thread was given it
  bool isHeld_ = false;           ///< whether it waits to be started
  std::atomic<State> state_{State::queued};
  PoolWork* previous_ = nullptr;  // among the loop's
  PoolWork* next_ = nullptr;
  PoolWork* nextHome_ = nullptr;  // among those that have come home
};

/// The event loop of one JavaScript thread: what work it has on the pool, and how it ends. There is
/// one for the main thread and for each Worker, from the first use to the end of that thread's
/// environment. In a rush of small works a thread does many, and none is woken for each; but no
/// work waits while a thread of the pool is free. At the end work that waits is dropped, running
/// work is told to cancel and waited for, and only afterwards what the loop owns is destroyed.
/// JavaScript thread only.
///
/// When the main thread ends by process.exit() or an uncaught exception, the same is done but for
/// the destruction: the memory goes with the process.
class EventLoop : public NonCopyable {
 public:
  /// That of the calling thread, made at the first call, which must come from a JavaScript thread.
  static EventLoop& enter(v8::Local<v8::Context> context);

  /// That of the calling thread; null where none was entered or it has ended.
  static EventLoop* current() { return current_; }

  /// Whether the main thread's loop has ended, and with it the memory of its isolate. Any thread.
  static bool isMainOver() { return mainOver_; }

  uv_loop_t* handle() const { return loop_; }
  v8::Isolate* isolate() const { return isolate_; }

  /// Whether it is the main thread's.
  bool isMain() const { return loop_ == uv_default_loop(); }

  /// Whether the environment is ending: no JavaScript may be entered and no handle made.
  bool isEnding() const { return ending_; }

  /// Queues work; the loop lives until it has finished. Ends the process when libuv refuses.
  void queue(PoolWork& work) {
    hold(work);
    start(work);
  }

  /// The first half of that: keeps work that is to be started later, by somebody who lives as long
  /// as other work does.
  void hold(PoolWork& work);
  /// The other half; does nothing where the work has been taken back meanwhile.
  void start(PoolWork& work);

  /// Takes back work that is held or that no thread has taken up; it finishes in the next turn of
  /// the loop.
  void takeBack(PoolWork& work);

  /// Whether JavaScript is about to start as much work as has just finished: a thread of the pool
  /// stays a moment for it.
  void setInRush(bool is) { inRush_ = is; }

  /// Calls destroy(object) at the end, the last first.
  void own(void* object, void (*destroy)(void*)) { owned_.emplace_back(object, destroy); }

  /// Closes a handle of the loop at its end, before what the loop owns is destroyed.
  void closeAtEnd(uv_handle_t* handle) { handles_.push_back(handle); }

 private:
  explicit EventLoop(v8::Local<v8::Context> context);
  ~EventLoop();

  /// Brings a thread of the pool, for whatever work is next.
  struct Request {
    uv_work_t request;
    EventLoop* loop;
    std::size_t index;  ///< in `requests_`
  };

  void bringThread();
  static void onRun(uv_work_t* request);
  static void onReturn(uv_work_t* request, int status);
  bool mayStay() const;
  void perform(PoolWork& work);
  void sendHome(PoolWork& work);
  static void onHome(uv_async_t* handle);
  void finishHome();

  static void onExit(void* unused);

  static void onEnd(void* loop, void (*done)(void*), void* argument);
  void cancelAll();
  void endIfIdle();
  void dropAndWait();

  static thread_local EventLoop* current_;
  static std::atomic<bool> mainOver_;

  v8::Isolate* isolate_;
  uv_loop_t* loop_;
  PoolWork* first_ = nullptr;                       ///< the work that has not finished
  std::vector<std::unique_ptr<Request>> requests_;  ///< those on their way, or whose thread is here
  std::vector<std::unique_ptr<Request>> spare_;
  bool ending_ = false;
  node::AsyncCleanupHookHandle hook_;
  void (*done_)(void*) = nullptr;  ///< tells Node that the end is over
  void* doneArgument_ = nullptr;
  std::vector<uv_handle_t*> handles_;
  std::size_t closing_ = 0;  ///< how many handles are on their way to being closed
  std::vector<std::pair<void*, void (*)(void*)>> owned_;
  std::mutex mutex_;
  std::condition_variable workOver_;
  uv_async_t home_;
  PoolQueue queue_;
  alignas(64) std::atomic<PoolWork*> lastHome_{nullptr};  ///< a chain, pushed to on any thread
  std::atomic<int> unfinished_{0};                        ///< works
  std::atomic<bool> inRush_{false};
};

}  // namespace zax

#endif
