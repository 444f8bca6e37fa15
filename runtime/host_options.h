// The host options a module may ask for.
#pragma once

namespace fileref::runtime {

struct HostOptionValues {
  bool external_commands = true;
  long record_length = 32767;  // bytes
  bool record_length_is_default = true;
};

}  // namespace fileref::runtime
