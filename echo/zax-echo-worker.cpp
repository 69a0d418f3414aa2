#include <unistd.h>

#include <stdexcept>
#include <string>

#include "zax-exception.h"
#include "zax-v8-argument-list.h"

// The module `echo`: echoes a string synchronously, from a job, and from a job with progress, and
// fails on purpose for certain strings, so that each road of the framework can be driven.

namespace {

using zax::Callback;
using zax::Exception;

const char* const testError = "TEST-ERROR";

/// A message about the input; `format` names it by str and wait.
zax::MessageBuffer describe(const char* format, const std::string& str, int wait) noexcept {
  return __(format, "str", str, "wait", wait);
}

/// Sleeps for `duration` times `microseconds`. The product wraps, and a negative duration becomes a
/// sleep of more than an hour: `usleep` takes it as unsigned.
void sleepFor(int duration, unsigned int microseconds) {
  usleep(static_cast<unsigned int>(duration) * microseconds);
}

void syncEcho(int wait, std::string str, Callback callback) {
  if (str == "failure") {
    throw Exception(testError,
                    describe("simulated failure in sync binding with zax::Exception "
                             "(input argument str=%(str)s, wait=%(wait)s)",
                             str, wait),
                    ZAX_DEBUG_INFO);
  }
  sleepFor(wait, 1000);
  callback.call(str);
}

/// Written against Nan alone, outside the frame of bound functions: an argument that is no string
/// ends the process.
void echoNan(const Nan::FunctionCallbackInfo<v8::Value>& info) {
  Nan::HandleScope scope;
  std::string str;
  zax::parseString(str, info[0]);
  try {
    if (str == "failure") throw zax::ErrnoGenericException<zax::Errno(ENOENT)>(ZAX_DEBUG_INFO);
    info.GetReturnValue().Set(Nan::New(str).ToLocalChecked());
  } catch (const std::exception& e) {
    zax::ZAXError::throwException(e);
  }
}

/// Echoes after a wait; fails at every stage of a job's life and by every means, if asked to.
class AsyncEcho : public zax::Binding<AsyncEcho> {
 public:
  static AsyncEcho* create(int wait, std::string str, Callback callback) {
    if (str == "argument_failure") {
      throw Exception(testError,
                      describe("simulated argument failure with zax::Exception "
                               "(input argument str=%(str)s, wait=%(wait)s)",
                               str, wait),
                      ZAX_DEBUG_INFO);
    }
    if (str == "argument_failure_std") {
      throw std::logic_error("simulated failure with std::logic_error");
    }
    return new AsyncEcho(callback, wait, str);
  }

  void beginJob() override {
    if (str == "job_failure") {
      throw Exception(testError,
                      describe("simulated job failure with zax::Exception "
                               "(input argument str=%(str)s, wait=%(wait)s)",
                               str, wait),
                      ZAX_DEBUG_INFO);
    }
    if (str == "job_failure_set") {
      setError(testError,
               describe("simulated job failure with setError() "
                        "(input argument str=%(str)s, wait=%(wait)s)",
                        str, wait),
               ZAX_DEBUG_INFO);
      return;
    }
    if (str == "job_failure_std") {
      throw std::logic_error("simulated job failure with std::logic_error");
    }
    sleepFor(wait, 1000);
  }

  void afterJob() override {
    if (str == "reply_failure") {
      throw Exception(testError,
                      describe("simulated reply failure with zax::Exception "
                               "(input argument str=%(str)s, wait=%(wait)s)",
                               str, wait),
                      ZAX_DEBUG_INFO);
    }
    if (str == "reply_failure_reply") {
      replyError(testError,
                 describe("simulated reply failure with replyError() "
                          "(input argument str=%(str)s, wait=%(wait)s)",
                          str, wait),
                 ZAX_DEBUG_INFO);
      return;
    }
    if (str == "reply_failure_set") {
      setError(testError,
               describe("simulated reply failure with setError() "
                        "(input argument str=%(str)s, wait=%(wait)s)",
                        str, wait),
               ZAX_DEBUG_INFO);
      return;
    }
    if (str == "reply_failure_std") {
      throw std::logic_error("simulated reply failure with std::logic_error");
    }
    callback.call(str);
  }

 private:
  AsyncEcho(const Callback& jobCallback, int jobWait, const std::string& jobStr)
      : Binding(jobCallback), wait(jobWait), str(jobStr) {}

  int wait;  // milliseconds
  std::string str;
};

class EchoTestNotification : public zax::AsyncNotification {
 public:
  EchoTestNotification(zax::AsyncJob* job, const std::string& progress)
      : AsyncNotification(job), text(progress) {}

  void execute() override {
    Nan::HandleScope scope;
    deliver(Nan::New(text).ToLocalChecked());
  }

 private:
  std::string text;
};

/// Echoes after a wait in four steps and tells the progress before and after each.
class AsyncEchoWithNotifications : public zax::Binding<AsyncEchoWithNotifications> {
 public:
  static AsyncEchoWithNotifications* create(int wait, std::string str, Callback callback) {
    return new AsyncEchoWithNotifications(callback, wait, str);
  }

  void beginJob() override {
    for (const char* progress : {"-0%", "-25%", "-50%", "-75%"}) {
      notifyProgress(progress);
      sleepFor(wait, 250);
    }
    notifyProgress("-100%");
  }

  void afterJob() override { callback.call(str); }

 private:
  AsyncEchoWithNotifications(const Callback& jobCallback, int jobWait, const std::string& jobStr)
      : Binding(jobCallback), wait(jobWait), str(jobStr) {}

  void notifyProgress(const char* progress) {
    notify(new EchoTestNotification(this, str + progress));
  }

  int wait;  // milliseconds
  std::string str;
};

void RegisterModule(v8::Local<v8::Object> exports) {
  Nan::Export(exports, "asyncEcho", AsyncEcho::entry);
  Nan::Export(exports, "asyncEchoWithNotifications", AsyncEchoWithNotifications::entry);
  Nan::Export(exports, "syncEcho",
              zax::BindFunction<void(int, std::string, Callback), syncEcho>::entry);
  Nan::Export(exports, "echoNan", echoNan);
}

}  // namespace

NODE_MODULE(echo, RegisterModule)
