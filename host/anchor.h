// The anchor record: the array of pointers through which a module reaches its host.
#pragma once

#include "control.h"
#include "memory.h"
#include "toolkit.h"
#include "types.h"

using HostSlot = void (*)();

// The service a module is about to enter, noted by every forwarder.
struct HOST_CALL {
  int vector;
  int slot;
};

// Elements of the anchor record.
enum AnchorElement : int {
  kAnchorVectors = 0,  // const HostSlot* const*, indexed by vector number, then by slot
  kAnchorStatus = 1,   // unsigned char*, one byte a vector; cleared before each call
  kAnchorHeap = 2,     // POOL*: the host heap
  kAnchorToolkit = 3,  // TK_HNDL_S*
  kAnchorTask = 4,     // TASK*: the current task
  kAnchorGlobal = 5,   // YAKGCBSTR*
  kAnchorCall = 6,     // HOST_CALL*
  kAnchorElements = 7,
};
