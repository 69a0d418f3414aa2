#include "zax-error-info.h"

#include <stdexcept>

#include "support.h"
#include "zax-exception-common.h"

using namespace zax;

namespace {

using ::describe;

const DebugInfo place("here.cpp", 12, "raiser", 5, "desc", "msg");
const char* const defaultText = " | (null) | (null):-1:(null) <> -1 / | ";
const std::string middle = " | f %(k)s k=1:2 | here.cpp:12:raiser <> 5 desc/msg | ";

ErrorInfo record() { return ErrorInfo("CODE", __("f %(k)s", "k", 1), place, "ns::Class"); }

std::string describe(const ErrorInfo& info) {
  return info.error().c_str() + (" | " + describe(info.message())) + " | " +
         describe(info.where()) + " | " + info.exceptionClass();
}

TEST(ErrorInfo, RecordsAndCopiesItsParts) {
  ErrorInfo info;
  EXPECT_EQ(describe(info), defaultText);
  EXPECT_FALSE(info.hasError());
  info.assign(record());
  EXPECT_TRUE(info.hasError());
  info.assign(info.error(), info.message(), info.where(), info.exceptionClass());
  EXPECT_EQ(describe(ErrorInfo(info)), "CODE" + middle + "ns::Class");
  info.assign(EAUTH, info.message(), info.where(), std::string(70, 'c'));
  EXPECT_EQ(describe(info), "EAUTH" + middle + std::string(63, 'c'));
  EXPECT_EQ(describe(ErrorInfo(EAUTH, info.message(), place, "")), "EAUTH" + middle);
  info.clear();
  EXPECT_EQ(describe(info), defaultText);
}

TEST(ErrorInfo, ConvertsExceptions) {
  ErrorInfo info = record();
  info.assign(std::runtime_error("disk full"));
  const std::string line = std::to_string(info.where().line);
  EXPECT_EQ(describe(info),
            "EUNKNOWN | %(what)s what=disk full:1 | libzaxbase/zax-error-info.cpp:" + line +
                ":assign <> -1 / | std::runtime_error");
  info.assign(ErrnoGenericException<EBADARG>(record().message(), place));
  EXPECT_EQ(describe(info), "EBADARG" + middle + "zax::ErrnoGenericException<(zax::Errno)201>");
}

TEST(ErrorInfo, DumpsOneFlushedLine) {
  CoutRecorder out;
  std::cout << std::hex;
  ErrorInfo().dump();
  record().dump();
  ErrorInfo::dump(ErrnoException(EAUTH, record().message(), place));
  EXPECT_EQ(out.flushed,
            "Error: , message:  at (-1) in (), exception: ''\n"
            "Error: CODE, message: f 1 at here.cpp(12) in raiser(), exception: 'ns::Class'\n"
            "Error: EAUTH, message: f 1 at here.cpp(12) in raiser(), exception: "
            "'zax::ErrnoException'\n");
}

}  // namespace
