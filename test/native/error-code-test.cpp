#include <gtest/gtest.h>
#include "zax-error-code.h"
TEST(A, b) { EXPECT_STREQ(zax::ErrorCode("open", "ENOENT").c_str(), "open-ENOENT"); }
