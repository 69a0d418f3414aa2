#ifndef ZAX_EXCEPTION_ERRNO_H
#define ZAX_EXCEPTION_ERRNO_H

#include "zax-errno.h"
#include "zax-exception.h"

namespace zax {

/// An exception whose code is the name of an error number.
class ErrnoException : public Exception {
 public:
  /// Code: the name of the calling thread's current `errno`.
  ErrnoException(const MessageBuffer& message, const DebugInfo& debugInfo);

  ErrnoException(Errno number, const MessageBuffer& message, const DebugInfo& debugInfo);

  /// Code: `prefix` "-" the name of the calling thread's current `errno`, as in "open-ENOENT".
  ErrnoException(const char* prefix, const MessageBuffer& message, const DebugInfo& debugInfo);
};

/// An exception of one fixed error number, so that the number shows in the class name.
template <Errno N>
class ErrnoGenericException : public ErrnoException {
 public:
  ErrnoGenericException(const MessageBuffer& message, const DebugInfo& debugInfo)
      : ErrnoException(N, message, debugInfo) {}

  /// An exception with the empty message.
  explicit ErrnoGenericException(const DebugInfo& debugInfo)
      : ErrnoException(N, __(""), debugInfo) {}
};

}  // namespace zax

#endif
