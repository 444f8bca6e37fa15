// Host variables.
#pragma once

#include "types.h"

// A reference to a variable by name.
struct YX_VAR {
  ptr addr;       // where the value (a double) lives; null until bound
  int len;        // length expected of the value; -1: any
  int namelen;    // bytes used in `name`
  char name[32];  // blank-padded
};

// The host's second service record.
struct WYH2CV {
  // Looks a variable up and stores the address of its value through `addr`. Results 1 and 2 mean
  // that there is no such variable or that its type does not fit. May be null.
  int (*dssdxus)(char* name, long namelen, int kind, long len, int access, ptr* addr);
};
