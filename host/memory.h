// Pools of memory and the request environment that carries one.
#pragma once

#include "types.h"

// A source of memory. The first two members are fixed; what follows them is the host's.
struct POOL {
  // Returns `length` bytes, or null. The caller owns them until it gives them to `free`.
  ptr (*alloc)(POOL* pool, long length, long flags);
  // Takes back one block of this pool. `length` is 0 when the caller does not track it.
  void (*free)(POOL* pool, ptr address, long length, long flags);
};

// Allocation flags. A block is zero-filled when either zero bit is set.
constexpr int kHeapZeroed = 0x6;
constexpr int kHeapRaw = 0x4;
constexpr int kRequestZeroed = 0x2004;
constexpr int kNameNode = 0x0;
constexpr int kNameEntry = 0x2006;
constexpr int kZeroBits = 0x2002;
// Release flags, for every pool.
constexpr int kRelease = 0x4;

struct TASK;
using taskid = TASK*;

// The environment of one request; `rebid` is its handle. It lives as long as anything that was
// allocated from its pool.
struct REB {
  POOL* pool;
  taskid task;
};
using rebid = REB*;

struct TASKCTX {
  rebid reb;  // the request that the task is working on
};

struct TASK {
  TASKCTX* context;
};
