#include "zax-v8-notification.h"

#include <nan.h>

#include <mutex>
#include <thread>
#include <utility>

#include "zax-base.h"
#include "zax-v8-async-job.h"

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

/// A thread's hold of the queue while it drains it, from the first notification to the last.
class Drain : public NonCopyable {
 public:
  Drain(std::unique_lock<std::mutex>& hold, SpareMemory& spare) : hold_(hold), spare_(spare) {
    static const bool hooked = hookExit();
    (void)hooked;
    current_ = this;
  }
  ~Drain() { current_ = nullptr; }

  /// Whether the memory of a notification was kept for the next ones.
  static bool keep(void* memory) { return current_ && current_->spare_.give(memory); }

 private:
  /// Lets go of the queue when the process ends from script that the drain runs: the end joins the
  /// pool's threads, and one that waits to post would never come.
  static bool hookExit() {
    node::AtExit(
        node::GetCurrentEnvironment(Nan::GetCurrentContext()),
        [](void*) {
          if (current_) current_->hold_.unlock();
        },
        nullptr);
    return true;
  }

  static thread_local Drain* current_;

  std::unique_lock<std::mutex>& hold_;
  SpareMemory& spare_;
};

thread_local Drain* Drain::current_ = nullptr;

}  // namespace

/// Notifications that wait for the JavaScript thread, in the order of posting. Owns them and links
/// them through themselves, so that posting makes no node.
class NotificationQueue : public NonCopyable {
 public:
  Refused post(AsyncNotification* notification);
  void drain();

 private:
  std::size_t push(AsyncNotification* notification);
  AsyncNotification* pop();
  bool makeSignal();
  void executeFirst(v8::Isolate* isolate);

  std::mutex lock_;  ///< guards the rest; held for the whole of a drain
  AsyncNotification* first_ = nullptr;
  AsyncNotification* last_ = nullptr;
  std::size_t size_ = 0;
  SpareMemory spare_;
  uv_async_t signal_;  ///< wakes the JavaScript thread; made by the first notification
  bool hasSignal_ = false;
};

NotificationQueue g_asyncNotifications;

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

bool NotificationQueue::makeSignal() {
  hasSignal_ = uv_async_init(uv_default_loop(), &signal_, asyncNotificationsRunCallback) == 0;
  return hasSignal_;
}

Refused NotificationQueue::post(AsyncNotification* notification) {
  std::unique_lock<std::mutex> lock(lock_);
  const std::size_t pending = push(notification);
  if (ownMemory.empty()) ownMemory.swap(spare_);
  if (!hasSignal_ && !makeSignal()) return Refused::handle;
  lock.unlock();  // The thread that the signal wakes takes the lock at once.
  if (uv_async_send(&signal_) != 0) return Refused::signal;
  // Where both threads share a core, the JavaScript thread gets its turn before the queue has grown
  // to megabytes.
  if (pending % 8192 == 0) std::this_thread::yield();
  return Refused::nothing;
}

void NotificationQueue::drain() {
  std::unique_lock<std::mutex> hold(lock_);
  if (!first_) return;
  const Drain drain(hold, spare_);
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  while (hold.owns_lock() && first_) executeFirst(isolate);
}

void NotificationQueue::executeFirst(v8::Isolate* isolate) {
  const v8::HandleScope scope(isolate);
  v8::TryCatch tryCatch(isolate);
  first_->execute();
  delete pop();
  if (tryCatch.HasCaught()) node::FatalException(isolate, tryCatch);
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

Refused postNotification(AsyncNotification* notification) {
  return g_asyncNotifications.post(notification);
}

void asyncNotificationsRun() { g_asyncNotifications.drain(); }

void asyncNotificationsRunCallback(uv_async_t* /*handle*/) {
  const Nan::HandleScope scope;
  asyncNotificationsRun();
}

}  // namespace zax
