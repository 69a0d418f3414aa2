#include "zax-cancellation.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace zax {

Cancelled::Cancelled()
    : ErrnoException(Errno(ECANCELED), __("The task was cancelled"), DebugInfo()) {}

void CancellationState::request() {
  requested_ = true;
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const CancellationCallback* callback : std::exchange(callbacks_, {})) callback->call_();
}

bool CancellationState::add(CancellationCallback& callback) {
  if (requested()) return false;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (requested()) return false;
  callbacks_.push_back(&callback);
  return true;
}

void CancellationState::remove(CancellationCallback& callback) {
  const std::lock_guard<std::mutex> lock(mutex_);
  callbacks_.erase(std::remove(callbacks_.begin(), callbacks_.end(), &callback), callbacks_.end());
}

}  // namespace zax
