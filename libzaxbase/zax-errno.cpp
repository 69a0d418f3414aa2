#include "zax-errno.h"

#include <cstddef>

namespace zax {

namespace {

// Indexed by error number; empty where there is no name. Whole texts: pointers would be relocated
// in every process. Where Linux has two names for a number, one of them is ours to keep: 35 is
// EDEADLOCK, 95 is EOPNOTSUPP; 73 is ENOTACTIVE, which is not the Linux name.
// clang-format off
constexpr char names[][16] = {
    /*   0 */ "ENOERR", "EPERM", "ENOENT", "ESRCH", "EINTR",
              "EIO", "ENXIO", "E2BIG", "ENOEXEC", "EBADF",
    /*  10 */ "ECHILD", "EAGAIN", "ENOMEM", "EACCES", "EFAULT",
              "ENOTBLK", "EBUSY", "EEXIST", "EXDEV", "ENODEV",
    /*  20 */ "ENOTDIR", "EISDIR", "EINVAL", "ENFILE", "EMFILE",
              "ENOTTY", "ETXTBSY", "EFBIG", "ENOSPC", "ESPIPE",
    /*  30 */ "EROFS", "EMLINK", "EPIPE", "EDOM", "ERANGE",
              "EDEADLOCK", "ENAMETOOLONG", "ENOLCK", "ENOSYS", "ENOTEMPTY",
    /*  40 */ "ELOOP", "", "ENOMSG", "EIDRM", "ECHRNG",
              "EL2NSYNC", "EL3HLT", "EL3RST", "ELNRNG", "EUNATCH",
    /*  50 */ "ENOCSI", "EL2HLT", "EBADE", "EBADR", "EXFULL",
              "ENOANO", "EBADRQC", "EBADSLT", "", "EBFONT",
    /*  60 */ "ENOSTR", "ENODATA", "ETIME", "ENOSR", "ENONET",
              "ENOPKG", "EREMOTE", "ENOLINK", "EADV", "ESRMNT",
    /*  70 */ "ECOMM", "EPROTO", "EMULTIHOP", "ENOTACTIVE", "EBADMSG",
              "EOVERFLOW", "ENOTUNIQ", "EBADFD", "EREMCHG", "ELIBACC",
    /*  80 */ "ELIBBAD", "ELIBSCN", "ELIBMAX", "ELIBEXEC", "EILSEQ",
              "ERESTART", "ESTRPIPE", "EUSERS", "ENOTSOCK", "EDESTADDRREQ",
    /*  90 */ "EMSGSIZE", "EPROTOTYPE", "ENOPROTOOPT", "EPROTONOSUPPORT", "ESOCKTNOSUPPORT",
              "EOPNOTSUPP", "EPFNOSUPPORT", "EAFNOSUPPORT", "EADDRINUSE", "EADDRNOTAVAIL",
    /* 100 */ "ENETDOWN", "ENETUNREACH", "ENETRESET", "ECONNABORTED", "ECONNRESET",
              "ENOBUFS", "EISCONN", "ENOTCONN", "ESHUTDOWN", "ETOOMANYREFS",
    /* 110 */ "ETIMEDOUT", "ECONNREFUSED", "EHOSTDOWN", "EHOSTUNREACH", "EALREADY",
              "EINPROGRESS", "ESTALE", "", "", "",
    /* 120 */ "", "", "EDQUOT", "", "",
              "ECANCELED", "", "", "", "",
    /* 130 */ "EOWNERDEAD", "ENOTRECOVERABLE", "", "", "",
              "", "", "", "", "",
    /* 140 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 150 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 160 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 170 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 180 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 190 */ "", "", "", "", "",
              "", "", "", "", "",
    /* 200 */ "ENOPROP", "EBADARG", "EFAILED", "EUNKNOWN", "EMOUNTFAILED",
              "", "EAUTH",
};
// clang-format on
static_assert(sizeof(names) / sizeof(names[0]) == EAUTH + 1, "the table ends with the last number");

}  // namespace

const char* stdErrnoToString(int number) noexcept {
  const std::size_t index = static_cast<unsigned int>(number);
  return index <= EAUTH && *names[index] ? names[index] : "UNKNOWN-ERRNO";
}

const char* zaxErrnoToString(Errno number) noexcept { return stdErrnoToString(number); }

}  // namespace zax
