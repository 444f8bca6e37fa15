#pragma once

#include "host/types.h"

// 1 when each of the first `len` bytes of `str` is `c`, else 0. `maxlen` is not used.
int vzatl(int c, const tchar* str, long len, long maxlen);
