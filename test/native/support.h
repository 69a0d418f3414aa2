#ifndef TEST_NATIVE_SUPPORT_H
#define TEST_NATIVE_SUPPORT_H

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "zax-debug.h"
#include "zax-message-buffer.h"

/// Catches what is written to std::cout; at its end the stream is as it was, its format too.
class CoutRecorder : public std::stringbuf {
 public:
  CoutRecorder() {
    former_.copyfmt(std::cout);
    std::cout.rdbuf(this);
  }
  ~CoutRecorder() override {
    std::cout.rdbuf(former_.rdbuf());
    std::cout.copyfmt(former_);
  }

  std::string flushed;  ///< what stood there at the last flush

 private:
  int sync() override { return flushed = str(), 0; }

  std::ios former_{std::cout.rdbuf()};
};

/// What a function writes to standard error.
template <typename Function>
std::string stderrOf(Function function) {
  testing::internal::CaptureStderr();
  function();
  return testing::internal::GetCapturedStderr();
}

// Whole values as one text, so that a test compares every field at once.

inline std::string orNull(const char* text) { return text ? text : "(null)"; }

inline std::string describe(const zax::MessageBuffer& message) {
  std::ostringstream text;
  text << orNull(message.format);
  for (unsigned long i = 0; i < message.count; ++i) {
    const auto& [key, value, type] = message.args[i];
    text << " " << orNull(key) << "=" << orNull(value) << ":" << type;
  }
  text << (message.overflow ? " overflow" : "");
  return text.str();
}

inline std::string describe(const zax::DebugInfo& info) {
  std::ostringstream text;
  text << orNull(info.file) << ":" << info.line << ":" << orNull(info.function) << " <";
  for (const auto& [file, function, offset, address, extra] : info.callstack.items()) {
    text << file << "," << function << "," << offset << "," << address << "," << extra << ";";
  }
  text << "> " << info.syscode << " " << info.sysdesc.c_str() << "/" << info.sysmsg.c_str();
  return text.str();
}

#endif
