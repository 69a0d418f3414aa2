// What the V8 half is linked with to be a library of its own: its entry, and what it uses of the
// other half.

#include "zax-base.cpp"
#include "zax-v8-loader.cpp"
