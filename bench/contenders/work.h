#ifndef BENCH_WORK_H
#define BENCH_WORK_H

#include <ctime>
#include <string>

// What is the same in every contender: the texts of the failures and what a job posts.

namespace bench {

constexpr const char* failureCode = "BENCH-FAILED";

inline std::string failureMessage(int number, const std::string& text) {
  return "cannot take number " + std::to_string(number) + " with text " + text;
}

inline std::string workMessage(const std::string& text) { return "cannot work on " + text; }

/// Where an error was raised.
struct Place {
  const char* file;
  const char* function;
  int line;
};

/// What a job posts: the numbers from 0 on, as fast as it can; or, with a pause of so many
/// microseconds before each, the time in nanoseconds on the clock that process.hrtime reads.
struct Feed {
  int count;
  int microseconds;

  template <typename Post>
  void run(const Post& post) const {
    timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (int i = 0; i < count; ++i) {
      post(std::to_string(microseconds == 0 ? i : waitUntil(next)));
    }
  }

 private:
  long waitUntil(timespec& next) const {
    next.tv_nsec += microseconds * 1000L;
    next.tv_sec += next.tv_nsec / second;
    next.tv_nsec %= second;
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * second + now.tv_nsec;
  }

  static constexpr long second = 1000000000;
};

}  // namespace bench

#endif
