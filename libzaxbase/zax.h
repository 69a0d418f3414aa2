#ifndef ZAX_H
#define ZAX_H

// Everything that an author of an add-on includes: ordinary C++ becomes JavaScript, a line for each
// function. Includes no header of V8, Node or libuv; who wants those adds zax-v8.h.

#include "zax-bytes.h"
#include "zax-conversion-error.h"
#include "zax-exception-common.h"
#include "zax-exception.h"
#include "zax-fields.h"
#include "zax-function.h"
#include "zax-handle.h"
#include "zax-instance.h"
#include "zax-module.h"
#include "zax-table.h"
#include "zax-task.h"
#include "zax-type.h"
#include "zax-value.h"

#endif
