// Named numbers that a program shares with the access method.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace fileref::runtime {

class Variables {
 public:
  // The variable's value, made 0 when it is new. Stays where it is until the host ends. Names are
  // told apart without regard to case.
  double& at(std::string_view name);
  // Null when nobody made it.
  double* find(std::string_view name);

 private:
  std::map<std::string, double> values_;
};

}  // namespace fileref::runtime
