#include "runtime/registry.h"

#include <fmt/format.h>

namespace fileref::runtime {
namespace {

AMMCB* find(const std::map<Name8, AMMCB*>& blocks, const Name8& name) {
  const auto found = blocks.find(name);
  return found == blocks.end() ? nullptr : found->second;
}

}  // namespace

AMMCB* Registry::method(const Name8& name) const {
  return find(methods_, name);
}

AMMCB* Registry::assigned(const Name8& logical) const {
  return find(assigned_, logical);
}

Name8 Registry::unique_name() {
  Name8 name;
  do {
    name = name8(fmt::format("#LN{:05X}", ++counter_ & 0xFFFFF));
  } while (assigned_.contains(name));
  return name;
}

}  // namespace fileref::runtime
