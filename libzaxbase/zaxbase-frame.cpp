// The frame as one unit: what the own target of an add-on with jobs by hand compiles.

#include "zaxbase-errors.cpp"

#include "zax-v8-async-job.cpp"
#include "zax-v8-base.cpp"
#include "zax-v8-callback.cpp"
#include "zax-v8-error.cpp"
#include "zax-v8-loop.cpp"
#include "zax-v8-utils.cpp"
