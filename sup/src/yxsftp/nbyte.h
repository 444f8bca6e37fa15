// The program variable that gives the byte count of a stream read.
#pragma once

#include "dsup/src/services.h"
#include "host/variables.h"

// Whether the host has variables at all.
inline bool has_variables() {
  const WYH2CV* services = global_control_block()->yyh2cv;
  return services != nullptr && services->dssdxus != nullptr;
}

// Stores where the named variable lives. False when there is none of that name and type; a host
// without variables binds nothing and does not object.
inline bool bind_variable(YX_VAR* variable) {
  if (!has_variables()) return true;
  const int rc = global_control_block()->yyh2cv->dssdxus(variable->name, variable->namelen, 1,
                                                         variable->len, 1, &variable->addr);
  return rc != 1 && rc != 2;
}
