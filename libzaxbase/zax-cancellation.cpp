#include "zax-cancellation.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

namespace zax {

Cancelled::Cancelled()
    : ErrnoException(Errno(ECANCELED), __("The task was cancelled"), DebugInfo()) {}

/// The whole state; its headers stay out of every author's build.
class CancellationCallbacks final : public CancellationState {
 public:
  void request() override {
    requested_ = true;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const CancellationCallback* callback : std::exchange(all_, {})) (*callback)();
  }

  bool add(CancellationCallback& callback) override {
    if (requested()) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (requested()) return false;
    all_.push_back(&callback);
    return true;
  }

  void remove(CancellationCallback& callback) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    all_.erase(std::remove(all_.begin(), all_.end(), &callback), all_.end());
  }

 private:
  std::mutex mutex_;  ///< held while one is called
  std::vector<CancellationCallback*> all_;
};

std::shared_ptr<CancellationState> CancellationState::make() {
  return std::make_shared<CancellationCallbacks>();
}

}  // namespace zax
