// The half of the plain road that is V8's, as one unit: the backend, for one version of Node.

#include "zax-v8-backend.cpp"
#include "zax-v8-base.cpp"
#include "zax-v8-bulk.cpp"
#include "zax-v8-bytes.cpp"
#include "zax-v8-environment.cpp"
#include "zax-v8-loop.cpp"
#include "zax-v8-pool-queue.cpp"
#include "zax-v8-reference.cpp"
#include "zax-v8-registration.cpp"
#include "zax-v8-task.cpp"
#include "zax-v8-type.cpp"
