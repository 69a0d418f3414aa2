#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support.h"
#include "zax-error-info.h"
#include "zax-exception-common.h"

using namespace zax;

// Exceptions, and the records that take them over.

namespace {

using ::describe;

const DebugInfo place("here.cpp", 12, "raiser", 5, "desc", "msg");
const char* const nowhere = " | (null) | (null):-1:(null) <> -1 / | ";
const std::string here = " | here.cpp:12:raiser <> 5 desc/msg | ";
const std::string gone = " | %(n)s gone n=3:2" + here;

ErrorInfo record() { return ErrorInfo("CODE", __("%(n)s gone", "n", 3), place, "ns::Class"); }

std::string describe(const ErrorInfo& info) {
  return info.error().c_str() + (" | " + describe(info.message())) + " | " +
         describe(info.where()) + " | " + info.exceptionClass();
}

TEST(Errors, EveryExceptionHasItsCodeMessagePlaceAndClass) {
  const MessageBuffer given = record().message();
  const std::string device = " | Failed to open device %(name)s";
  const std::string withText = device + ": error %(err)s name=sensor:1 err=";
  const auto expect = [](const std::exception& error, const std::string& text) {
    ErrorInfo info = record();
    info.assign(error);
    EXPECT_EQ(describe(info), text);
    EXPECT_STREQ(error.what(), info.message().format);
  };
  expect(Exception("TEST-ERROR", given, place), "TEST-ERROR" + gone + "zax::Exception");
  expect(Exception(given, place), gone + "zax::Exception");
  expect(Exception(record()), "CODE" + gone + "zax::Exception");
  errno = 13;
  expect(ErrnoException(given, place), "EACCES" + gone + "zax::ErrnoException");
  errno = 2;
  expect(ErrnoException("open", given, place), "open-ENOENT" + gone + "zax::ErrnoException");
  expect(ErrnoException(EMOUNTFAILED, given, place), "EMOUNTFAILED" + gone + "zax::ErrnoException");
  expect(ErrnoGenericException<EBADARG>(given, place),
         "EBADARG" + gone + "zax::ErrnoGenericException<(zax::Errno)201>");
  expect(ErrnoGenericException<Errno(ENOENT)>(place),
         "ENOENT | " + here + "zax::ErrnoGenericException<(zax::Errno)2>");
  expect(BadArgumentNumber(given, place), "EBADARG" + gone + "zax::BadArgumentNumber");
  for (const auto& [error, message] :
       {std::pair(DeviceOpenFailed("sensor", place), device + " name=sensor:1"),
        {DeviceOpenFailed("sensor", 1, place), withText + std::strerror(1) + ":1"},
        {DeviceOpenFailed("sensor", 0, place), withText + ":1"}}) {
    expect(error, "ENODEV" + message + here + "zax::DeviceOpenFailed");
  }
  EXPECT_STREQ(Exception(MessageBuffer(), place).what(), "");
}

// With standard error closed the report of the overflow fails, and sets errno.
TEST(Errors, ErrnoOutlivesTheBuildingOfTheMessage) {
  const int savedStderr = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  errno = 2;
  const ErrnoException error("open", __(std::string(5000, 'x').c_str()), place);
  dup2(savedStderr, STDERR_FILENO);
  close(savedStderr);
  clearerr(stderr);
  EXPECT_STREQ(error.error().c_str(), "open-ENOENT");
}

TEST(Errors, ARecordKeepsAndCopiesItsParts) {
  ErrorInfo info;
  EXPECT_EQ(describe(info), nowhere);
  EXPECT_FALSE(info.hasError());
  info.assign(record());
  EXPECT_TRUE(info.hasError());
  info.assign(info.error(), info.message(), info.where(), info.exceptionClass());
  EXPECT_EQ(describe(ErrorInfo(info)), "CODE" + gone + "ns::Class");
  info.assign(EAUTH, info.message(), info.where(), std::string(70, 'c'));
  EXPECT_EQ(describe(info), "EAUTH" + gone + std::string(63, 'c'));
  info.assign("CODE", __(""), DebugInfo(), "");
  EXPECT_EQ(describe(info), "CODE |  | (null):-1:(null) <> -1 / | ");
  EXPECT_EQ(describe(ErrorInfo(EAUTH, record().message(), place, "")), "EAUTH" + gone);
  info = record();
  info.assign(std::runtime_error("disk full"));
  const std::string line = std::to_string(info.where().line);
  EXPECT_EQ(describe(info),
            "EUNKNOWN | %(what)s what=disk full:1 | libzaxbase/zax-error-info.cpp:" + line +
                ":assign <> -1 / | std::runtime_error");
  info.clear();
  EXPECT_EQ(describe(info), nowhere);
}

TEST(Errors, ARecordDumpsOneFlushedLine) {
  CoutRecorder out;
  std::cout << std::hex;
  ErrorInfo().dump();
  ErrorInfo::dump(ErrnoException(EAUTH, record().message(), place));
  EXPECT_EQ(out.flushed,
            "Error: , message:  at (-1) in (), exception: ''\n"
            "Error: EAUTH, message: 3 gone at here.cpp(12) in raiser(), exception: "
            "'zax::ErrnoException'\n");
}

}  // namespace
