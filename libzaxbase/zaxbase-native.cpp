// The half of the plain road that is without V8, as one unit: what an add-on compiles that reaches
// V8 through a backend from elsewhere. What the files have in common is read once, which takes a
// fraction of the time that they take one by one.

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("Os")  // Its time is spent in V8; in half the size it is built sooner.
#endif

#include "zax-bytes.cpp"
#include "zax-cancellation.cpp"
#include "zax-container.cpp"
#include "zax-conversion-error.cpp"
#include "zax-declaration.cpp"
#include "zax-fields.cpp"
#include "zax-function.cpp"
#include "zax-handle.cpp"
#include "zax-instance.cpp"
#include "zax-module.cpp"
#include "zax-table.cpp"
#include "zax-task.cpp"
#include "zax-type.cpp"
#include "zax-value.cpp"
#include "zaxbase-errors.cpp"
