#include <string>
#include <utility>

#include "work.h"
#include "zax-exception.h"
#include "zax-v8-argument-list.h"

// The framework, used as its documentation says.

namespace {

using zax::Callback;

void sync(int, std::string text, Callback callback) { callback.call(text); }

void fail(int number, std::string text, Callback) {
  throw zax::Exception(
      bench::failureCode,
      __("cannot take number %(number)s with text %(text)s", "number", number, "text", text),
      ZAX_DEBUG_INFO);
}

class EchoJob : public zax::Binding<EchoJob> {
 public:
  static EchoJob* create(std::string text, Callback callback) {
    return new EchoJob(callback, std::move(text));
  }

  void beginJob() override {}
  void afterJob() override { callback.call(text_); }

 private:
  EchoJob(const Callback& jobCallback, std::string text)
      : Binding(jobCallback), text_(std::move(text)) {}

  std::string text_;
};

class ThrowingJob : public zax::Binding<ThrowingJob> {
 public:
  static ThrowingJob* create(std::string text, Callback callback) {
    return new ThrowingJob(callback, std::move(text));
  }

  void beginJob() override {
    throw zax::Exception(bench::failureCode, __("cannot work on %(text)s", "text", text_),
                         ZAX_DEBUG_INFO);
  }

 private:
  ThrowingJob(const Callback& jobCallback, std::string text)
      : Binding(jobCallback), text_(std::move(text)) {}

  std::string text_;
};

class TextNotification : public zax::AsyncNotification {
 public:
  TextNotification(zax::AsyncJob* job, std::string text)
      : AsyncNotification(job), text_(std::move(text)) {}

  void execute() override { deliver(Nan::New(text_).ToLocalChecked()); }

 private:
  std::string text_;
};

class ProgressJob : public zax::Binding<ProgressJob> {
 public:
  static ProgressJob* create(int count, int microseconds, Callback callback) {
    return new ProgressJob(callback, {count, microseconds});
  }

  void beginJob() override {
    feed_.run([this](std::string text) { notify(new TextNotification(this, std::move(text))); });
  }

 private:
  ProgressJob(const Callback& jobCallback, bench::Feed feed) : Binding(jobCallback), feed_(feed) {}

  bench::Feed feed_;
};

void init(v8::Local<v8::Object> exports) {
  Nan::Export(exports, "sync", zax::BindFunction<void(int, std::string, Callback), sync>::entry);
  Nan::Export(exports, "fail", zax::BindFunction<void(int, std::string, Callback), fail>::entry);
  Nan::Export(exports, "job", EchoJob::entry);
  Nan::Export(exports, "throwing", ThrowingJob::entry);
  Nan::Export(exports, "progress", ProgressJob::entry);
  Nan::Set(exports, Nan::New("jobBytes").ToLocalChecked(),
           Nan::New(static_cast<unsigned>(sizeof(EchoJob))))
      .Check();
}

}  // namespace

NODE_MODULE(bench_zax, init)
