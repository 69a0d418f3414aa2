#include "zax-error-code.h"

#include <cstdio>
#include <cstring>

namespace zax {

void ErrorCode::assign(const char* code) noexcept {
  const std::size_t length = code ? strnlen(code, sizeof(text_) - 1) : 0;
  if (length > 0) std::memmove(text_, code, length);
  std::memset(text_ + length, 0, sizeof(text_) - length);
}

void ErrorCode::assign(const char* prefix, const char* code) noexcept {
  char joined[sizeof(text_)];
  std::snprintf(joined, sizeof(joined), "%s-%s", prefix ? prefix : "", code ? code : "");
  assign(joined);
}

}  // namespace zax
