#include "zax-exception-errno.h"

#include <cerrno>

namespace zax {

ErrnoException::ErrnoException(const MessageBuffer& message, const DebugInfo& debugInfo)
    : Exception(message, debugInfo) {
  code_.assign(stdErrnoToString(errno));
}

ErrnoException::ErrnoException(Errno number, const MessageBuffer& message,
                               const DebugInfo& debugInfo)
    : Exception(message, debugInfo) {
  code_.assign(zaxErrnoToString(number));
}

ErrnoException::ErrnoException(const char* prefix, const MessageBuffer& message,
                               const DebugInfo& debugInfo)
    : Exception(message, debugInfo) {
  code_.assign(prefix, stdErrnoToString(errno));
}

}  // namespace zax
