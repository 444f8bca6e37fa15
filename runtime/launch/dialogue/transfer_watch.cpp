#include "runtime/launch/dialogue/transfer_watch.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "runtime/launch/local_file.h"

namespace fileref::runtime {
namespace {

constexpr std::chrono::milliseconds kLookInterval{200};

bool are_same_file(const std::string& one, const std::string& other) {
  struct stat a, b;
  return ::stat(one.c_str(), &a) == 0 && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

// How far a process has read a file that it holds open.
std::optional<std::uint64_t> position_in(const std::string& local, pid_t process) {
  const std::string about = "/proc/" + std::to_string(process);
  std::error_code gone;
  std::filesystem::directory_iterator descriptors(about + "/fd", gone), none;
  for (; !gone && descriptors != none; descriptors.increment(gone)) {
    if (!are_same_file(descriptors->path(), local)) continue;
    std::ifstream info(about + "/fdinfo/" + descriptors->path().filename().string());
    std::string label;
    std::uint64_t position = 0;
    if (info >> label >> position && label == "pos:") return position;
  }
  return std::nullopt;
}

}  // namespace

void TransferWatch::begin(const Request& request) {
  if (!report_ || !request.moves) return;
  transfer_ = request.moves;
  due_ = Clock::now() + kLookInterval;
  told_.reset();
}

void TransferWatch::look(pid_t client) {
  if (Clock::now() < due()) return;
  due_ = Clock::now() + kLookInterval;
  const std::string& local = transfer_->local;
  const auto bytes = transfer_->is_upload ? position_in(local, client) : local_size(local);
  if (!bytes) return;
  told_ = bytes;
  report_(*transfer_, *bytes, false);
}

void TransferWatch::end() {
  if (transfer_ && told_) report_(*transfer_, *told_, true);
  transfer_.reset();
}

}  // namespace fileref::runtime
