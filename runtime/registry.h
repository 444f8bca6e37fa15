// Which methods there are, and which logical names are assigned through which.
#pragma once

#include <map>
#include <optional>
#include <string_view>

#include "host/method.h"
#include "runtime/names.h"

namespace fileref::runtime {

class Registry {
 public:
  // Makes a method known under one more name. The block must outlive the registry.
  void add_method(std::string_view name, AMMCB* block) { methods_[name8(name)] = block; }
  // Null when there is none.
  AMMCB* method(const Name8& name) const;

  void assign(const Name8& logical, AMMCB* block) { assigned_[logical] = block; }
  void deassign(const Name8& logical) { assigned_.erase(logical); }
  // The block that a name is assigned through; null when nobody assigned it.
  AMMCB* assigned(const Name8& logical) const;

  // A logical name that has never been handed out and is not assigned: "#LN00001" and so on.
  Name8 unique_name();

 private:
  std::map<Name8, AMMCB*> methods_;
  std::map<Name8, AMMCB*> assigned_;
  long counter_ = 0;
};

}  // namespace fileref::runtime
