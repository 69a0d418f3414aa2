#include "zax-exception.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support.h"
#include "zax-error-info.h"
#include "zax-exception-common.h"

using namespace zax;

namespace {

const DebugInfo place("here.cpp", 4711, "raiser", 5, "desc", "msg");

TEST(Exception, EveryClassHasItsCodeMessageAndPlace) {
  const MessageBuffer given = __("%(n)s gone", "n", 3);
  const std::string gone = "%(n)s gone n=3:2";
  const std::string device = "Failed to open device %(name)s";
  const std::string withText = device + ": error %(err)s name=sensor:1 err=";
  const struct {
    Exception error;
    const char* code;
    std::string message;
  } cases[] = {
      {Exception("TEST-ERROR", given, place), "TEST-ERROR", gone},
      {Exception(given, place), "", gone},
      {Exception(ErrorInfo("CODE", given, place, "Class")), "CODE", gone},
      {(errno = 13, ErrnoException(given, place)), "EACCES", gone},
      {(errno = 2, ErrnoException("open", given, place)), "open-ENOENT", gone},
      {ErrnoException(EMOUNTFAILED, given, place), "EMOUNTFAILED", gone},
      {ErrnoGenericException<EBADARG>(given, place), "EBADARG", gone},
      {ErrnoGenericException<EFAILED>(place), "EFAILED", ""},
      {ErrnoGenericException<Errno(ENOENT)>(place), "ENOENT", ""},
      {BadArgumentNumber(given, place), "EBADARG", gone},
      {DeviceOpenFailed("sensor", place), "ENODEV", device + " name=sensor:1"},
      {DeviceOpenFailed("sensor", 2, place), "ENODEV", withText + std::strerror(2) + ":1"},
      {DeviceOpenFailed("sensor", -2, place), "ENODEV", withText + ":1"},
  };
  for (const auto& [error, code, message] : cases) {
    EXPECT_STREQ(error.error().c_str(), code);
    EXPECT_EQ(describe(error.message()), message);
    EXPECT_STREQ(static_cast<const std::exception&>(error).what(), error.message().format);
    EXPECT_EQ(describe(error.where()), describe(place));
  }
  EXPECT_STREQ(Exception(MessageBuffer(), place).what(), "");
}

// With standard error closed the report of the overflow fails, and sets errno.
TEST(Exception, ErrnoOutlivesTheBuildingOfTheMessage) {
  const int savedStderr = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  errno = 2;
  const ErrnoException error("open", __(std::string(5000, 'x').c_str()), place);
  dup2(savedStderr, STDERR_FILENO);
  close(savedStderr);
  clearerr(stderr);
  EXPECT_STREQ(error.error().c_str(), "open-ENOENT");
}

}  // namespace
