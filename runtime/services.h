// The services as the module reaches them: vectors of plain functions.
#pragma once

#include "host/anchor.h"

namespace fileref::runtime {

// The vectors, indexed by vector number and then by slot. A slot without a service ends the
// process with its name.
const HostSlot* const* service_vectors();
// One status byte a vector.
unsigned char* service_status();

// What `WYH2CV.dssdxus` points at.
int bind_variable(char* name, long namelen, int kind, long len, int access, ptr* addr);

}  // namespace fileref::runtime
