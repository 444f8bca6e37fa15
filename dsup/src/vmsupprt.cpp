#include "dsup/src/vmsupprt.h"

#include "host/memory.h"

ptr vmalloc_handler(ptr pid, long len, int flags) {
  auto* pool = static_cast<POOL*>(pid);
  return pool->alloc(pool, len, flags);
}

ptr vmalcp_handler(ptr pid, long len, int flags) {
  return vmalloc_handler(pid, len, flags);
}

void vmfree_handler(ptr pid, ptr addr, long len, int flags) {
  auto* pool = static_cast<POOL*>(pid);
  pool->free(pool, addr, len, flags);
}
