#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "cli/session.h"

namespace cli {
namespace {

// Collects whole records, so that what is written out always ends with one.
class RecordOutput {
 public:
  explicit RecordOutput(bool line_feeds) : line_feeds_(line_feeds) { text_.reserve(2 * kEnough); }

  void add(std::string_view record) {
    text_.append(record);
    if (line_feeds_) text_ += '\n';
    if (text_.size() >= kEnough) flush();
  }

  void flush() {
    std::string_view left = text_;
    while (!left.empty()) {
      const ssize_t count = ::write(STDOUT_FILENO, left.data(), left.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw std::system_error(errno, std::generic_category(), "standard output");
      left.remove_prefix(static_cast<std::size_t>(count));
    }
    text_.clear();
  }

 private:
  static constexpr std::size_t kEnough = 1024 * 1024;
  std::string text_;
  bool line_feeds_;
};

}  // namespace

int read(const Request& request) {
  const fileref::Target target = file_target(request);
  fileref::Host host(host_options(request));
  host.assign(kFileref, target, request.options);
  // Stream records are printed as they come: no program variable counts their bytes.
  fileref::Input input = host.open(kFileref, {"NONBYTE"});
  RecordOutput output(!input.is_stream());
  for (const std::string_view record : input) output.add(record);
  output.flush();
  input.close();
  host.deassign(kFileref);
  return kDone;
}

}  // namespace cli
