// The host's services as types, made from services.def: for each a tag `service::NAME` with its
// vector, slot and function type. Reaching a service through its tag is what makes a wrong slot or
// a wrong argument a compile error on both sides.
#pragma once

#include "anchor.h"
#include "codes.h"
#include "memory.h"
#include "method.h"
#include "records.h"
#include "tokens.h"
#include "types.h"

namespace service {

#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) \
  struct NAME {                                         \
    static constexpr int vector = VECTOR;               \
    static constexpr int slot = SLOT;                   \
    static constexpr const char* name = #NAME;          \
    using Fn = RESULT PARAMETERS;                       \
  };
#include "services.def"
#undef SERVICE

struct Place {
  int vector;
  int slot;
};

inline constexpr Place kPlaces[] = {
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) {VECTOR, SLOT},
#include "services.def"
#undef SERVICE
};

constexpr int kVectors = 198;
constexpr int kSlots = 512;

consteval bool every_place_is_used_once() {
  for (const Place& a : kPlaces) {
    if (a.vector < 0 || a.vector >= kVectors || a.slot < 0 || a.slot >= kSlots) return false;
    int uses = 0;
    for (const Place& b : kPlaces) uses += a.vector == b.vector && a.slot == b.slot;
    if (uses != 1) return false;
  }
  return true;
}
static_assert(every_place_is_used_once());

}  // namespace service
