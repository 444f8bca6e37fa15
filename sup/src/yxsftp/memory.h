// The two kinds of memory: records come from the host heap, texts and buffers from the request pool
// of their owner. Fresh blocks are zero-filled; an allocation that fails answers null.
#pragma once

#include "dsup/src/services.h"
#include "dsup/src/vmsupprt.h"

template <class Record>
Record* new_record() {
  return static_cast<Record*>(vmalloc_handler(yymheap(), sizeof(Record), kHeapZeroed));
}

inline void release_record(ptr record) {
  if (record != nullptr) vmfree_handler(yymheap(), record, 0, kRelease);
}

inline ptr new_buffer(rebid reb, long length) {
  return vmalcp_handler(reb->pool, length, kRequestZeroed);
}

// Releases a block of the request pool, if there is one, and clears the pointer.
template <class T>
void release_buffer(rebid reb, T*& block) {
  if (block != nullptr) vmfree_handler(reb->pool, block, 0, kRelease);
  block = nullptr;
}

inline rebid current_request() {
  return current_task()->context->reb;
}
