// The whole framework as one unit: what an add-on's own target compiles. What the files have in
// common is read once, which takes a fraction of the time that they take one by one.

#include "zax-base.cpp"
#include "zax-debug.cpp"
#include "zax-errno.cpp"
#include "zax-error-code.cpp"
#include "zax-error-info.cpp"
#include "zax-exception-common.cpp"
#include "zax-exception-errno.cpp"
#include "zax-exception.cpp"
#include "zax-message-buffer.cpp"
#include "zax-v8-async-job.cpp"
#include "zax-v8-base.cpp"
#include "zax-v8-callback.cpp"
#include "zax-v8-error.cpp"
#include "zax-v8-utils.cpp"
