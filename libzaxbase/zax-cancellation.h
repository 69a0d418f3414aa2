#ifndef ZAX_CANCELLATION_H
#define ZAX_CANCELLATION_H

#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

#include "zax-exception-errno.h"

// How a task learns that nobody waits for it any more.

namespace zax {

/// What a task throws, by Cancellation::check, to end because nobody waits for it any more. Code:
/// "ECANCELED". Where a signal has cancelled the task, the promise rejects with the signal's reason
/// instead.
class Cancelled : public ErrnoException {
 public:
  Cancelled();
};

class CancellationCallback;

/// What the copies of a Cancellation share. Any thread.
class CancellationState {
 public:
  static std::shared_ptr<CancellationState> make();

  bool requested() const { return requested_.load(std::memory_order_relaxed); }

  /// Calls the callbacks that there are, in the order in which they were made.
  virtual void request() = 0;
  /// False where it is requested: then request() does not call it.
  virtual bool add(CancellationCallback& callback) = 0;
  virtual void remove(CancellationCallback& callback) = 0;

 protected:
  ~CancellationState() = default;

  std::atomic<bool> requested_{false};
};

/// A parameter of a task, which JavaScript does not see: tells whether the caller's signal was
/// aborted, or the environment that waits for the task is ending. Copies share that, on any thread,
/// also beyond the task's end.
class Cancellation {
 public:
  /// One that nothing cancels.
  Cancellation() = default;
  explicit Cancellation(std::shared_ptr<CancellationState> state) : state_(std::move(state)) {}

  bool requested() const { return state_ && state_->requested(); }

  /// Throws Cancelled once it is requested.
  void check() const {
    if (requested()) throw Cancelled();
  }

 private:
  friend class CancellationCallback;

  std::shared_ptr<CancellationState> state_;
};

/// Calls a function when cancellation is requested, to end a call that waits for something else and
/// cannot look at a Cancellation: a lock, a socket, a library with an interrupt of its own. It is
/// called once at most, on the JavaScript thread, which waits for it, or where it is requested
/// already by the constructor. It must neither throw, which a `noexcept` says, nor destroy this.
/// Any thread makes one; whoever made it destroys it.
class CancellationCallback {
 public:
  template <typename F>
  CancellationCallback(const Cancellation& cancellation, F call)
      : state_(cancellation.state_),
        call_([](void* function) { (*static_cast<F*>(function))(); }),
        function_(std::make_shared<F>(std::move(call))) {
    static_assert(std::is_nothrow_invocable_v<F&>,
                  "nobody could take what the call throws: declare it noexcept");
    if (!state_ || state_->add(*this)) return;
    state_ = nullptr;
    (*this)();
  }
  /// Once it returns, the call is over or will not come.
  ~CancellationCallback() {
    if (state_) state_->remove(*this);
  }
  CancellationCallback(const CancellationCallback&) = delete;
  CancellationCallback& operator=(const CancellationCallback&) = delete;

 private:
  friend class CancellationCallbacks;

  void operator()() const { call_(function_.get()); }

  std::shared_ptr<CancellationState> state_;  ///< null where it has nothing to wait for
  void (*const call_)(void* function);
  const std::shared_ptr<void> function_;
};

}  // namespace zax

#endif
