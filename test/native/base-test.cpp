#include "zax-base.h"

#include <cmath>
#include <map>
#include <stdexcept>

#include "support.h"

namespace {

TEST(Base, ToStrHexGivesSixteenDigits) {
  EXPECT_EQ(zax::toStrHex(3735928559, false), "00000000deadbeef");
  EXPECT_EQ(zax::toStrHex(18446744073709551615ul, true), "FFFFFFFFFFFFFFFF");
}

TEST(Base, ToStrRemovesZerosAtTheEnd) {
  const std::map<std::pair<double, int>, const char*> cases = {
      {{1.5, 3}, "1.5"},    {{2.0, 2}, "2"},  {{100.0, 2}, "100"},    {{100.0, 0}, "1"},
      {{120.0, 0}, "12"},   {{0.0, 0}, ""},   {{0.0, 3}, "0"},        {{-0.0001, 3}, "-0"},
      {{-0.4, 0}, "-"},     {{2.5, 0}, "2"},  {{3.5, 0}, "4"},        {{0.125, 2}, "0.12"},
      {{-1.25, 1}, "-1.2"}, {{1e21, 0}, "1"}, {{HUGE_VAL, 2}, "inf"}, {{1.0 / 3, -1}, "0.333333"}};
  for (const auto& [input, text] : cases) {
    EXPECT_EQ(zax::toStr(input.first, input.second), text) << input.first << " " << input.second;
  }
}

TEST(Base, StringToVectorCopiesAndTerminates) {
  using namespace std::string_literals;
  constexpr unsigned long rest = std::string::npos;
  const struct {
    unsigned long offset, pos, length, copied, size;
    std::string result;
  } cases[] = {{0, 0, rest, 3, 4, "abc\0#"s},
               {0, 3, rest, 0, 1, "\0#"s},
               {0, 1, 5, 2, 6, "bc###\0#"s},
               {2, 0, 1, 1, 4, "##a##\0#"s},  // the zero byte lands past the end
               {4, 2, 3, 1, 8, "####c######\0#"s}};
  for (const auto& [offset, pos, length, copied, size, result] : cases) {
    std::vector<char> vec(32, '#');
    EXPECT_EQ(zax::string_to_vector(vec, offset, "abc", pos, length), copied);
    EXPECT_EQ(vec.size(), size);
    EXPECT_EQ(std::string(vec.data(), result.size()), result);
  }
  std::vector<char> vec;
  zax::string_to_vector(vec, 1000, "abc", 0, 3);
  EXPECT_GE(vec.capacity(), 2004u);
  EXPECT_THROW(zax::string_to_vector(vec, 0, "abc", 4, 1), std::out_of_range);
  EXPECT_EQ(vec.size(), 2u);
  EXPECT_THROW(zax::string_to_vector(vec, 0, "abc", 5, rest), std::length_error);
}

TEST(Base, DebugTraceWritesToStandardError) {
  const std::string text(1020, 'x');
  EXPECT_EQ(stderrOf([&] { zax::debugTrace("%s\n%s", text.c_str(), "yz"); }), text + "\ny");
}

}  // namespace
