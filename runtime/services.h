// The services as the module reaches them: vectors of plain functions.
#pragma once

#include <array>

#include "host/services.h"

namespace fileref::runtime {

// The vectors, indexed by vector number and then by slot, the same for all: a service is that of
// the runtime its thread has entered. A slot without a service ends the process with its name.
const HostSlot* const* service_vectors();
// One status byte a vector, written at every call, so each module's own.
using VectorStatus = std::array<unsigned char, service::kVectors>;

// What `WYH2CV.dssdxus` points at.
int bind_variable(char* name, long namelen, int kind, long len, int access, ptr* addr);

}  // namespace fileref::runtime
