#ifndef ZAX_EXCEPTION_H
#define ZAX_EXCEPTION_H

#include <exception>

#include "zax-debug.h"
#include "zax-error-code.h"
#include "zax-message-buffer.h"

namespace zax {

class ErrorInfo;

/// Base of every failure that native code reports: a code, a message with named arguments and the
/// raising place. Thrown and caught on one thread. Catch it by reference: a copy is about 5 KB.
/// Constructing one allocates nothing, but for the copy of a call stack that is not empty.
class Exception : public std::exception {
 public:
  Exception(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& debugInfo)
      : code_(code), message_(message), debugInfo_(debugInfo) {}

  /// Copies the record's code, message and place; its exception class is not kept.
  explicit Exception(const ErrorInfo& info);

  /// An exception with the empty code.
  Exception(const MessageBuffer& message, const DebugInfo& debugInfo)
      : message_(message), debugInfo_(debugInfo) {}

  ~Exception() override = default;

  /// The format of the message as it stands, placeholders included; never null.
  const char* what() const noexcept override { return message_.format ? message_.format : ""; }

  virtual const ErrorCode& error() const { return code_; }
  virtual const MessageBuffer& message() const { return message_; }
  virtual const DebugInfo& where() const { return debugInfo_; }

 protected:
  ErrorCode code_;

 private:
  MessageBuffer message_;
  DebugInfo debugInfo_;
};

}  // namespace zax

#endif
