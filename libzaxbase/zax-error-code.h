#ifndef ZAX_ERROR_CODE_H
#define ZAX_ERROR_CODE_H

#include <string>

namespace zax {

/// The short text that identifies an error, such as "EBADARG": at most 63 characters, held inline;
/// a longer one is cut. An empty text means no code. A plain value, copied freely; nothing throws.
class ErrorCode {
 public:
  ErrorCode() noexcept = default;

  /// The given text; null gives the empty code.
  ErrorCode(const char* code) noexcept { assign(code); }
  ErrorCode(const std::string& code) noexcept { assign(code.c_str()); }

  /// `prefix` "-" `code`, as in "open-ENOENT"; a null counts as the empty text.
  ErrorCode(const char* prefix, const char* code) noexcept { assign(prefix, code); }

  /// As the constructors. The text may be this code's own.
  void assign(const char* code) noexcept;
  void assign(const char* prefix, const char* code) noexcept;
  void assign(const ErrorCode& other) noexcept { *this = other; }

  /// The text, valid as long as this object lives unchanged.
  const char* c_str() const noexcept { return text_; }

 private:
  char text_[64] = {};
};

}  // namespace zax

#endif
