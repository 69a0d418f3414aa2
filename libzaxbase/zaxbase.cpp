// The plain road as one unit, both halves: what the own target of an add-on on zax.h compiles.

#include "zaxbase-native.cpp"
#include "zaxbase-v8.cpp"
