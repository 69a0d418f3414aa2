#include "zax-exception.h"

#include "zax-error-info.h"

namespace zax {

Exception::Exception(const ErrorInfo& info)
    : code_(info.error()), message_(info.message()), debugInfo_(info.where()) {}

}  // namespace zax
