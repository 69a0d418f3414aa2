#include "zax-conversion-error.h"

#include <utility>

#include "zax-base.h"
#include "zax-declaration.h"
#include "zax-handle.h"

namespace zax {

namespace {

constexpr std::size_t longestPath = 240;  // characters

/// Whether a UTF-8 character can be cut off before this byte.
bool beginsCharacter(char byte) { return (byte & 0xc0) != 0x80; }

/// The path with its middle left out where it is too long to read.
std::string shortened(const std::string& path) {
  if (path.size() <= longestPath) return path;
  std::size_t head = longestPath / 2;
  std::size_t tail = path.size() - longestPath / 2;
  while (!beginsCharacter(path[head])) --head;
  while (!beginsCharacter(path[tail])) ++tail;
  const std::string_view whole = path;
  return concat({whole.substr(0, head), "\xe2\x80\xa6", whole.substr(tail)});
}

}  // namespace

ConversionError::ConversionError(Errno code, const std::string& problem)
    : ErrnoException(code, MessageBuffer(), DebugInfo()), problem_(problem) {
  setText(problem);
}

void ConversionError::setText(std::string text) {
  text_ = std::move(text);
  message_ = __("%(text)s", "text", text_);
}

void ConversionError::inElement(std::size_t index) {
  path_ = concat({"[", std::to_string(index), "]", path_});
}

void ConversionError::inMember(const std::string& name) {
  path_ = isIdentifier(name) ? concat({".", name, path_}) : concat({"[", quoted(name), "]", path_});
}

void ConversionError::inCallback() { path_.insert(0, "result of the callback"); }

void ConversionError::complete(const char* function, const std::string& what) {
  where_ = DebugInfo("native", 0, function, -1, nullptr, nullptr);
  const std::string place = concat({what, shortened(path_)});
  setText(concat({function, ": ", place, place.empty() ? "" : ": ", problem_}));
}

BadArgument::BadArgument(const std::string& expected, Handle got)
    : ConversionError(EBADARG, concat({expected, " expected, got ", got.description()})) {}

BadArgument::BadArgument(const std::string& problem) : ConversionError(EBADARG, problem) {}

}  // namespace zax
