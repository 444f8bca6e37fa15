#include "runtime/variables.h"

#include "runtime/names.h"

namespace fileref::runtime {

double& Variables::at(std::string_view name) {
  return values_[upper_ascii(trimmed(name))];
}

double* Variables::find(std::string_view name) {
  const auto found = values_.find(upper_ascii(trimmed(name)));
  return found == values_.end() ? nullptr : &found->second;
}

}  // namespace fileref::runtime
