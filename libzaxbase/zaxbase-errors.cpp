// What the two roads have in common: the error model, the event loop and utilities. A part of their
// units.

#include "zax-base.cpp"
#include "zax-debug.cpp"
#include "zax-errno.cpp"
#include "zax-error-code.cpp"
#include "zax-error-info.cpp"
#include "zax-exception-common.cpp"
#include "zax-exception-errno.cpp"
#include "zax-exception.cpp"
#include "zax-message-buffer.cpp"
#include "zax-v8-base.cpp"
#include "zax-v8-loop.cpp"
#include "zax-v8-pool-queue.cpp"
