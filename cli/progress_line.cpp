#include "cli/progress_line.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>

#include "cli/report.h"
#include "fileref/printable.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kQuietTime{1};
constexpr std::size_t kBarWidth = 25;
constexpr std::size_t kWidthForBar = 60;  // of the terminal

std::size_t terminal_width() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return 80;
  return size.ws_col;
}

// "12.3 MB"
std::string scaled(double bytes) {
  constexpr std::array kUnits = {"B", "kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  for (; bytes >= 1000 && unit + 1 < kUnits.size(); ++unit) bytes /= 1000;
  return fmt::format("{:.{}f} {}", bytes, unit == 0 ? 0 : 1, kUnits[unit]);
}

// "[=======>          ]  41 %  "
std::string bar(double bytes, double total) {
  const double part = std::clamp(bytes / total, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(part * kBarWidth);
  std::string drawn(filled, '=');
  if (filled < kBarWidth) drawn += '>';
  return fmt::format("[{:<{}}] {:3.0f} %  ", drawn, kBarWidth, 100 * part);
}

class ProgressLine {
 public:
  void show(const fileref::Progress& progress) {
    if (progress.ended) return clear();
    const auto bytes = static_cast<double>(progress.bytes);
    if (!first_) first_ = {Clock::now(), bytes};
    const Seconds passed = Clock::now() - first_->at;
    if (passed < kQuietTime) return;
    const std::size_t width = terminal_width();
    const bool has_bar = progress.total.value_or(0) > 0 && width >= kWidthForBar;
    std::string line;
    if (has_bar) line = bar(bytes, static_cast<double>(*progress.total));
    line +=
        fmt::format("{}  {}/s  {}", scaled(bytes), scaled((bytes - first_->bytes) / passed.count()),
                    fileref::printable(progress.file));
    clear_line();
    tell(first_columns(line, width - 1));
    shown_ = true;
  }

 private:
  void clear() {
    if (shown_) clear_line();
    first_.reset();
    shown_ = false;
  }
  static void clear_line() { tell("\r" + std::string(terminal_width() - 1, ' ') + "\r"); }

  struct First {
    Clock::time_point at;
    double bytes;
  };
  std::optional<First> first_;  // report of the transfer under way
  bool shown_ = false;
};

}  // namespace

void show_progress(fileref::HostOptions& options) {
  if (isatty(STDERR_FILENO) == 0) return;
  options.progress = [line = ProgressLine()](const fileref::Progress& progress) mutable {
    line.show(progress);
  };
}

}  // namespace cli
