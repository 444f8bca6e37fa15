// Stands between the module and its host's services and notes who is called and who fails.
#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "host/services.h"
#include "runtime/runtime.h"

namespace fileref {

// One at a time. Services with variable arguments pass unseen.
class ServiceWatch {
 public:
  explicit ServiceWatch(runtime::Runtime& runtime)
      : runtime_(runtime),
        original_(static_cast<const HostSlot* const*>(runtime.anchor()[kAnchorVectors])),
        rows_(service::kVectors) {
    for (std::size_t v = 0; v < rows_.size(); ++v) {
      std::copy_n(original_[v], rows_[v].size(), rows_[v].begin());
      vectors_[v] = rows_[v].data();
    }
#define SERVICE(NAME, VECTOR, SLOT, RESULT, PARAMETERS) \
  Watched<service::NAME, service::NAME::Fn>::put(rows_[VECTOR][SLOT]);
#include "host/services.def"
#undef SERVICE
    runtime.anchor()[kAnchorVectors] = vectors_.data();
    current_ = this;
  }
  ~ServiceWatch() {
    runtime_.anchor()[kAnchorVectors] = const_cast<HostSlot**>(original_);
  }
  ServiceWatch(const ServiceWatch&) = delete;
  ServiceWatch& operator=(const ServiceWatch&) = delete;

  bool for_ever = false;  // the way the fault is armed
  std::map<std::string, int> calls;
  // Services that the armed fault of the runtime made fail.
  std::set<std::string> failed;
  // Give back what the host was offered and did not take.
  std::vector<std::function<void()>> not_taken_back;

 private:
  template <class Service, class Fn>
  struct Watched;

  template <class Service, class R, class... A>
  struct Watched<Service, R(A...)> {
    static void put(HostSlot& slot) { slot = reinterpret_cast<HostSlot>(&call); }
    static R call(A... arguments) {
      ServiceWatch& watch = *current_;
      runtime::Runtime& runtime = watch.runtime_;
      ++watch.calls[Service::name];
      // A host always has its heap.
      if constexpr (std::is_same_v<Service, service::yymheap>) return &runtime.memory.heap();
      const auto& faults = runtime.service_faults;
      const bool fired = faults.fired();
      const R result = reinterpret_cast<R (*)(A...)>(
          watch.original_[Service::vector][Service::slot])(arguments...);
      if (faults.fired() && (!fired || watch.for_ever)) watch.failed.insert(Service::name);
      if constexpr (std::is_same_v<R, wrcode>) {
        if (result != kSuccess) watch.note(Service{}, arguments...);
      }
      return result;
    }
  };
  template <class Service, class R, class... A>
  struct Watched<Service, R(A..., ...)> {
    static void put(HostSlot& /*slot*/) {}
  };

  template <class... Any>
  void note(Any... /*any*/) {}
  void note(service::yxrdasg, char* logicalname, rebid) {
    not_taken_back.push_back(
        [this, name = runtime::name_at(logicalname)] { runtime_.temp.deassign(name); });
  }
  void note(service::wmpoold, POOL* pool) {
    not_taken_back.push_back([this, pool] { runtime_.memory.delete_private_pool(pool); });
  }

  inline static ServiceWatch* current_ = nullptr;
  runtime::Runtime& runtime_;
  const HostSlot* const* original_;
  std::vector<std::array<HostSlot, service::kSlots>> rows_;
  std::array<const HostSlot*, service::kVectors> vectors_{};
};

}  // namespace fileref
