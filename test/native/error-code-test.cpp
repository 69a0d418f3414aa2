#include "zax-error-code.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "zax-errno.h"

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

TEST(ErrorCode, MayBeMadeOfItsOwnText) {
  zax::ErrorCode code(std::string(70, 'x'));
  EXPECT_EQ(code.c_str(), std::string(63, 'x'));
  code.assign(code);
  code.assign(code.c_str() + 58, code.c_str() + 60);
  EXPECT_STREQ(code.c_str(), "xxxxx-xxx");
}

}  // namespace
