#include "fileref/printable.h"

#include "runtime/printable.h"

namespace fileref {

std::string printable(std::string_view text) {
  return runtime::printable(text);
}

std::string printable_name(std::string_view name) {
  return runtime::printable_name(name);
}

}  // namespace fileref
