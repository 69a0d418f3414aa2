#include "zax-error-info.h"

#include <iostream>
#include <typeinfo>

#include "zax-exception.h"

namespace zax {

namespace {

const char* orEmpty(const char* text) { return text ? text : ""; }

}  // namespace

ErrorInfo::ErrorInfo(const ErrorCode& code, const MessageBuffer& message,
                     const DebugInfo& debugInfo, const std::string& exceptionClass)
    : code_(code), message_(message), debugInfo_(debugInfo) {
  exceptionClass_.assign(exceptionClass.c_str());
}

ErrorInfo::ErrorInfo(Errno number, const MessageBuffer& message, const DebugInfo& debugInfo,
                     const std::string& exceptionClass)
    : ErrorInfo(ErrorCode(zaxErrnoToString(number)), message, debugInfo, exceptionClass) {}

ErrorInfo::ErrorInfo(const std::exception& e) { assign(e); }

void ErrorInfo::assign(const ErrorCode& code, const MessageBuffer& message,
                       const DebugInfo& debugInfo, const std::string& exceptionClass) {
  code_ = code;
  message_ = message;
  debugInfo_ = debugInfo;
  exceptionClass_.assign(exceptionClass.c_str());
}

void ErrorInfo::assign(Errno number, const MessageBuffer& message, const DebugInfo& debugInfo,
                       const std::string& exceptionClass) {
  assign(ErrorCode(zaxErrnoToString(number)), message, debugInfo, exceptionClass);
}

void ErrorInfo::assign(const std::exception& e) {
  if (const auto* exception = dynamic_cast<const Exception*>(&e)) {
    code_ = exception->error();
    message_ = exception->message();
    debugInfo_ = exception->where();
  } else {
    // Filled in place: a copy would lose the flag of a text that does not fit.
    code_.assign(zaxErrnoToString(EUNKNOWN));
    message_.clear();
    message_.setFormat("%(what)s");
    message_.push("what", e.what());
    debugInfo_ = ZAX_DEBUG_INFO;
  }
  const char* mangled = typeid(e).name();
  if (*mangled == '*') ++mangled;
  char name[64];
  cxxDemangle(name, sizeof(name), mangled);
  exceptionClass_.assign(name);
}

void ErrorInfo::clear() {
  code_ = ErrorCode();
  message_.clear();
  debugInfo_ = DebugInfo();
  exceptionClass_.assign("");
}

void ErrorInfo::dump() const {
  std::cout << "Error: " << code_.c_str() << ", message: " << message_.substitute() << " at "
            << orEmpty(debugInfo_.file) << "(" << std::to_string(debugInfo_.line) << ") in "
            << orEmpty(debugInfo_.function) << "(), exception: '" << exceptionClass() << "'"
            << std::endl;
}

void ErrorInfo::dump(const std::exception& e) { ErrorInfo(e).dump(); }

}  // namespace zax
