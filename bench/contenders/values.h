#ifndef BENCH_VALUES_H
#define BENCH_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What the functions that return take and give, and their work, the same in every contender.

namespace bench {

inline std::string upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

inline double sumOf(const std::vector<double>& numbers) {
  double result = 0;
  for (const double number : numbers) result += number;
  return result;
}

using Bytes = std::vector<std::uint8_t>;

inline Bytes invert(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, data + size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(~byte);
  return bytes;
}

/// Results up to this size are copied into a small Buffer; the memory of larger ones is handed
/// over.
constexpr std::size_t smallBytes = 1024;

struct Point {
  double x;
  double y;
  std::string name;
};

inline double sumOfPoints(const std::vector<Point>& points) {
  double result = 0;
  for (const Point& point : points) result += point.x + point.y + point.name.size();
  return result;
}

struct Row {
  std::int64_t id;
  double value;
  std::string text;
  std::nullptr_t nothing;
  Bytes bytes;
};

inline void make(int i, double& number) { number = i * 0.75; }
inline void make(int i, Point& point) {
  point = {i * 0.5, i * -0.25, "point " + std::to_string(i)};
}
inline void make(int i, Row& row) {
  const auto byte = static_cast<std::uint8_t>(i);
  row = {i, i * 0.75, "row " + std::to_string(i), nullptr, Bytes(16, byte)};
}

/// Values to convert: made once, so that the making is not measured.
template <typename T>
const std::vector<T>& some(int count) {
  static std::vector<T> values;
  if (values.size() != static_cast<std::size_t>(count)) {
    values.resize(count);
    for (int i = 0; i < count; ++i) make(i, values[i]);
  }
  return values;
}

/// What objects of a class stand for.
class Counter {
 public:
  explicit Counter(int value) : value_(value) { ++living; }
  ~Counter() { --living; }
  Counter(const Counter&) = delete;

  int add(int more) { return value_ += more; }
  int value() const { return value_; }

  static inline int living = 0;

 private:
  int value_;
};

}  // namespace bench

#endif
