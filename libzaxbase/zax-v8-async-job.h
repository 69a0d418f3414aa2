#ifndef ZAX_V8_ASYNC_JOB_H
#define ZAX_V8_ASYNC_JOB_H

#include <uv.h>
#include <v8.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "zax-base.h"
#include "zax-error-info.h"
#include "zax-v8-callback.h"
#include "zax-v8-notification.h"

namespace zax {

/// Base of every asynchronous operation. `beginJob` does the work on a thread of the libuv pool,
/// `afterJob` then replies to the callback on the JavaScript thread. A job is allocated with `new`
/// and deletes itself when its last reference is released: normally the one that `start` took,
/// after the reply. A job whose callback is empty replies to nobody.
///
/// A job belongs to the JavaScript thread that makes it. When that is a Worker's and ends, a job
/// that waits for the pool is deleted and one that runs is waited for; they reply to nobody.
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

  /// Queues the job on the libuv pool. JavaScript thread, once. Ends the process when libuv refuses
  /// the work.
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
  /// The first one for a JavaScript thread keeps its event loop alive from then on, by an async
  /// handle; that of the main thread is created on whichever thread the call comes from.
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
  const std::shared_ptr<NotificationQueue> notifications_;  // those of the job's thread
};

}  // namespace zax

#endif
