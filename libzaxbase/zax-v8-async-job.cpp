#include "zax-v8-async-job.h"

#include <cxxabi.h>
#include <nan.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <typeinfo>

#include "zax-exception-errno.h"
#include "zax-v8-error.h"
#include "zax-v8-loop.h"

namespace zax {

using Failed = ErrnoGenericException<EFAILED>;

namespace {

/// A job of a Worker on the pool: when the environment ends, one that waits is dropped, and one
/// that runs is waited for; nobody gets their replies.
class WorkerJob : public PoolWork {
 public:
  explicit WorkerJob(uv_work_t& request) : request_(request) {}

 private:
  void run() override { AsyncJob::onBeginJob(&request_); }
  void cancel() override {}

  void finish(bool /*ran*/) override {
    if (EventLoop::current()->isEnding()) {
      asyncNotificationsRun();
      static_cast<AsyncJob*>(request_.data)->releaseReference();
    } else {
      AsyncJob::onAfterJob(&request_, 0);
    }
    delete this;
  }

  uv_work_t& request_;  // the job's
};

}  // namespace

AsyncJob::AsyncJob(const Callback& jobCallback)
    : callback(jobCallback), notifications_(NotificationQueue::enter()) {
  request_.data = this;
}

void AsyncJob::afterJob() { reply(); }

void AsyncJob::start() {
  addReference();
  EventLoop* loop = notifications_->loopOfWorker();
  if (loop) return loop->queue(*new WorkerJob(request_));
  // The end of the process waits for what is queued here, and runs it.
  if (uv_queue_work(uv_default_loop(), &request_, onBeginJob, onAfterJob) != 0) std::abort();
}

void AsyncJob::addReference() { ++references_; }

void AsyncJob::releaseReference() {
  if (--references_ == 0) delete this;
}

/// The record to write to, made when it is first needed.
ErrorInfo& AsyncJob::error() {
  if (!error_) error_ = std::make_unique<ErrorInfo>();
  return *error_;
}

void AsyncJob::setError(const ErrorCode& code, const MessageBuffer& message,
                        const DebugInfo& where) {
  error().assign(code, message, where, "AsyncJob::setError()");
}

void AsyncJob::setUnknownException(const std::string& code) { unknownExceptionCode_ = code; }

/// Replaces the recorded error's code, unless `code` is empty.
void AsyncJob::setErrorCode(const std::string& code) {
  if (code.empty()) return;
  ErrorInfo& info = error();
  info.assign(ErrorCode(code), info.message(), info.where(), info.exceptionClass());
}

void AsyncJob::reply() { callback.call(); }

void AsyncJob::replyError(const ErrorCode& code, const MessageBuffer& message,
                          const DebugInfo& where) {
  ZAXError(code, message, where).sendReply(callback);
}

namespace {

/// The demangled type of the exception in flight.
std::string currentExceptionType() {
  const std::type_info* type = abi::__cxa_current_exception_type();
  std::string name = type ? type->name() : "unknown";
  if (name[0] == '*') name.erase(0, 1);
  cxxDemangle(name, name);
  return name;
}

}  // namespace

void AsyncJob::onBeginJob(uv_work_t* request) {
  AsyncJob* job = static_cast<AsyncJob*>(request->data);
  try {
    job->beginJob();
  } catch (const Exception& e) {
    job->error().assign(e);
  } catch (const std::exception& e) {
    job->error().assign(e);
    job->setErrorCode(job->unknownExceptionCode_);
  } catch (const char* text) {
    // A null text leaves std::cout in its failed state.
    std::cout << "Unhandled exception: " << text << std::endl;
    if (text) {
      job->error().assign(Failed(__("Unhandled exception: %(err)s", "err", text), ZAX_DEBUG_INFO));
    } else {
      job->error().assign(Failed(__("Unhandled exception: nullptr"), ZAX_DEBUG_INFO));
    }
  } catch (...) {
    std::cout << "AsyncJob::onBeginJob: Unhandled exception '" << currentExceptionType() << "'"
              << std::endl;
    job->error().assign(Failed(__("Unhandled exception"), ZAX_DEBUG_INFO));
  }
}

void AsyncJob::onAfterJob(uv_work_t* request, int /*status*/) {
  AsyncJob* job = static_cast<AsyncJob*>(request->data);
  Nan::HandleScope scope;
  job->notifications_->run();
  if (job->hasError()) {
    ZAXError(*job->error_).sendReply(job->callback);
  } else {
    job->replyAfterJob();
  }
  job->releaseReference();
}

/// Lets the job reply, or replies for it when it failed to.
void AsyncJob::replyAfterJob() {
  try {
    afterJob();
    if (hasError()) ZAXError(*error_).sendReply(callback);
  } catch (const Exception& e) {
    ZAXError(e).sendReply(callback);
  } catch (const std::exception& e) {
    // The job's own code for such exceptions is for its work: it goes to the job's record, and this
    // reply keeps the code of the exception.
    const ErrorInfo info(e);
    setErrorCode(unknownExceptionCode_);
    ZAXError(info).sendReply(callback);
  }
}

void AsyncJob::notify(AsyncNotification* notification) {
  switch (notification->job_->notifications_->post(notification)) {
    case NotificationQueue::Refused::handle:
      throw Failed(__("uv_async_init failed"), ZAX_DEBUG_INFO);
    case NotificationQueue::Refused::signal:
      throw Failed(__("uv_async_send failed"), ZAX_DEBUG_INFO);
    case NotificationQueue::Refused::nothing:
      return;
  }
}

}  // namespace zax
