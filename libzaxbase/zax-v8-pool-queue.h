#ifndef ZAX_V8_POOL_QUEUE_H
#define ZAX_V8_POOL_QUEUE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

#include "zax-base.h"

namespace zax {

class PoolWork;

/// The work of one loop on its way to the threads of the pool, first come, first served. A thread
/// that has done some may stay a moment for more, because to go to sleep and be woken takes longer
/// than most pauses between two pieces of work. Any thread, but for what says otherwise.
class PoolQueue : public NonCopyable {
 public:
  using Clock = std::chrono::steady_clock;
  using Number = std::uint64_t;

  /// JavaScript thread: gives work to the thread that stays; false where none does.
  bool give(PoolWork* work);

  /// Adds work, which gets a number above 0. True where a thread must be brought for it: as many
  /// are always on their way as there is work here, or more.
  bool push(PoolWork* work, Number* number);

  /// Takes work out; false where a thread has taken it.
  bool remove(Number number);

  /// The next work; null where there is none. `arrives`: for a thread that has been brought.
  PoolWork* pop(bool arrives);

  /// Stays until some is given; null where none has come by then, or another thread stays.
  PoolWork* stay(Clock::time_point until);

 private:
  /// What no work's address is.
  PoolWork* somebody() { return reinterpret_cast<PoolWork*>(this); }

  std::mutex mutex_;
  std::deque<PoolWork*> works_;  ///< those that were taken out are null
  Number first_ = 1;             ///< the number of the first of them
  std::size_t count_ = 0;        ///< of those that are not null
  std::size_t coming_ = 0;       ///< threads on their way
  /// Work that is given, or `somebody` for the thread that stays; alone on its line of the cache.
  alignas(64) std::atomic<PoolWork*> given_{nullptr};
};

}  // namespace zax

#endif
