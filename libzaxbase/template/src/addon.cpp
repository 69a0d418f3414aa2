#include <string>

#include "zax-v8-argument-list.h"

namespace {

int smallestFactorOf(int number) {
  for (int factor = 2; factor <= number / factor; ++factor) {
    if (number % factor == 0) return factor;
  }
  return number;
}

/// A synchronous function: runs on the JavaScript thread, replies before it returns, and fails by
/// throwing.
void smallestFactor(int number, zax::Callback callback) {
  if (number < 2) {
    throw zax::ErrnoGenericException<zax::EBADARG>(
        __("%(number)s has no factor above 1", "number", number), ZAX_DEBUG_INFO);
  }
  callback.call(smallestFactorOf(number));
}

/// What the job says while it works.
class Progress : public zax::AsyncNotification {
 public:
  Progress(zax::AsyncJob* job, int percent)
      : AsyncNotification(job), text_(std::to_string(percent) + "%") {}

  /// On the JavaScript thread: calls the job's callback with (0, text).
  void execute() override { deliver(Nan::New(text_).ToLocalChecked()); }

 private:
  std::string text_;
};

/// A job: counts the primes up to a limit.
class CountPrimes : public zax::Binding<CountPrimes> {
 public:
  /// On the JavaScript thread: takes the arguments of the call.
  static CountPrimes* create(int limit, zax::Callback callback) {
    return new CountPrimes(limit, callback);
  }

  /// The work, on a thread of the pool. Must not touch V8; may throw.
  void beginJob() override {
    long number = 2;
    for (int percent = 10; percent <= 100; percent += 10) {
      for (const long end = limit_ * percent / 100; number <= end; ++number) {
        if (smallestFactorOf(static_cast<int>(number)) == number) ++count_;
      }
      notify(new Progress(this, percent));
    }
  }

  /// The reply, back on the JavaScript thread.
  void afterJob() override { callback.call(count_); }

 private:
  CountPrimes(int limit, const zax::Callback& callback) : Binding(callback), limit_(limit) {}

  long limit_;
  int count_ = 0;
};

void registerModule(v8::Local<v8::Object> exports) {
  Nan::Export(exports, "smallestFactor",
              zax::BindFunction<void(int, zax::Callback), smallestFactor>::entry);
  Nan::Export(exports, "countPrimes", CountPrimes::entry);
}

}  // namespace

NODE_MODULE(addon, registerModule)
