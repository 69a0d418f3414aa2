// The frame's half over V8 as one unit: what an add-on with jobs by hand compiles beside
// zaxbase.cpp.

#include "zax-v8-async-job.cpp"
#include "zax-v8-callback.cpp"
#include "zax-v8-error.cpp"
#include "zax-v8-utils.cpp"
