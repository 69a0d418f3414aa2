#ifndef ZAX_CONVERSION_ERROR_H
#define ZAX_CONVERSION_ERROR_H

#include <cstddef>
#include <string>

#include "zax-exception-errno.h"

namespace zax {

class Handle;

/// A value that has no counterpart on the other side. On its way out every container that it was in
/// adds where, so that the caller reads `argument 2 (points)[3].x`. JavaScript thread, or the
/// thread of a task.
class ConversionError : public ErrnoException {
 public:
  /// `problem` says what is wrong with the value, as in "number expected, got undefined".
  ConversionError(Errno code, const std::string& problem);

  /// The value was element `index` of an array, or the member `name` of an object.
  void inElement(std::size_t index);
  void inMember(const std::string& name);

  /// The value is what a JavaScript function returned that native code called.
  void inCallback();

  /// Completes the message: "`function`: `what``path`: `problem`".
  void complete(const char* function, const std::string& what);

  const MessageBuffer& message() const override { return message_; }
  const DebugInfo& where() const override { return where_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  void setText(std::string text);

  std::string problem_;
  std::string path_;
  std::string text_;
  MessageBuffer message_;
  DebugInfo where_;
};

/// A JavaScript value that is refused. Code: "EBADARG". What an author's own converter throws.
class BadArgument : public ConversionError {
 public:
  /// `expected` as in "number from 1 to 12"; the message says too what was given instead.
  BadArgument(const std::string& expected, Handle got);

  /// For what is wrong otherwise, as in "the buffer is detached".
  explicit BadArgument(const std::string& problem);
};

/// Objects within each other that go too deep. Ends the whole conversion: no other alternative of a
/// variant is tried.
class TooDeep : public BadArgument {
 public:
  using BadArgument::BadArgument;
};

}  // namespace zax

#endif
