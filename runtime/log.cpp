#include "runtime/log.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>

#include "runtime/printable.h"

namespace fileref::runtime {

void Log::write(std::string_view kind, std::string_view text) {
  if (!sink_) return;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  const auto now = std::chrono::system_clock::now();
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  sink_(fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {} {}: {}",
                    fmt::gmtime(std::chrono::system_clock::to_time_t(now)), milliseconds,
                    subject_.empty() ? "-" : subject_, kind, printable(text)));
}

}  // namespace fileref::runtime
