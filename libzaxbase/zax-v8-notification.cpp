#include "zax-v8-notification.h"

#include <nan.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "zax-base.h"
#include "zax-v8-async-job.h"
#include "zax-v8-loop.h"

namespace zax {

namespace {

thread_local SpareMemory ownMemory;

/// A thread's hold of its queue while it drains it, from the first notification to the last.
class Drain : public NonCopyable {
 public:
  Drain(std::unique_lock<std::mutex>& hold, SpareMemory& spare) : hold_(hold), spare_(spare) {
    current_ = this;
  }
  ~Drain() { current_ = nullptr; }

  /// Whether the memory of a notification was kept for the next ones.
  static bool keep(void* memory) { return current_ && current_->spare_.give(memory); }

  /// Lets go of the queue when the process ends from script that the drain runs: the end joins the
  /// pool's threads, and one that waits to post would never come. Main thread; a Worker's script is
  /// terminated, and the drain returns.
  static bool hookExit() {
    node::AtExit(
        node::GetCurrentEnvironment(Nan::GetCurrentContext()),
        [](void*) {
          if (current_) current_->hold_.unlock();
        },
        nullptr);
    return true;
  }

 private:
  static thread_local Drain* current_;

  std::unique_lock<std::mutex>& hold_;
  SpareMemory& spare_;
};

thread_local Drain* Drain::current_ = nullptr;

using QueuePointer = std::shared_ptr<NotificationQueue>;

/// The calling JavaScript thread's, once it has been asked for.
thread_local const QueuePointer* currentQueue = nullptr;

}  // namespace

NotificationQueue g_asyncNotifications;

NotificationQueue::NotificationQueue(EventLoop& loopOfWorker) : loop_(&loopOfWorker) {
  makeSignal(loopOfWorker.handle());
  if (!hasSignal_) std::abort();
  loopOfWorker.closeAtEnd(reinterpret_cast<uv_handle_t*>(&signal_));
}

void NotificationQueue::makeSignal(uv_loop_t* loop) {
  hasSignal_ = uv_async_init(loop, &signal_, asyncNotificationsRunCallback) == 0;
  if (hasSignal_) uv_unref(reinterpret_cast<uv_handle_t*>(&signal_));
}

/// Returns how many there are now.
std::size_t NotificationQueue::push(AsyncNotification* notification) {
  (first_ ? last_->next_ : first_) = notification;
  last_ = notification;
  return ++size_;
}

AsyncNotification* NotificationQueue::pop() {
  --size_;
  return std::exchange(first_, first_->next_);
}

NotificationQueue::Refused NotificationQueue::post(AsyncNotification* notification) {
  std::unique_lock<std::mutex> lock(lock_);
  if (over_) {
    lock.unlock();
    delete notification;  // Perhaps its job too, and with that the queue.
    return Refused::nothing;
  }
  const std::size_t pending = push(notification);
  if (ownMemory.empty()) ownMemory.swap(spare_);
  if (!hasSignal_) return Refused::handle;
  // The thread that the signal wakes takes the lock at once, but a Worker's loop could end without.
  if (!loop_) lock.unlock();
  if (uv_async_send(&signal_) != 0) return Refused::signal;
  if (loop_) lock.unlock();
  // Where both threads share a core, the JavaScript thread gets its turn before the queue has grown
  // to megabytes.
  if (pending % 8192 == 0) std::this_thread::yield();
  return Refused::nothing;
}

void NotificationQueue::run() {
  std::unique_lock<std::mutex> hold(lock_);
  if (!first_) return;
  if (!loop_ || !loop_->isEnding()) return drain(hold);
  while (first_) delete pop();
}

void NotificationQueue::drain(std::unique_lock<std::mutex>& hold) {
  if (hasSignal_) uv_ref(reinterpret_cast<uv_handle_t*>(&signal_));
  if (!loop_) {
    [[maybe_unused]] static const bool hooked = Drain::hookExit();
  }
  const Drain drain(hold, spare_);
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  while (hold.owns_lock() && first_) executeFirst(isolate);
}

void NotificationQueue::executeFirst(v8::Isolate* isolate) {
  const v8::HandleScope scope(isolate);
  v8::TryCatch tryCatch(isolate);
  first_->execute();
  delete pop();
  reportUncaught(isolate, tryCatch);
}

void NotificationQueue::end() {
  const std::lock_guard<std::mutex> lock(lock_);
  over_ = true;
  while (first_) delete pop();
}

void* AsyncNotification::operator new(std::size_t size) {
  if (size > SpareMemory::blockSize) return ::operator new(size);
  return ownMemory.empty() ? ::operator new(SpareMemory::blockSize) : ownMemory.take();
}

void AsyncNotification::operator delete(void* memory, std::size_t size) noexcept {
  if (size > SpareMemory::blockSize || !Drain::keep(memory)) ::operator delete(memory);
}

void* AsyncNotification::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

void AsyncNotification::operator delete(void* memory, std::size_t /*size*/,
                                        std::align_val_t alignment) noexcept {
  ::operator delete(memory, alignment);
}

AsyncNotification::AsyncNotification(AsyncJob* job) : job_(job) { job_->addReference(); }

AsyncNotification::~AsyncNotification() { job_->releaseReference(); }

void AsyncNotification::deliver(v8::Local<v8::Value> value) {
  v8::Local<v8::Value> argv[] = {Nan::New(0), value};
  (void)job_->callback.invoke(2, argv);
}

namespace {

/// Counts nobody: a job of the main thread pays nothing for keeping it.
const QueuePointer ofMainThread(std::shared_ptr<void>(), &g_asyncNotifications);

const QueuePointer* enterQueue() {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const v8::HandleScope scope(isolate);
  if (node::GetCurrentEventLoop(isolate) == uv_default_loop()) {
    g_asyncNotifications.makeSignal(uv_default_loop());
    return &ofMainThread;
  }
  EventLoop& loop = EventLoop::enter(isolate->GetCurrentContext());
  auto* queue = new QueuePointer(std::make_shared<NotificationQueue>(loop));
  loop.own(queue, [](void* owned) {
    const std::unique_ptr<QueuePointer> ended(static_cast<QueuePointer*>(owned));
    currentQueue = nullptr;
    (*ended)->end();
  });
  return queue;
}

}  // namespace

const QueuePointer& NotificationQueue::enter() {
  if (!currentQueue) currentQueue = enterQueue();
  return *currentQueue;
}

void asyncNotificationsRun() {
  if (currentQueue) (*currentQueue)->run();
}

void asyncNotificationsRunCallback(uv_async_t* /*handle*/) {
  const Nan::HandleScope scope;
  asyncNotificationsRun();
}

}  // namespace zax
