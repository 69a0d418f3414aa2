#include "zax-v8-argument-list.h"
namespace { void Register(v8::Local<v8::Object> exports) { (void)exports; } }
NODE_MODULE(bridge, Register)
