#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "bridge.h"

namespace bridge {

namespace {

/// Counts the jobs and notifications that exist; tells when the library goes before they do.
struct Living {
  Living() { ++count; }
  ~Living() { --count; }

  struct Count : std::atomic<int> {
    ~Count() {
      if (load() != 0) std::fprintf(stderr, "%d still live\n", load());
    }
  };
  static inline Count count{0};
};

using Steps = std::list<std::string>;

/// Calls the job's callback with (0, number).
class Number : public zax::AsyncNotification {
 public:
  Number(zax::AsyncJob* job, int value) : AsyncNotification(job), number(value) {}
  void execute() override { deliver(Nan::New(number)); }

 private:
  int number;
  Living living;
};

/// Does what it is told, on either thread: notifies with numbers from 1 upward, replies, records
/// errors, throws. It can be refused, be none, or be without a callback.
class Job : public zax::Binding<Job> {
 public:
  static Job* create(const std::string& refusal, const Steps& begin, const Steps& after,
                     const std::string& unknownCode, const Callback& callback) {
    if (refusal == "none") return nullptr;
    const bool mute = refusal == "mute";
    if (!mute) raise(refusal);
    Job* job = new Job(mute ? Callback() : callback, begin, after);
    job->setUnknownException(unknownCode);
    return job;
  }

  void beginJob() override {
    for (const std::string& step : begin) run(step);
  }
  void afterJob() override {
    for (const std::string& step : after) run(step);
  }

 private:
  Job(const Callback& jobCallback, const Steps& beginSteps, const Steps& afterSteps)
      : Binding(jobCallback), begin(beginSteps), after(afterSteps) {}

  void run(const std::string& step) {
    if (step == "notify") return notify(new Number(this, ++posted));
    if (step == "sleep") return void(usleep(1000));
    if (step == "wait") return void(usleep(100000));
    if (step == "setError")
      return setError("SET", __("set by %(who)s", "who", "job"), ZAX_DEBUG_INFO);
    if (step == "replyError") return replyError("SENT", __("sent"), ZAX_DEBUG_INFO);
    if (step == "reply") return callback.call("done");
    if (step == "default") return AsyncJob::afterJob();
    raise(step);
  }

  Steps begin;
  Steps after;
  int posted = 0;
  Living living;
};

void live(Callback callback) { callback.call(Living::count); }

}  // namespace

void registerJobs(Exports exports) {
  Nan::Export(exports, "job", Job::entry);
  bind<&live>(exports, "live");
}

}  // namespace bridge
