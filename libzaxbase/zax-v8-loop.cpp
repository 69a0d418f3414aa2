#include "zax-v8-loop.h"

#include <cstdlib>

namespace zax {

namespace {

/// How long a thread stays for more work: about what it takes to send one to sleep and wake it.
constexpr std::chrono::microseconds moment{20};

/// After so long a thread does what else waits for the pool, not only work of this loop.
constexpr std::chrono::milliseconds longestStay{1};

/// How many requests are kept for the next time.
constexpr std::size_t mostSpare = 64;

}  // namespace

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
  // A Worker always ends by onEnd; before that its threads may need what this one holds.
  if (isMain()) node::AtExit(node::GetCurrentEnvironment(context), onExit, nullptr);
  home_.data = this;
  uv_async_init(loop_, &home_, onHome);
  auto* home = reinterpret_cast<uv_handle_t*>(&home_);
  uv_unref(home);  // While there is work, a request is out, which keeps the loop alive.
  closeAtEnd(home);
}

EventLoop::~EventLoop() {
  const v8::HandleScope scope(isolate_);
  while (!owned_.empty()) {
    const auto [object, destroy] = owned_.back();
    owned_.pop_back();
    destroy(object);
  }
  current_ = nullptr;
  if (isMain()) mainOver_ = true;
}

void EventLoop::hold(PoolWork& work) {
  work.next_ = first_;
  if (first_) first_->previous_ = &work;
  first_ = &work;
  ++unfinished_;
  work.isHeld_ = true;
}

void EventLoop::start(PoolWork& work) {
  if (!std::exchange(work.isHeld_, false)) return;
  if (queue_.give(&work)) return;
  if (queue_.push(&work, &work.number_)) bringThread();
}

void EventLoop::bringThread() {
  if (spare_.empty()) spare_.push_back(std::make_unique<Request>());
  Request* request = spare_.back().get();
  request->request.data = request;
  request->loop = this;
  request->index = requests_.size();
  requests_.push_back(std::move(spare_.back()));
  spare_.pop_back();
  if (uv_queue_work(loop_, &request->request, onRun, onReturn) != 0) std::abort();
}

void EventLoop::takeBack(PoolWork& work) {
  if (!std::exchange(work.isHeld_, false)) {
    if (work.number_ == 0 || !queue_.remove(work.number_)) return;
    work.number_ = 0;
  }
  sendHome(work);
}

void EventLoop::onRun(uv_work_t* request) {
  EventLoop& loop = *static_cast<Request*>(request->data)->loop;
  const PoolQueue::Clock::time_point begin = PoolQueue::Clock::now();
  PoolWork* work = loop.queue_.pop(true);
  while (work) {
    loop.perform(*work);
    const PoolQueue::Clock::time_point now = PoolQueue::Clock::now();
    if (now - begin >= longestStay) return;
    work = loop.queue_.pop(false);
    if (!work && loop.mayStay()) work = loop.queue_.stay(now + moment);
  }
}

/// Whether more work is likely.
bool EventLoop::mayStay() const {
  static const bool hasOthers = uv_available_parallelism() > 1;
  return hasOthers && (inRush_ || unfinished_ > 1);
}

void EventLoop::perform(PoolWork& work) {
  auto expected = PoolWork::State::queued;
  if (work.state_.compare_exchange_strong(expected, PoolWork::State::running)) {
    work.run();
    if (work.state_.exchange(PoolWork::State::over) == PoolWork::State::awaited) {
      const std::lock_guard<std::mutex> lock(mutex_);
      workOver_.notify_one();
    }
  }
  sendHome(work);
}

void EventLoop::sendHome(PoolWork& work) {
  PoolWork* last = lastHome_;
  do {
    work.nextHome_ = last;
  } while (!lastHome_.compare_exchange_weak(last, &work));
  if (!last) uv_async_send(&home_);
}

void EventLoop::onHome(uv_async_t* handle) {
  auto* loop = static_cast<EventLoop*>(handle->data);
  loop->finishHome();
  loop->endIfIdle();
}

/// Finishes the work that has come home, the first first.
void EventLoop::finishHome() {
  PoolWork* first = nullptr;
  for (PoolWork* work = lastHome_.exchange(nullptr); work;) {
    PoolWork* before = std::exchange(work->nextHome_, first);
    first = std::exchange(work, before);
  }
  while (first) {
    PoolWork& work = *std::exchange(first, first->nextHome_);
    (work.previous_ ? work.previous_->next_ : first_) = work.next_;
    if (work.next_) work.next_->previous_ = work.previous_;
    --unfinished_;
    work.finish(work.state_ != PoolWork::State::queued);
  }
}

void EventLoop::onReturn(uv_work_t* request, int /*status*/) {
  auto* self = static_cast<Request*>(request->data);
  EventLoop& loop = *self->loop;
  auto& requests = loop.requests_;
  requests.back()->index = self->index;
  std::swap(requests[self->index], requests.back());
  if (loop.spare_.size() < mostSpare) loop.spare_.push_back(std::move(requests.back()));
  requests.pop_back();
  loop.finishHome();  // What nothing else would keep the loop alive for.
  loop.endIfIdle();
}

void EventLoop::cancelAll() {
  ending_ = true;
  for (PoolWork* work = first_; work; work = work->next_) takeBack(*work);
  for (PoolWork* work = first_; work; work = work->next_) work->cancel();
  for (const auto& request : requests_) {
    uv_cancel(reinterpret_cast<uv_req_t*>(&request->request));
  }
}

void EventLoop::onEnd(void* self, void (*done)(void*), void* argument) {
  auto* loop = static_cast<EventLoop*>(self);
  loop->done_ = done;
  loop->doneArgument_ = argument;
  loop->cancelAll();
  loop->endIfIdle();
}

/// Once all work has finished and no thread stays, closes the handles; once they are closed, ends.
void EventLoop::endIfIdle() {
  if (!done_ || first_ || !requests_.empty() || closing_ > 0) return;
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
