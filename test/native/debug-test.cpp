#include "zax-debug.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iomanip>
#include <stdexcept>
#include <tuple>

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

TEST(InlineText, HoldsAtMostItsCapacity) {
  zax::InlineText<8> text;
  text.assign("abcdefghi");
  EXPECT_STREQ(text.c_str(), "abcdefg");
  EXPECT_EQ(text.length(), 7u);
  text.assign(text.c_str() + 2);
  EXPECT_EQ(std::string(text.c_str(), 8), std::string("cdefg\0\0", 8));
  EXPECT_EQ(text.length(), 5u);
  text.assign(nullptr);
  EXPECT_TRUE(text.empty());
  EXPECT_STREQ(text.c_str(), "");
}

TEST(DebugInfo, KeepsAndCopiesItsPlace) {
  const DebugInfo here = ZAX_DEBUG_INFO;
  EXPECT_EQ(describe(here), describe({__FILE__, __LINE__ - 1, __func__, -1, nullptr, nullptr}));
  EXPECT_EQ(describe(DebugInfo()), "(null):-1:(null) <> -1 /");

  DebugInfo source("f", 12, "g", 5, std::string(200, 'd').c_str(), "msg");
  source.callstack.items() = {{"a", "b", 1, 2, "x"}, {"c", "d", 3, 4, "y"}, {"e", "", 5, 6, "z"}};
  DebugInfo assigned("other", 1, "former", 9, "former", "a longer message");
  assigned.callstack.items() = {{"former", "former", 7, 8, "former"}};
  assigned.assign(source);
  source.assign(source);
  for (const DebugInfo& copy : {source, DebugInfo(source), assigned}) {
    EXPECT_EQ(describe(copy),
              "f:12:g <a,b,1,2,x;c,d,3,4,y;e,,5,6,z;> 5 " + std::string(127, 'd') + "/msg");
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
  bool first = true;
  for (const auto& [file, function, offset, address, extra] : stack.items()) {
    EXPECT_EQ(file, "???");
    EXPECT_EQ(function.find(" -> "), first ? std::string::npos : 0) << function;
    EXPECT_NE(function.find(" [0x"), std::string::npos) << function;
    EXPECT_TRUE(offset == 0 && address == 0 && extra.empty());
    first = false;
  }
}

TEST(CallStack, DumpsOneFlushedLineAFrame) {
  CallStack stack;
  CoutRecorder out;
  std::cout << std::setfill('*');
  stack.dump();
  EXPECT_EQ(out.str(), "");
  stack.items() = {{"file", "main", 0, 0, "hidden"}, {"file", " -> f", 31, 255, ""}};
  stack.dump();
  std::cout << std::hex;
  stack.items().pop_front();
  stack.dump();
  EXPECT_EQ(out.flushed,
            "[0x0000000000000000 + 0x00000000] main (file)\n"
            "[0x0000000000000255 + 0x00000031]  -> f (file)\n"
            "[0x00000000000000ff + 0x0000001f]  -> f (file)\n");
  EXPECT_EQ(std::cout.fill(), '0');
}

TEST(CxxDemangle, WritesAtMostTheGivenSize) {
  const std::tuple<std::size_t, const char*, const char*> cases[] = {
      {11, "_ZN3foo3barEv", "foo::bar()"},
      {10, "_ZN3foo3barEv", "foo::bar("},
      {4, "_ZN3foo3barEv", "foo"},
      {0, "_ZN3foo3barEv", "################"},
      {16, "main", "main"},
      {3, "main", "ma"},
      {16, "_ZN3foo", "_ZN3foo"},
      {16, "%s%n", "%s%n"}};
  for (const auto& [size, mangled, written] : cases) {
    char buffer[] = "################";
    zax::cxxDemangle(buffer, size, mangled);
    EXPECT_STREQ(buffer, written);
    EXPECT_EQ(std::string(buffer + size), std::string(16 - size, '#')) << written;
  }
  std::string name = "_ZN3foo3barEv";
  zax::cxxDemangle(name, name);
  EXPECT_EQ(name, "foo::bar()");
  zax::cxxDemangle(name, std::string(1100, 'x'));
  EXPECT_EQ(name, std::string(1023, 'x'));
}

TEST(DebugOstream, BeginsLinesWithTheLocalTime) {
  setenv("TZ", "TEST-3", 1);  // three hours ahead of UTC
  tzset();
  const std::pair<timespec, const char*> cases[] = {
      {{(6 * 60 + 5) * 60 + 3, 42000000}, "before[09:05:03.042] "},
      {{(20 * 60 + 59) * 60 + 59, 999999999}, "before[23:59:59.999] "}};
  for (const auto& [time, line] : cases) {
    CoutRecorder out;
    std::cout << std::setfill('*') << "before";
    stoppedClock = &time;
    EXPECT_EQ(&zax::dcout.begin_line(), &std::cout);
    stoppedClock = nullptr;
    EXPECT_EQ(out.flushed, "before");
    EXPECT_EQ(out.str(), line);
    EXPECT_EQ(std::cout.fill(), '*');
  }
  unsetenv("TZ");
  tzset();
}

void throwError() { throw std::runtime_error("escaped"); }

void letEscape() noexcept {
  dup2(STDERR_FILENO, STDOUT_FILENO);  // where the report is looked for
  throwError();
}

TEST(TerminateHandlerDeathTest, ReportsTheCallStackAndPassesOn) {
  EXPECT_EQ(std::get_terminate(), zax::TerminateHandler::onTerminate);
  EXPECT_EXIT(letEscape(), testing::KilledBySignal(SIGABRT),
              "^Unhanlded exception, dumping callstack:\n"
              "\\[0x0{16} \\+ 0x0{8}\\] [^ \n][^\n]* \\(\\?\\?\\?\\)\n"
              "(\\[0x0{16} \\+ 0x0{8}\\]  -> [^\n]+ \\(\\?\\?\\?\\)\n)+"
              "\\(End of callstack\\)\nAborting\\.\\.\\.\n"
              "terminate called after throwing an instance of 'std::runtime_error'\n");
}

}  // namespace
