#include "UNX/src/himodcn.h"

void himodcn() {}
