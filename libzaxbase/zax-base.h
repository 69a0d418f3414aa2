#ifndef ZAX_BASE_H
#define ZAX_BASE_H

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zax {

/// Base of classes that must not be copied.
class NonCopyable {
 protected:
  NonCopyable() = default;
  ~NonCopyable() = default;

 public:
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;
};

// Every function here may be called on any thread.

/// The value as sixteen hexadecimal digits, zero-padded, without a prefix.
std::string toStrHex(unsigned long value, bool upper);

/// The value in fixed notation with `precision` digits after the decimal point, less the zeros at
/// its end and then a "." at its end. The zeros go even where there is no decimal point: with
/// precision 0 the value 100 gives "1" and 0 gives the empty text.
std::string toStr(double value, int precision);

/// Resizes `vec` to offset + length + 1 bytes, copies up to `length` bytes of `str` from `pos` on
/// to `vec` at `offset`, stores a zero byte at index 2 * offset + length (for an offset of 0 the
/// last element; otherwise in the vector's spare capacity, which is reserved for it) and returns
/// the number of bytes copied. A `length` of std::string::npos means the rest of `str`.
/// Throws std::out_of_range, after the resize, when `pos` is greater than the size of `str`, and
/// std::length_error when the size cannot be had.
unsigned long string_to_vector(std::vector<char>& vec, unsigned long offset, const std::string& str,
                               unsigned long pos, unsigned long length);

/// The texts one after another.
std::string concat(std::initializer_list<std::string_view> texts);

/// Writes a printf-style trace to standard error, cut after 1022 characters. Adds no newline.
void debugTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zax

#endif
