#include "zax-v8-loop.h"

#include <cstdlib>

namespace zax {

thread_local EventLoop* EventLoop::current_ = nullptr;
std::atomic<bool> EventLoop::mainOver_{false};

EventLoop& EventLoop::enter(v8::Local<v8::Context> context) {
  if (!current_) current_ = new EventLoop(context);
  return *current_;
}

EventLoop::EventLoop(v8::Local<v8::Context> context)
    : isolate_(v8::Isolate::GetCurrent()),
      loop_(node::GetCurrentEventLoop(isolate_)),
      hook_(node::AddEnvironmentCleanupHook(isolate_, onEnd, this)) {
  node::AtExit(node::GetCurrentEnvironment(context), onExit, nullptr);
}

EventLoop::~EventLoop() {
  const v8::HandleScope scope(isolate_);
  while (!owned_.empty()) {
    const auto [object, destroy] = owned_.back();
    owned_.pop_back();
    destroy(object);
  }
  current_ = nullptr;
  if (loop_ == uv_default_loop()) mainOver_ = true;
}

uv_req_t* EventLoop::asRequest(PoolWork& work) {
  return reinterpret_cast<uv_req_t*>(&work.request_);
}

void EventLoop::queue(PoolWork& work) {
  work.loop_ = this;
  work.next_ = first_;
  if (first_) first_->previous_ = &work;
  first_ = &work;
  if (uv_queue_work(loop_, &work.request_, onRun, onFinished) != 0) std::abort();
}

void EventLoop::unlink(PoolWork& work) {
  (work.previous_ ? work.previous_->next_ : first_) = work.next_;
  if (work.next_) work.next_->previous_ = work.previous_;
}

void EventLoop::onRun(uv_work_t* request) {
  auto& work = *static_cast<PoolWork*>(request->data);
  auto expected = PoolWork::State::queued;
  if (!work.state_.compare_exchange_strong(expected, PoolWork::State::running)) return;
  EventLoop& loop = *work.loop_;
  work.run();
  if (work.state_.exchange(PoolWork::State::over) == PoolWork::State::awaited) {
    const std::lock_guard<std::mutex> lock(loop.mutex_);
    loop.workOver_.notify_one();
  }
}

void EventLoop::onFinished(uv_work_t* request, int status) {
  auto& work = *static_cast<PoolWork*>(request->data);
  EventLoop& loop = *work.loop_;
  loop.unlink(work);
  work.finish(status == 0);
  loop.endIfIdle();
}

void EventLoop::cancelAll() {
  ending_ = true;
  for (PoolWork* work = first_; work; work = work->next_) {
    takeBack(*work);
    work->cancel();
  }
}

void EventLoop::onEnd(void* self, void (*done)(void*), void* argument) {
  auto* loop = static_cast<EventLoop*>(self);
  loop->done_ = done;
  loop->doneArgument_ = argument;
  loop->cancelAll();
  loop->endIfIdle();
}

/// Once all work has finished, closes the handles; once they are closed, ends.
void EventLoop::endIfIdle() {
  if (!done_ || first_ || closing_ > 0) return;
  closing_ = handles_.size();
  for (uv_handle_t* handle : std::exchange(handles_, {})) {
    handle->data = this;
    uv_close(handle, [](uv_handle_t* closed) {
      auto* loop = static_cast<EventLoop*>(closed->data);
      --loop->closing_;
      loop->endIfIdle();
    });
  }
  if (closing_ > 0) return;
  const auto done = done_;
  void* argument = doneArgument_;
  delete this;
  done(argument);
}

/// The process ends without a turn of the loop: what the pool takes up from now on returns at once,
/// and what runs is waited for, while all that it uses is still there.
void EventLoop::dropAndWait() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (PoolWork* work = first_; work; work = work->next_) {
    auto state = PoolWork::State::queued;
    if (work->state_.compare_exchange_strong(state, PoolWork::State::over)) continue;
    state = PoolWork::State::running;
    if (!work->state_.compare_exchange_strong(state, PoolWork::State::awaited)) continue;
    workOver_.wait(lock, [work] { return work->state_ == PoolWork::State::over; });
  }
}

void EventLoop::onExit(void* /*unused*/) {
  if (!current_) return;
  current_->cancelAll();
  current_->dropAndWait();
}

}  // namespace zax
