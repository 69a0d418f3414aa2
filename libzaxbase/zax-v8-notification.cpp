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

/// Free memory for notifications, a chain of blocks of one size. A notification is made on one
/// thread and deleted on another, which an allocator finds hardest: so a drain keeps what it
/// deletes, and the next thread that posts takes all of it along, both under the lock that they
/// hold anyway.
class SpareMemory : public NonCopyable {
 public:
  static constexpr std::size_t blockSize = 64;  // bytes
  static constexpr std::size_t maxBlocks = 16384;

  ~SpareMemory() {
    while (first_) ::operator delete(take());
  }

  bool empty() const { return !first_; }

  void* take() noexcept {
    --count_;
    return std::exchange(first_, first_->next);
  }

  /// Whether there was room for the block.
  bool give(void* memory) noexcept {
    if (count_ == maxBlocks) return false;
    first_ = new (memory) Block{first_};
    ++count_;
    return true;
  }

  void swap(SpareMemory& other) noexcept {
    std::swap(first_, other.first_);
    std::swap(count_, other.count_);
  }

 private:
  struct Block {
    Block* next;
  };

  Block* first_ = nullptr;
  std::size_t count_ = 0;
};

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

/// The calling JavaScript thread's, once it has been asked for.
thread_local const std::shared_ptr<NotificationQueue>* currentQueue = nullptr;

}  // namespace

/// Notifications that wait for one JavaScript thread, in the order of posting. Owns them and links
/// them through themselves, so that posting makes no node. That of the main thread lasts as long as
/// the process; that of a Worker ends with the environment, and the last job that keeps it then
/// destroys it.
class NotificationQueue : public NonCopyable {
 public:
  NotificationQueue() = default;
  explicit NotificationQueue(EventLoop& loopOfWorker);

  /// Any thread.
  Refused post(AsyncNotification* notification);

  /// JavaScript thread: executes and deletes what is pending.
  void drain();

  /// JavaScript thread: deletes what is pending; for good once the signal is closed: what is posted
  /// from then on is deleted at once.
  void drop(bool forGood = false);

 private:
  std::size_t push(AsyncNotification* notification);
  AsyncNotification* pop();
  bool makeSignal(uv_loop_t* loop);
  void executeFirst(v8::Isolate* isolate);

  std::mutex lock_;  ///< guards the rest; held for the whole of a drain
  AsyncNotification* first_ = nullptr;
  AsyncNotification* last_ = nullptr;
  std::size_t size_ = 0;
  SpareMemory spare_;
  uv_async_t signal_;  ///< wakes the JavaScript thread, and from its first use keeps it alive
  bool hasSignal_ = false;
  const bool ofWorker_ = false;
  bool over_ = false;
};

NotificationQueue g_asyncNotifications;

/// The signal is made now, on the thread that runs the loop. For the main thread the first
/// notification makes it.
NotificationQueue::NotificationQueue(EventLoop& loopOfWorker) : ofWorker_(true) {
  if (!makeSignal(loopOfWorker.handle())) std::abort();
  auto* handle = reinterpret_cast<uv_handle_t*>(&signal_);
  uv_unref(handle);
  loopOfWorker.closeAtEnd(handle);
}

bool NotificationQueue::makeSignal(uv_loop_t* loop) {
  hasSignal_ = uv_async_init(loop, &signal_, asyncNotificationsRunCallback) == 0;
  return hasSignal_;
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

Refused NotificationQueue::post(AsyncNotification* notification) {
  std::unique_lock<std::mutex> lock(lock_);
  if (over_) {
    lock.unlock();
    delete notification;  // Perhaps its job too, and with that the queue.
    return Refused::nothing;
  }
  const std::size_t pending = push(notification);
  if (ownMemory.empty()) ownMemory.swap(spare_);
  if (!hasSignal_ && !makeSignal(uv_default_loop())) return Refused::handle;
  // The thread that the signal wakes takes the lock at once, but a Worker's loop could end without.
  if (!ofWorker_) lock.unlock();
  if (uv_async_send(&signal_) != 0) return Refused::signal;
  if (ofWorker_) lock.unlock();
  // Where both threads share a core, the JavaScript thread gets its turn before the queue has grown
  // to megabytes.
  if (pending % 8192 == 0) std::this_thread::yield();
  return Refused::nothing;
}

void NotificationQueue::drain() {
  std::unique_lock<std::mutex> hold(lock_);
  if (!first_) return;
  if (ofWorker_) {
    uv_ref(reinterpret_cast<uv_handle_t*>(&signal_));
  } else {
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

void NotificationQueue::drop(bool forGood) {
  const std::lock_guard<std::mutex> lock(lock_);
  over_ = forGood;
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

using QueuePointer = std::shared_ptr<NotificationQueue>;

/// Counts nobody: a job of the main thread pays nothing for keeping it.
const QueuePointer ofMainThread(std::shared_ptr<void>(), &g_asyncNotifications);

const QueuePointer* enterQueue() {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  const v8::HandleScope scope(isolate);
  if (node::GetCurrentEventLoop(isolate) == uv_default_loop()) return &ofMainThread;
  EventLoop& loop = EventLoop::enter(isolate->GetCurrentContext());
  auto* queue = new QueuePointer(std::make_shared<NotificationQueue>(loop));
  loop.own(queue, [](void* owned) {
    const std::unique_ptr<QueuePointer> ended(static_cast<QueuePointer*>(owned));
    currentQueue = nullptr;
    (*ended)->drop(true);
  });
  return queue;
}

}  // namespace

const std::shared_ptr<NotificationQueue>& notificationQueue() {
  if (!currentQueue) currentQueue = enterQueue();
  return *currentQueue;
}

Refused postTo(NotificationQueue& queue, AsyncNotification* notification) {
  return queue.post(notification);
}

void asyncNotificationsRun() {
  if (!currentQueue) return;
  const EventLoop* loop = EventLoop::current();
  if (loop && loop->isEnding()) return (*currentQueue)->drop();
  (*currentQueue)->drain();
}

void asyncNotificationsRunCallback(uv_async_t* /*handle*/) {
  const Nan::HandleScope scope;
  asyncNotificationsRun();
}

}  // namespace zax
