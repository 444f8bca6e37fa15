// Memory by its pool. `pid` is a POOL; a length of 0 at a release means that it is not tracked.
#pragma once

#include "host/types.h"

ptr vmalloc_handler(ptr pid, long len, int flags);
ptr vmalcp_handler(ptr pid, long len, int flags);
void vmfree_handler(ptr pid, ptr addr, long len, int flags);
