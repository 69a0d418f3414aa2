#ifndef ZAX_DEBUG_H
#define ZAX_DEBUG_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <list>
#include <string>

namespace zax {

/// A bounded text held inline: N bytes, so at most N - 1 characters; a longer text is cut.
/// A plain value; nothing throws.
template <std::size_t N>
class InlineText {
 public:
  /// Stores a text; null stores the empty text. The text may be part of this one.
  void assign(const char* text) noexcept {
    length_ = text ? strnlen(text, N - 1) : 0;
    if (length_ > 0) std::memmove(text_, text, length_);
    std::memset(text_ + length_, 0, N - length_);
  }

  const char* c_str() const noexcept { return text_; }
  std::size_t length() const noexcept { return length_; }
  bool empty() const noexcept { return length_ == 0; }

 private:
  std::size_t length_ = 0;
  char text_[N] = {};
};

/// A list of stack frames, the innermost caller first. A plain value for one thread at a time.
class CallStack {
 public:
  struct Item {
    std::string file;
    std::string function;
    std::uint64_t offset = 0;
    std::uint64_t address = 0;
    std::string extra;  ///< carried along for whoever fills it; shown nowhere
  };

  /// Replaces the list by the calling thread's frames, at most 28, without `collect` itself and
  /// its caller. Frames are the unparsed lines of `backtrace_symbols`; there are none where
  /// the C library lacks it. Allocates for each frame; running out of memory ends the process.
  void collect() noexcept;

  /// Writes one line a frame to standard output, numbers in the stream's current base; the
  /// stream's fill character stays "0" afterwards.
  void dump() const noexcept;

  std::list<Item>& items() noexcept { return items_; }
  const std::list<Item>& items() const noexcept { return items_; }

 private:
  std::list<Item> items_;
};

/// Where an error was raised, with room for a system error. Raising places make one with
/// ZAX_DEBUG_INFO, which allocates nothing. A plain value for one thread at a time.
struct DebugInfo {
  /// No place: null file and function, line -1, no system error.
  DebugInfo() noexcept = default;

  /// `file` and `function` must be static texts: only the pointers are kept. A `syscode` below 0
  /// and null or empty texts mean that there is no system error to show.
  DebugInfo(const char* file, int line, const char* function, int syscode, const char* sysdesc,
            const char* sysmsg) noexcept;

  // Out of line: every place that raises an error makes some of these.
  [[gnu::cold]] DebugInfo(const DebugInfo& other);
  [[gnu::cold]] DebugInfo& operator=(const DebugInfo& other);
  [[gnu::cold]] ~DebugInfo();

  /// Copies every field, the call stack item by item. Assigning to itself changes nothing.
  void assign(const DebugInfo& other) { *this = other; }

  const char* file = nullptr;
  std::int32_t line = -1;
  const char* function = nullptr;
  CallStack callstack;
  std::int32_t syscode = -1;
  InlineText<128> sysdesc;
  InlineText<128> sysmsg;
};

/// Writes the demangled form of `mangled` to `dst`, at most `size` bytes with the terminator. What
/// is no mangled name is written as it is. With size 0 nothing is written. Any thread.
void cxxDemangle(char* dst, std::size_t size, const char* mangled) noexcept;

/// The same into a string, at most 1023 characters; both arguments may be the same string.
void cxxDemangle(std::string& out, const std::string& mangled);

/// Standard output with lines that begin with the wall-clock time. Writes are not serialised
/// between threads.
class debug_ostream {
 public:
  /// Writes "[hh:mm:ss.mmm] " in local time and returns std::cout for the rest of the line.
  std::ostream& begin_line();
};

extern debug_ostream dcout;

/// Reports the call stack on standard output when an exception escapes everything, then passes on
/// to the handler that was installed before. Installed when the add-on is loaded.
class TerminateHandler {
 public:
  /// Runs on the thread that called std::terminate.
  static void onTerminate();
};

extern TerminateHandler g_terminateHandler;

}  // namespace zax

/// The place where it stands: file, line and function, without a system error.
#define ZAX_DEBUG_INFO (::zax::DebugInfo(__FILE__, __LINE__, __func__, -1, nullptr, nullptr))

#endif
