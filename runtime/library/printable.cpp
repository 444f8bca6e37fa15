#include "fileref/printable.h"

#include "runtime/printable.h"

namespace fileref {

std::string printable(std::string_view text) {
  return runtime::printable(text);
}

}  // namespace fileref
