// The module's way to its host: one forwarder a service, named `_<service>_<vector>_<slot>`, and
// the service's plain name as another name for it. A forwarder clears the status byte of its
// vector, tells the host which service it enters, and goes on in it with the caller's arguments.
#pragma once

#include "host/services.h"

extern ptr* v_global_gcb_anchor;
extern ptr v_global_pidb_anchor;
extern TKHndlp Exported_TKHandle;

namespace forward {

template <class Service>
typename Service::Fn* enter() {
  const auto* vectors = static_cast<const HostSlot* const*>(v_global_gcb_anchor[kAnchorVectors]);
  static_cast<unsigned char*>(v_global_gcb_anchor[kAnchorStatus])[Service::vector] = 0;
  *static_cast<HOST_CALL*>(v_global_gcb_anchor[kAnchorCall]) = {Service::vector, Service::slot};
  return reinterpret_cast<typename Service::Fn*>(vectors[Service::vector][Service::slot]);
}

template <class Service, class Fn = typename Service::Fn>
struct Forward;

template <class Service, class R, class... A>
struct Forward<Service, R(A...)> {
  R operator()(A... arguments) const { return enter<Service>()(arguments...); }
};

template <class Service, class R, class... A>
struct Forward<Service, R(A..., ...)> {
  template <class... Rest>
  R operator()(A... arguments, Rest... rest) const {
    return enter<Service>()(arguments..., rest...);
  }
};

}  // namespace forward

// NOLINTBEGIN(bugprone-macro-parentheses)
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS)                           \
  inline constexpr forward::Forward<service::NAME> _##NAME##_##VECTOR##_##SLOT{}; \
  inline constexpr const auto& NAME = _##NAME##_##VECTOR##_##SLOT;
#include "host/services.def"
#undef SERVICE
// NOLINTEND(bugprone-macro-parentheses)

inline TASK* current_task() {
  return static_cast<TASK*>(v_global_gcb_anchor[kAnchorTask]);
}
inline YAKGCBSTR* global_control_block() {
  return static_cast<YAKGCBSTR*>(v_global_gcb_anchor[kAnchorGlobal]);
}
