#include "cli/progress_line.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "cli/report.h"
#include "fileref/printable.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kQuietTime{1};
constexpr Seconds kShownAtLeast{0.1};
constexpr Seconds kTimeOfRate{5};
constexpr std::size_t kBarWidth = 10;
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

// "[===>      ]  41 %  "
std::string bar(double bytes, double total) {
  const double part = std::clamp(bytes / total, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(part * kBarWidth);
  std::string drawn(filled, '=');
  if (filled < kBarWidth) drawn += '>';
  return fmt::format("[{:<{}}] {:3.0f} %  ", drawn, kBarWidth, 100 * part);
}

// "0:07", "1:00:00"
std::string in_minutes(double seconds) {
  const long whole = std::lround(std::min(seconds, 359999.0));
  const long hours = whole / 3600, minutes = whole / 60 % 60;
  if (hours == 0) return fmt::format("{}:{:02}", minutes, whole % 60);
  return fmt::format("{}:{:02}:{:02}", hours, minutes, whole % 60);
}

// How fast something moved of late.
class Rate {
 public:
  void add(Clock::time_point now, double bytes) {
    const bool went_back = !seen_.empty() && bytes < seen_.back().bytes;  // it was begun again
    if (went_back) seen_.clear();
    seen_.push_back({now, bytes});
    while (seen_.size() > 2 && now - seen_[1].at > kTimeOfRate) seen_.pop_front();
  }
  // Bytes a second; 0: not known.
  double value() const {
    if (seen_.empty()) return 0;
    const Seconds passed = seen_.back().at - seen_.front().at;
    return passed.count() > 0 ? (seen_.back().bytes - seen_.front().bytes) / passed.count() : 0;
  }
  void forget() { seen_.clear(); }

 private:
  struct Seen {
    Clock::time_point at;
    double bytes;
  };
  std::deque<Seen> seen_;
};

std::string line_for(const fileref::Progress& progress, double rate, std::size_t width) {
  const auto bytes = static_cast<double>(progress.bytes);
  const auto total = static_cast<double>(progress.total.value_or(0));
  std::string line;
  if (total > 0 && width >= kWidthForBar) line = bar(bytes, total);
  line += scaled(bytes) + (total > 0 ? " of " + scaled(total) : "") + "  ";
  if (rate > 0) line += scaled(rate) + "/s  ";
  if (rate > 0 && total > bytes) line += in_minutes((total - bytes) / rate) + " left  ";
  if (progress.files > 1) line += fmt::format("{} of {}  ", progress.number, progress.files);
  return line + fileref::printable(progress.file);
}

class ProgressLine {
 public:
  void show(const fileref::Progress& progress) {
    const Clock::time_point now = Clock::now();
    if (progress.ended || progress.file != file_) rate_.forget();
    file_ = progress.file;
    if (progress.ended) {
      clear();
      if (progress.number >= progress.files) begun_.reset();
      return;
    }
    if (!begun_) begun_ = now;
    rate_.add(now, static_cast<double>(progress.bytes));
    if (now - *begun_ < kQuietTime || (shown_ && now - shown_at_ < kShownAtLeast)) return;
    const std::size_t width = terminal_width();
    clear();
    write(first_columns(line_for(progress, rate_.value(), width), width - 1));
    shown_at_ = now;
    shown_ = true;
  }
  void clear() {
    if (std::exchange(shown_, false)) write("\r" + std::string(terminal_width() - 1, ' ') + "\r");
  }

 private:
  static void write(const std::string& text) { std::fputs(text.c_str(), stderr); }

  std::optional<Clock::time_point> begun_;  // the first of the files under way
  std::string file_;
  Rate rate_;
  Clock::time_point shown_at_;
  bool shown_ = false;
};

// There is one terminal.
ProgressLine& the_line() {
  static ProgressLine line;
  return line;
}

}  // namespace

void show_progress(fileref::HostOptions& options, std::size_t number, std::size_t files) {
  if (isatty(STDERR_FILENO) == 0) return;
  options.progress = [number, files](fileref::Progress progress) {
    if (progress.files == 1) {
      progress.number = number;
      progress.files = files;
    }
    the_line().show(progress);
  };
}

void clear_progress() noexcept {
  the_line().clear();
}

}  // namespace cli
