#ifndef ZAX_V8_ASYNC_JOB_H
#define ZAX_V8_ASYNC_JOB_H

#include <uv.h>
#include <v8.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "zax-base.h"
#include "zax-error-info.h"
#include "zax-v8-callback.h"

namespace zax {

class AsyncNotification;

/// Base of every asynchronous operation. `beginJob` does the work on a thread of the libuv pool,
/// `afterJob` then replies to the callback on the JavaScript thread. A job is allocated with `new`
/// and deletes itself when its last reference is released: normally the one that `start` took,
/// after the reply. A job whose callback is empty replies to nobody.
///
/// The reference count may change on any thread; the last reference is released on the JavaScript
/// thread, because the callback goes with it. Everything else has one thread at a time: the
/// JavaScript thread until `start`, a pool thread during `beginJob`, the JavaScript thread again
/// afterwards.
class AsyncJob : public NonCopyable {
 public:
  /// JavaScript thread. The job keeps a copy of the callback.
  explicit AsyncJob(const Callback& callback);

  /// The work; runs once, on a pool thread, and must not touch V8. Whatever it throws is recorded
  /// and becomes the error reply; a std::exception from outside the framework gets the code
  /// "EUNKNOWN" or what setUnknownException said. An Exception without a place, as of DebugInfo(),
  /// does not count as an error.
  virtual void beginJob() = 0;

  /// The reply; runs on the JavaScript thread when beginJob recorded no error. The default calls
  /// reply(). A std::exception that it throws becomes an error reply, and so does an error that it
  /// records; what it has replied before is not taken back.
  virtual void afterJob();

  virtual ~AsyncJob() = default;

  /// Queues the job on the default loop's pool. JavaScript thread, once. Ends the process when
  /// libuv refuses the work.
  void start();

  /// Any thread.
  void addReference();

  /// Any thread, but for the last reference: the JavaScript thread. That one deletes the job.
  void releaseReference();

  /// Records a failure without an exception: from beginJob, instead of throwing; from afterJob,
  /// instead of replying. Copies its arguments. Replaces what was recorded before. Without a place
  /// in `where` there is no error.
  void setError(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& where);

  /// The code for exceptions from outside the framework that beginJob throws. Call it before
  /// `start` or from beginJob. Empty means "EUNKNOWN".
  void setUnknownException(const std::string& code);

  /// Calls the callback without arguments. JavaScript thread.
  void reply();

  /// Sends an error reply at once. JavaScript thread, from afterJob.
  void replyError(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& where);

  /// Posts a notification and takes ownership of it, also when it throws. Any thread; never from a
  /// notification's execute, which holds the lock that this takes. Throws
  /// ErrnoGenericException<EFAILED> when libuv refuses; the notification then stays queued.
  ///
  /// The first call of the process creates the async handle, on whichever thread it comes from;
  /// from then on the handle keeps the event loop alive.
  static void notify(AsyncNotification* notification);

  /// What libuv calls on the pool thread and on the JavaScript thread.
  static void onBeginJob(uv_work_t* request);
  static void onAfterJob(uv_work_t* request, int status);

 private:
  std::atomic<std::int32_t> references_{0};
  uv_work_t request_;

 protected:
  Callback callback;

 private:
  friend class AsyncNotification;

  bool hasError() const { return error_ && error_->hasError(); }
  ErrorInfo& error();
  void replyAfterJob();
  void setErrorCode(const std::string& code);

  std::unique_ptr<ErrorInfo> error_;  // 5 KB that few jobs need
  std::string unknownExceptionCode_;
};

/// Something that a job tells the script while it works. A job makes one with `new` in beginJob and
/// hands it to AsyncJob::notify; it is executed once, in the order of posting, before the job's
/// reply, and then deleted. Keeps its job alive.
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
  friend class NotificationQueue;

  AsyncJob* job_;
  AsyncNotification* next_ = nullptr;
};

/// Executes and deletes all pending notifications, first in, first out. JavaScript thread; threads
/// that post meanwhile wait until it has returned.
void asyncNotificationsRun();

/// The same, as libuv calls it.
void asyncNotificationsRunCallback(uv_async_t* handle);

}  // namespace zax

#endif
