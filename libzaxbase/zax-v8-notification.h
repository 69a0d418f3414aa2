#ifndef ZAX_V8_NOTIFICATION_H
#define ZAX_V8_NOTIFICATION_H

#include <uv.h>
#include <v8.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "zax-base.h"

namespace zax {

class AsyncJob;
class EventLoop;

/// Something that a job tells the script while it works. A job makes one with `new` in beginJob and
/// hands it to AsyncJob::notify; it is executed once, in the order of posting, before the job's
/// reply, and then deleted; only deleted when a Worker ends before. Keeps its job alive.
class AsyncNotification {
 public:
  /// Any thread that holds a reference to the job, as beginJob does.
  explicit AsyncNotification(AsyncJob* job);
  virtual ~AsyncNotification();

  AsyncNotification(const AsyncNotification&) = delete;
  AsyncNotification& operator=(const AsyncNotification&) = delete;

  /// Memory that a drain has got back is used again. Any thread.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory, std::size_t size) noexcept;
  static void* operator new(std::size_t size, std::align_val_t alignment);
  static void operator delete(void* memory, std::size_t size, std::align_val_t alignment) noexcept;

  /// Runs on the JavaScript thread, in a handle scope, while the queue of notifications is locked.
  /// Must neither throw nor post; the script that it calls must not bring about a post either.
  virtual void execute() = 0;

  /// Calls the job's callback with (0, value). JavaScript thread, from execute; what the script
  /// throws is reported as an uncaught exception after execute has returned.
  void deliver(v8::Local<v8::Value> value);

 private:
  friend class AsyncJob;
  friend class NotificationQueue;

  AsyncJob* job_;
  AsyncNotification* next_ = nullptr;
};

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

/// Notifications that wait for one JavaScript thread, in the order of posting. Owns them and links
/// them through themselves, so that posting makes no node. Every job keeps that of its thread. That
/// of the main thread lasts as long as the process; that of a Worker ends with the environment.
class NotificationQueue : public NonCopyable {
 public:
  /// What libuv refused when a notification was posted.
  enum class Refused { nothing, handle, signal };

  /// That of the calling JavaScript thread, made at the first call.
  static const std::shared_ptr<NotificationQueue>& enter();

  NotificationQueue() = default;
  explicit NotificationQueue(EventLoop& loopOfWorker);

  /// Before anybody posts: libuv lets no other thread do this while the loop runs. Where it fails,
  /// post refuses. The queue's JavaScript thread, once.
  void makeSignal(uv_loop_t* loop);

  /// The loop of a Worker; null for the main thread's queue.
  EventLoop* loopOfWorker() const { return loop_; }

  /// What AsyncJob::notify does but for its exceptions. Any thread.
  Refused post(AsyncNotification* notification);

  /// Executes and deletes what is pending; once the environment is ending, only deletes it. The
  /// queue's JavaScript thread.
  void run();

  /// Deletes what is pending, and at once what is posted from now on. The queue's JavaScript
  /// thread, once the signal is closed.
  void end();

 private:
  std::size_t push(AsyncNotification* notification);
  AsyncNotification* pop();
  void drain(std::unique_lock<std::mutex>& hold);
  void executeFirst(v8::Isolate* isolate);

  std::mutex lock_;  ///< guards the rest; held for the whole of a drain
  AsyncNotification* first_ = nullptr;
  AsyncNotification* last_ = nullptr;
  std::size_t size_ = 0;
  SpareMemory spare_;
  uv_async_t signal_;  ///< wakes the JavaScript thread, and from the first drain keeps it alive
  bool hasSignal_ = false;
  EventLoop* const loop_ = nullptr;
  bool over_ = false;
};

/// Executes and deletes all notifications that are pending for the calling JavaScript thread, first
/// in, first out; once its environment is ending, only deletes them. Threads that post to it
/// meanwhile wait until it has returned.
void asyncNotificationsRun();

/// The same, as libuv calls it.
void asyncNotificationsRunCallback(uv_async_t* handle);

}  // namespace zax

#endif
