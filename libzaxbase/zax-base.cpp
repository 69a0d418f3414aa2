#include "zax-base.h"

#include <cstdarg>
#include <cstdio>

namespace zax {

std::string toStrHex(unsigned long value, bool upper) {
  char text[32];
  std::snprintf(text, sizeof(text), upper ? "%016lX" : "%016lx", value);
  return text;
}

std::string toStr(double value, int precision) {
  std::string text(std::snprintf(nullptr, 0, "%.*f", precision, value), '\0');
  std::snprintf(text.data(), text.size() + 1, "%.*f", precision, value);
  text.erase(text.find_last_not_of('0') + 1);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

unsigned long string_to_vector(std::vector<char>& vec, unsigned long offset, const std::string& str,
                               unsigned long pos, unsigned long length) {
  if (length == std::string::npos) length = str.size() - pos;
  const unsigned long end = offset + length;
  vec.resize(end + 1);
  vec.reserve(offset + end + 1);
  const unsigned long copied = str.copy(vec.data() + offset, length, pos);
  vec.data()[offset + end] = '\0';
  return copied;
}

std::string concat(std::initializer_list<std::string_view> texts) {
  std::string result;
  for (const std::string_view text : texts) result += text;
  return result;
}

void debugTrace(const char* format, ...) {
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text) - 1, format, arguments);
  va_end(arguments);
  std::fputs(text, stderr);
}

}  // namespace zax
