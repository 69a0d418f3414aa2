#include "zax-error-code.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <utility>

#include "zax-errno.h"

using zax::ErrorCode;

namespace {

// The measure is the C library's own list, but for the names set here and the numbers without one.
TEST(Errno, HasItsNames) {
  std::map<int, const char*> names = {{0, "ENOERR"},        {35, "EDEADLOCK"}, {73, "ENOTACTIVE"},
                                      {95, "EOPNOTSUPP"},   {200, "ENOPROP"},  {201, "EBADARG"},
                                      {202, "EFAILED"},     {203, "EUNKNOWN"}, {206, "EAUTH"},
                                      {204, "EMOUNTFAILED"}};
  for (int n = 1; n <= 131; ++n) names.emplace(n, strerrorname_np(n));
  for (int n : {41, 58, 117, 118, 119, 120, 121, 123, 124, 126, 127, 128, 129}) names.erase(n);
  for (int n = -300; n <= 1000; ++n) {
    const char* name = names.count(n) ? names[n] : "UNKNOWN-ERRNO";
    EXPECT_STREQ(zax::stdErrnoToString(n), name) << n;
    EXPECT_STREQ(zax::zaxErrnoToString(zax::Errno(n)), name) << n;
  }
}

TEST(ErrorCode, HoldsAtMost63Characters) {
  const auto xs = [](int times) { return std::string(times, 'x'); };
  const std::pair<ErrorCode, std::string> cases[] = {
      {ErrorCode(), ""},
      {ErrorCode(nullptr), ""},
      {ErrorCode(xs(63)), xs(63)},
      {ErrorCode(xs(64).c_str()), xs(63)},
      {ErrorCode("open", "ENOENT"), "open-ENOENT"},
      {ErrorCode(nullptr, "ENOENT"), "-ENOENT"},
      {ErrorCode("open", nullptr), "open-"},
      {ErrorCode(xs(61).c_str(), "ENOENT"), xs(61) + "-E"},
      {ErrorCode(xs(70).c_str(), "ENOENT"), xs(63)},
  };
  for (const auto& [code, text] : cases) EXPECT_EQ(code.c_str(), text);

  ErrorCode code("a-rather-long-code");
  code.assign(code);
  code.assign(code.c_str() + 2);
  EXPECT_STREQ(code.c_str(), "rather-long-code");
  code.assign(code.c_str() + 12, code.c_str());
  EXPECT_STREQ(code.c_str(), "code-rather-long-code");
}

}  // namespace
