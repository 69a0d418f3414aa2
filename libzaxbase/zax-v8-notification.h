#ifndef ZAX_V8_NOTIFICATION_H
#define ZAX_V8_NOTIFICATION_H

#include <uv.h>
#include <v8.h>

#include <cstddef>
#include <memory>
#include <new>

namespace zax {

class AsyncJob;
class NotificationQueue;

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

/// The queue of the calling JavaScript thread, made at the first call. For jobs, which keep that of
/// the thread that they belong to.
const std::shared_ptr<NotificationQueue>& notificationQueue();

/// What libuv refused when a notification was posted.
enum class Refused { nothing, handle, signal };

/// Appends to a queue and signals its thread. Any thread. For AsyncJob::notify.
Refused postTo(NotificationQueue& queue, AsyncNotification* notification);

/// Executes and deletes all notifications that are pending for the calling JavaScript thread, first
/// in, first out; once its environment is ending, only deletes them. Threads that post to it
/// meanwhile wait until it has returned.
void asyncNotificationsRun();

/// The same, as libuv calls it.
void asyncNotificationsRunCallback(uv_async_t* handle);

}  // namespace zax

#endif
