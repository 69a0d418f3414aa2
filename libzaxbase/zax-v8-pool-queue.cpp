#include "zax-v8-pool-queue.h"

namespace zax {

bool PoolQueue::give(PoolWork* work) {
  PoolWork* expected = somebody();
  return given_.load(std::memory_order_relaxed) == expected &&
         given_.compare_exchange_strong(expected, work);
}

bool PoolQueue::push(PoolWork* work, Number* number) {
  const std::lock_guard<std::mutex> lock(mutex_);
  *number = first_ + works_.size();
  works_.push_back(work);
  if (++count_ <= coming_) return false;
  ++coming_;
  return true;
}

bool PoolQueue::remove(Number number) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (number < first_) return false;
  works_[number - first_] = nullptr;
  --count_;
  return true;
}

PoolWork* PoolQueue::pop(bool arrives) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (arrives) --coming_;
  PoolWork* work = nullptr;
  while (!work && !works_.empty()) {
    work = works_.front();
    works_.pop_front();
    ++first_;
  }
  if (work) --count_;
  return work;
}

PoolWork* PoolQueue::stay(Clock::time_point until) {
  PoolWork* expected = nullptr;
  if (!given_.compare_exchange_strong(expected, somebody())) return nullptr;
  while (given_ == somebody() && Clock::now() < until) continue;
  PoolWork* given = given_.exchange(nullptr);
  return given == somebody() ? nullptr : given;
}

}  // namespace zax
