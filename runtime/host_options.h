// The host options a module may ask for.
#pragma once

#include "host/types.h"

namespace fileref::runtime {

struct HostOptionValues {
  static constexpr int kXcmdNumber = 12356;
  static constexpr int kRecordLengthNumber = 4488;
  // The attribute word of an option that nobody set: the system's default.
  static constexpr unsigned kSystemDefault = 0x01000000;
  static constexpr unsigned kSetByUser = 0x02000000;

  bool external_commands = true;
  long record_length = 32767;  // bytes
  bool record_length_is_default = true;
};

}  // namespace fileref::runtime
