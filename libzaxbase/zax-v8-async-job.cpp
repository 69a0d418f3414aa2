#include "zax-v8-async-job.h"

#include <cxxabi.h>
#include <nan.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <typeinfo>
#include <utility>

#include "zax-exception-errno.h"
#include "zax-v8-error.h"

namespace zax {

using Failed = ErrnoGenericException<EFAILED>;

/// Notifications that wait for the JavaScript thread, in the order of posting. The queue owns them
/// and links them through themselves, so that posting makes no node.
class NotificationQueue {
 public:
  bool empty() const { return !first_; }
  AsyncNotification* front() const { return first_; }

  /// Returns how many there are now.
  std::size_t push(AsyncNotification* notification) {
    (first_ ? last_->next_ : first_) = notification;
    last_ = notification;
    return ++size_;
  }

  void pop() {
    first_ = first_->next_;
    --size_;
  }

 private:
  AsyncNotification* first_ = nullptr;
  AsyncNotification* last_ = nullptr;
  std::size_t size_ = 0;
};

NotificationQueue g_asyncNotifications;

/// Guards the queue and the creation of the async handle; held for the whole of a drain.
std::mutex g_asyncNotificationsLock;

namespace {

/// Free memory for notifications, a chain of blocks of one size. A notification is made on one
/// thread and deleted on another, which an allocator finds hardest: so a drain keeps what it
/// deletes, and the next thread that posts takes all of it along, both under the lock that they
/// hold anyway.
class SpareMemory {
 public:
  static constexpr std::size_t blockSize = 64;  // bytes
  static constexpr std::size_t maxBlocks = 16384;

  SpareMemory() = default;
  SpareMemory(const SpareMemory&) = delete;
  SpareMemory& operator=(const SpareMemory&) = delete;
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

SpareMemory drainedMemory;  // guarded by g_asyncNotificationsLock
thread_local SpareMemory ownMemory;
thread_local bool draining = false;  // whether this thread holds the lock for a drain

}  // namespace

void* AsyncNotification::operator new(std::size_t size) {
  if (size > SpareMemory::blockSize) return ::operator new(size);
  return ownMemory.empty() ? ::operator new(SpareMemory::blockSize) : ownMemory.take();
}

void AsyncNotification::operator delete(void* memory, std::size_t size) noexcept {
  const bool kept = draining && size <= SpareMemory::blockSize && drainedMemory.give(memory);
  if (!kept) ::operator delete(memory);
}

void* AsyncNotification::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

void AsyncNotification::operator delete(void* memory, std::size_t /*size*/,
                                        std::align_val_t alignment) noexcept {
  ::operator delete(memory, alignment);
}

AsyncJob::AsyncJob(const Callback& jobCallback) : callback(jobCallback) { request_.data = this; }

void AsyncJob::afterJob() { reply(); }

void AsyncJob::start() {
  addReference();
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
  asyncNotificationsRun();
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

AsyncNotification::AsyncNotification(AsyncJob* job) : job_(job) { job_->addReference(); }

AsyncNotification::~AsyncNotification() { job_->releaseReference(); }

void AsyncNotification::deliver(v8::Local<v8::Value> value) {
  v8::Local<v8::Value> argv[] = {Nan::New(0), value};
  (void)job_->callback.invoke(2, argv);
}

void AsyncJob::notify(AsyncNotification* notification) {
  static uv_async_t* handle = nullptr;
  std::unique_lock<std::mutex> lock(g_asyncNotificationsLock);
  const std::size_t pending = g_asyncNotifications.push(notification);
  if (ownMemory.empty()) ownMemory.swap(drainedMemory);
  if (!handle) {
    auto created = std::make_unique<uv_async_t>();
    if (uv_async_init(uv_default_loop(), created.get(), asyncNotificationsRunCallback) != 0) {
      throw Failed(__("uv_async_init failed"), ZAX_DEBUG_INFO);
    }
    handle = created.release();
  }
  if (uv_async_send(handle) != 0) throw Failed(__("uv_async_send failed"), ZAX_DEBUG_INFO);
  lock.unlock();
  // Where both threads share a core, the JavaScript thread gets its turn before the queue has grown
  // to megabytes.
  if (pending % 8192 == 0) std::this_thread::yield();
}

namespace {

/// Lets go of a drain's hold of the queue when the process ends from script that the drain runs:
/// the end joins the pool's threads, and one that waits to post would never come.
class HoldUntilExit {
 public:
  explicit HoldUntilExit(std::unique_lock<std::mutex>& hold) {
    static const bool hooked = hookExit();
    (void)hooked;
    current_ = &hold;
    draining = true;
  }
  ~HoldUntilExit() {
    current_ = nullptr;
    draining = false;
  }

  HoldUntilExit(const HoldUntilExit&) = delete;
  HoldUntilExit& operator=(const HoldUntilExit&) = delete;

 private:
  static bool hookExit() {
    node::AtExit(
        node::GetCurrentEnvironment(Nan::GetCurrentContext()),
        [](void*) {
          if (current_) current_->unlock();
        },
        nullptr);
    return true;
  }

  static inline std::unique_lock<std::mutex>* current_ = nullptr;
};

/// Executes and deletes the first pending notification.
void runFirstNotification(v8::Isolate* isolate) {
  const v8::HandleScope scope(isolate);
  v8::TryCatch tryCatch(isolate);
  AsyncNotification* notification = g_asyncNotifications.front();
  notification->execute();
  g_asyncNotifications.pop();
  delete notification;
  if (tryCatch.HasCaught()) node::FatalException(isolate, tryCatch);
}

}  // namespace

void asyncNotificationsRun() {
  std::unique_lock<std::mutex> hold(g_asyncNotificationsLock);
  if (g_asyncNotifications.empty()) return;
  const HoldUntilExit holdUntilExit(hold);
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  while (hold.owns_lock() && !g_asyncNotifications.empty()) runFirstNotification(isolate);
}

void asyncNotificationsRunCallback(uv_async_t* /*handle*/) {
  const Nan::HandleScope scope;
  asyncNotificationsRun();
}

}  // namespace zax
