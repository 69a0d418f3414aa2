#include "zax-cancellation.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

namespace zax {

Cancelled::Cancelled()
    : ErrnoException(Errno(ECANCELED), __("The task was cancelled"), DebugInfo()) {}

struct CancellationState::Callbacks {
  std::mutex mutex;  ///< held while one is called
  std::vector<CancellationCallback*> all;
};

CancellationState::CancellationState() : callbacks_(std::make_shared<Callbacks>()) {}

void CancellationState::request() {
  requested_ = true;
  const std::lock_guard<std::mutex> lock(callbacks_->mutex);
  for (const CancellationCallback* callback : std::exchange(callbacks_->all, {})) {
    callback->call_(callback->function_.get());
  }
}

bool CancellationState::add(CancellationCallback& callback) {
  if (requested()) return false;
  const std::lock_guard<std::mutex> lock(callbacks_->mutex);
  if (requested()) return false;
  callbacks_->all.push_back(&callback);
  return true;
}

void CancellationState::remove(CancellationCallback& callback) {
  const std::lock_guard<std::mutex> lock(callbacks_->mutex);
  auto& all = callbacks_->all;
  all.erase(std::remove(all.begin(), all.end(), &callback), all.end());
}

}  // namespace zax
