#ifndef ZAX_ERRNO_H
#define ZAX_ERRNO_H

namespace zax {

/// Error numbers: 0 to 199 are the Linux system numbers, written with the macros of <cerrno> as
/// `zax::Errno(ENOENT)`; from 200 on they are the framework's own.
enum Errno : int {
  ENOPROP = 200,
  EBADARG = 201,   ///< a bad argument: wrong number, wrong type or out of range
  EFAILED = 202,   ///< an operation failed
  EUNKNOWN = 203,  ///< the code of a standard exception from outside the framework
  EMOUNTFAILED = 204,
  EAUTH = 206
};

/// The symbolic name of an error number, "UNKNOWN-ERRNO" when it has none. Any thread; the text is
/// a constant of static lifetime.
const char* stdErrnoToString(int number) noexcept;
const char* zaxErrnoToString(Errno number) noexcept;

}  // namespace zax

#endif
