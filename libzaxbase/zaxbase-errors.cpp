// What the two roads have in common: the error model and utilities, without V8. A part of their
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
