#include <unistd.h>

#include <atomic>
#include <tuple>

#include "bridge.h"

namespace bridge {

namespace {

std::atomic<int> liveJobs{0};
std::atomic<int> liveNotifications{0};

using Steps = std::list<std::string>;

/// Calls the job's callback with (0, number).
class Number : public zax::AsyncNotification {
 public:
  Number(zax::AsyncJob* job, int value) : AsyncNotification(job), number(value) {
    ++liveNotifications;
  }
  ~Number() override { --liveNotifications; }

  void execute() override { deliver(Nan::New(number)); }

 private:
  int number;
};

/// Does what it is told, on either thread: notifies with numbers from 1 upward, replies, records
/// errors, throws.
class Job : public zax::Binding<Job> {
 public:
  static Job* create(const std::string& refusal, const Steps& begin, const Steps& after,
                     const std::string& unknownCode, const Callback& callback) {
    raise(refusal);
    Job* job = new Job(callback, begin, after);
    job->setUnknownException(unknownCode);
    return job;
  }

  ~Job() override { --liveJobs; }

  void beginJob() override { run(begin); }
  void afterJob() override { run(after); }

 private:
  Job(const Callback& jobCallback, const Steps& beginSteps, const Steps& afterSteps)
      : Binding(jobCallback), begin(beginSteps), after(afterSteps) {
    ++liveJobs;
  }

  void run(const Steps& steps) {
    for (const std::string& step : steps) {
      if (step == "notify") {
        notify(new Number(this, ++posted));
      } else if (step == "sleep") {
        usleep(1000);
      } else if (step == "setError") {
        setError("SET", __("set by %(who)s", "who", "job"), ZAX_DEBUG_INFO);
      } else if (step == "replyError") {
        replyError("SENT", __("sent"), ZAX_DEBUG_INFO);
      } else if (step == "reply") {
        callback.call("done");
      } else if (step == "default") {
        AsyncJob::afterJob();
      } else {
        raise(step);
      }
    }
  }

  Steps begin;
  Steps after;
  int posted = 0;
};

/// Carries an argument of every type through its life and replies with them.
template <typename... Args>
class Carrier : public zax::Binding<Carrier<Args...>> {
 public:
  static Carrier* create(Args... args, Callback callback) { return new Carrier(callback, args...); }

  void beginJob() override {}
  void afterJob() override {
    const v8::Local<v8::Array> array = Nan::New<v8::Array>();
    const auto add = [&](const auto& value) { Nan::Set(array, array->Length(), toJs(value)); };
    std::apply([&](const auto&... values) { (add(values), ...); }, carried);
    this->callback.call(array);
  }

 private:
  explicit Carrier(const Callback& callback, const Args&... args)
      : zax::Binding<Carrier>(callback), carried(args...) {}

  std::tuple<Args...> carried;
};

using EveryType = Carrier<std::string, int, unsigned int, long, bool, boolean_t, Steps,
                          std::set<std::string>, std::vector<unsigned int>, std::vector<int>,
                          zax::StringPairs, zax::StringMap, zax::IntStringMap>;

/// [jobs, notifications] that exist.
void live(Callback callback) {
  callback.call(toJs(std::pair<int, int>(liveJobs, liveNotifications)));
}

/// Lets the event loop end although notifications have been posted, and replies with the number of
/// async handles that were made for them.
void releaseLoop(Callback callback) {
  int handles = 0;
  uv_walk(
      uv_default_loop(),
      [](uv_handle_t* handle, void* count) {
        if (handle->type != UV_ASYNC) return;
        const auto* async = reinterpret_cast<uv_async_t*>(handle);
        if (async->async_cb != zax::asyncNotificationsRunCallback) return;
        uv_unref(handle);
        ++*static_cast<int*>(count);
      },
      &handles);
  callback.call(handles);
}

}  // namespace

void registerJobs(Exports exports) {
  Nan::Export(exports, "job", Job::entry);
  Nan::Export(exports, "everyType", EveryType::entry);
  bind<&live>(exports, "live");
  bind<&releaseLoop>(exports, "releaseLoop");
}

}  // namespace bridge
