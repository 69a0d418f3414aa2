#ifndef ZAX_ERROR_INFO_H
#define ZAX_ERROR_INFO_H

#include <exception>
#include <string>

#include "zax-debug.h"
#include "zax-errno.h"
#include "zax-error-code.h"
#include "zax-message-buffer.h"

namespace zax {

/// The one record of an error, whatever raised it: code, message, raising place and the name of
/// the exception's class. A plain value of about 5 KB that one thread at a time owns; all texts
/// are inline, so it can be filled on a worker thread and read on another.
class ErrorInfo {
 public:
  /// A record without an error.
  ErrorInfo() = default;

  ErrorInfo(const ErrorInfo& other) = default;
  ErrorInfo& operator=(const ErrorInfo& other) = default;

  /// Each constructor is the default record followed by the `assign` of the same arguments.
  ErrorInfo(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& debugInfo,
            const std::string& exceptionClass);
  ErrorInfo(Errno number, const MessageBuffer& message, const DebugInfo& debugInfo,
            const std::string& exceptionClass);
  explicit ErrorInfo(const std::exception& e);

  /// Copies everything. Assigning a record, or any part of it, to itself changes nothing.
  void assign(const ErrorInfo& other) { *this = other; }

  /// `exceptionClass` is cut after 63 characters.
  void assign(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& debugInfo,
              const std::string& exceptionClass);
  void assign(Errno number, const MessageBuffer& message, const DebugInfo& debugInfo,
              const std::string& exceptionClass);

  /// Takes over a zax::Exception's code, message and place. Any other exception becomes "EUNKNOWN"
  /// with its what() as the message, located at this conversion. The exception class is the
  /// demangled name of the dynamic type.
  void assign(const std::exception& e);

  /// Makes this the default record again.
  void clear();

  /// Writes the record as one line to standard output and flushes it.
  void dump() const;
  static void dump(const std::exception& e);

  // What is returned stays valid, and follows the record, as long as the record lives.
  const ErrorCode& error() const noexcept { return code_; }
  const MessageBuffer& message() const noexcept { return message_; }
  const DebugInfo& where() const noexcept { return debugInfo_; }
  const char* exceptionClass() const noexcept { return exceptionClass_.c_str(); }

  /// Whether an error is recorded: whether it has a place.
  bool hasError() const noexcept { return debugInfo_.file != nullptr; }

 private:
  ErrorCode code_;
  MessageBuffer message_;
  DebugInfo debugInfo_;
  InlineText<64> exceptionClass_;
};

}  // namespace zax

#endif
