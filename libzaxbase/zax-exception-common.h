#ifndef ZAX_EXCEPTION_COMMON_H
#define ZAX_EXCEPTION_COMMON_H

#include <string>

#include "zax-exception-errno.h"

namespace zax {

/// A JavaScript call brought the wrong number of arguments. Code: "EBADARG".
class BadArgumentNumber : public ErrnoException {
 public:
  BadArgumentNumber(const MessageBuffer& message, const DebugInfo& debugInfo);

  /// Reports its own construction as the raising place, whatever `debugInfo` says: every wrong
  /// count is one and the same error to whoever looks for it.
  BadArgumentNumber(unsigned long want, unsigned long got, const DebugInfo& debugInfo);
};

/// A device could not be opened. Code: "ENODEV".
class DeviceOpenFailed : public ErrnoException {
 public:
  DeviceOpenFailed(const std::string& name, const DebugInfo& debugInfo);

  /// `err` is a system error number; when it is greater than 0 the message ends with its text.
  DeviceOpenFailed(const std::string& name, int err, const DebugInfo& debugInfo);
};

}  // namespace zax

#endif
