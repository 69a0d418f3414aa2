#include "zax-exception-common.h"

#include <cerrno>
#include <cstring>

namespace zax {

BadArgumentNumber::BadArgumentNumber(const MessageBuffer& message, const DebugInfo& debugInfo)
    : ErrnoException(EBADARG, message, debugInfo) {}

BadArgumentNumber::BadArgumentNumber(unsigned long want, unsigned long got, const DebugInfo&)
    : ErrnoException(
          EBADARG,
          __("Bad argument number: expected %(want)s, but got %(got)s", "want", want, "got", got),
          ZAX_DEBUG_INFO) {}

DeviceOpenFailed::DeviceOpenFailed(const std::string& name, const DebugInfo& debugInfo)
    : ErrnoException(Errno(ENODEV), __("Failed to open device %(name)s", "name", name), debugInfo) {
}

DeviceOpenFailed::DeviceOpenFailed(const std::string& name, int err, const DebugInfo& debugInfo)
    : ErrnoException(Errno(ENODEV),
                     __("Failed to open device %(name)s: error %(err)s", "name", name, "err",
                        err > 0 ? std::strerror(err) : ""),
                     debugInfo) {}

}  // namespace zax
