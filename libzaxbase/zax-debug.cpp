#include "zax-debug.h"

#include <cxxabi.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#if __has_include(<execinfo.h>)
#include <execinfo.h>
#endif

namespace zax {

debug_ostream dcout;
TerminateHandler g_terminateHandler;

// The handler that was in force before this library was loaded.
std::terminate_handler g_oldTerminateHandler = std::set_terminate(TerminateHandler::onTerminate);

namespace {

struct Free {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

#if !__has_include(<execinfo.h>)
// A C library that knows no call stacks, such as musl: all of them are empty.
int backtrace(void**, int) { return 0; }
char** backtrace_symbols(void* const*, int) { return nullptr; }
#endif

}  // namespace

// Kept out of line: the first two frames, which are skipped, are this function and its caller.
__attribute__((noinline)) void CallStack::collect() noexcept {
  constexpr int maxFrames = 30;
  constexpr int skippedFrames = 2;
  items_.clear();
  void* addresses[maxFrames];
  const int count = backtrace(addresses, maxFrames);
  if (count <= skippedFrames) return;
  const std::unique_ptr<char*, Free> lines(backtrace_symbols(addresses, count));
  for (int i = skippedFrames; i < count; ++i) {
    Item& item = items_.emplace_back();
    item.file = "???";
    if (i > skippedFrames) item.function = " -> ";
    if (lines) item.function += lines.get()[i];
  }
}

void CallStack::dump() const noexcept {
  for (const Item& item : items_) {
    // A line in one piece: Node does not buffer standard output, and a pipe that does not block
    // takes only so many pieces.
    std::ostringstream line;
    line.copyfmt(std::cout);
    line << "[0x" << std::setfill('0') << std::setw(16) << item.address << " + 0x" << std::setw(8)
         << item.offset << "] " << item.function << " (" << item.file << ")\n";
    std::cout << std::setfill('0') << line.str() << std::flush;
  }
}

DebugInfo::DebugInfo(const char* sourceFile, int sourceLine, const char* sourceFunction,
                     int systemCode, const char* systemDescription,
                     const char* systemMessage) noexcept
    : file(sourceFile), line(sourceLine), function(sourceFunction), syscode(systemCode) {
  sysdesc.assign(systemDescription);
  sysmsg.assign(systemMessage);
}

DebugInfo::DebugInfo(const DebugInfo& other) = default;
DebugInfo& DebugInfo::operator=(const DebugInfo& other) = default;
DebugInfo::~DebugInfo() = default;

void cxxDemangle(char* dst, std::size_t size, const char* mangled) noexcept {
  int status = 0;
  const std::unique_ptr<char, Free> name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status));
  std::snprintf(dst, size, "%s", status == 0 && name ? name.get() : mangled);
}

void cxxDemangle(std::string& out, const std::string& mangled) {
  char name[1024];
  cxxDemangle(name, sizeof(name), mangled.c_str());
  out = name;
}

std::ostream& debug_ostream::begin_line() {
  using namespace std::chrono;
  const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  const std::time_t seconds = now / 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  const char fill = std::cout.fill();
  std::cout << std::flush << "[" << std::setfill('0') << std::setw(2) << local.tm_hour << ":"
            << std::setw(2) << local.tm_min << ":" << std::setw(2) << local.tm_sec << "."
            << std::setw(3) << now % 1000 << std::setfill(fill) << "] ";
  return std::cout;
}

void TerminateHandler::onTerminate() {
  CallStack callstack;
  callstack.collect();
  std::puts("Unhanlded exception, dumping callstack:");
  callstack.dump();
  std::puts("(End of callstack)");
  std::puts("Aborting...");
  std::fflush(stdout);
  usleep(50000);
  g_oldTerminateHandler();
}

}  // namespace zax
