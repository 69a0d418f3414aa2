#include "zax-debug.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iomanip>

#include "support.h"

using zax::CallStack;
using zax::DebugInfo;

static const timespec* stoppedClock = nullptr;

// Takes the place of the C library's, which std::chrono::system_clock asks for the time.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
  if (!stoppedClock) return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  *now = *stoppedClock;
  return 0;
}

namespace {

TEST(DebugInfo, KeepsAndCopiesItsPlace) {
  const DebugInfo here = ZAX_DEBUG_INFO;
  EXPECT_EQ(describe(here), describe({__FILE__, __LINE__ - 1, __func__, -1, nullptr, nullptr}));
  EXPECT_EQ(describe(DebugInfo()), "(null):-1:(null) <> -1 /");

  DebugInfo source("f", 12, "g", 5, std::string(200, 'd').c_str(), "msg");
  source.callstack.items() = {{"a", "b", 1, 2, "x"}, {"c", "d", 3, 4, "y"}};
  DebugInfo assigned("other", 1, "former", 9, "former", "a longer message");
  assigned.callstack.items() = {{"former", "former", 7, 8, "former"}};
  assigned.assign(source);
  source.assign(source);
  for (const DebugInfo& copy : {source, DebugInfo(source), assigned}) {
    EXPECT_EQ(describe(copy), "f:12:g <a,b,1,2,x;c,d,3,4,y;> 5 " + std::string(127, 'd') + "/msg");
  }
}

__attribute__((noinline)) void collectBelow(int depth, CallStack& stack) {
  depth > 0 ? collectBelow(depth - 1, stack) : stack.collect();
  asm volatile("");  // work left after the call, so that the frame is not optimised away
}

TEST(CallStack, CollectsTheFramesAboveItsCaller) {
  CallStack stack;
  stack.items() = {{"former", "former", 1, 2, ""}};
  collectBelow(40, stack);
  EXPECT_EQ(stack.items().size(), 28u);
  std::string::size_type arrow = std::string::npos;  // where one stands: not before the first frame
  for (const auto& [file, function, offset, address, extra] : stack.items()) {
    EXPECT_EQ(file, "???");
    EXPECT_EQ(function.find(" -> "), std::exchange(arrow, 0)) << function;
    EXPECT_NE(function.find(" [0x"), std::string::npos) << function;
    EXPECT_TRUE(offset == 0 && address == 0 && extra.empty());
  }
}

TEST(CallStack, DumpsOneFlushedLineAFrame) {
  CallStack stack;
  CoutRecorder out;
  std::cout << std::setfill('*');
  stack.items() = {{"file", "main", 0, 0, "hidden"}, {"file", " -> f", 31, 255, ""}};
  stack.dump();
  std::cout << std::hex;
  stack.dump();
  const std::string first = "[0x0000000000000000 + 0x00000000] main (file)\n";
  EXPECT_EQ(out.flushed, first + "[0x0000000000000255 + 0x00000031]  -> f (file)\n" + first +
                             "[0x00000000000000ff + 0x0000001f]  -> f (file)\n");
  EXPECT_EQ(std::cout.fill(), '0');
}

TEST(DebugOstream, BeginsLinesWithTheLocalTime) {
  setenv("TZ", "TEST-3", 1);  // three hours ahead of UTC
  tzset();
  const timespec time = {(6 * 60 + 5) * 60 + 3, 42999999};
  CoutRecorder out;
  std::cout << std::setfill('*') << "before";
  stoppedClock = &time;
  EXPECT_EQ(&zax::dcout.begin_line(), &std::cout);
  stoppedClock = nullptr;
  EXPECT_EQ(out.flushed, "before");
  EXPECT_EQ(out.str(), "before[09:05:03.042] ");
  EXPECT_EQ(std::cout.fill(), '*');
  unsetenv("TZ");
}

void terminate() {
  dup2(STDERR_FILENO, STDOUT_FILENO);  // where the report is looked for
  std::terminate();
}

// What the report shows is in test/exits; Node does not buffer, as this program does.
TEST(TerminateHandlerDeathTest, FlushesItsReport) {
  EXPECT_EXIT(terminate(), testing::KilledBySignal(SIGABRT), "Aborting\\.\\.\\.\nterminate called");
}

}  // namespace
