#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "cli/session.h"

namespace cli {
namespace {

constexpr std::size_t kPiece = 256 * 1024;

// Reads at most `capacity` bytes of standard input; 0 at its end.
std::size_t read_input(char* buffer, std::size_t capacity) {
  for (;;) {
    throw_if_interrupted();
    const ssize_t count = ::read(STDIN_FILENO, buffer, capacity);
    if (count >= 0) return static_cast<std::size_t>(count);
    wait_to_go_on(STDIN_FILENO, POLLIN, "standard input");
  }
}

void write_bytes(fileref::Output& output) {
  const auto most = static_cast<std::size_t>(output.record_length());
  std::vector<char> buffer(std::min(most, kPiece));
  while (const std::size_t count = read_input(buffer.data(), buffer.size())) {
    output.write({buffer.data(), count});
  }
}

void write_lines(fileref::Output& output) {
  const std::size_t too_many = output.too_many_for_a_line();
  std::vector<char> buffer(kPiece);
  std::size_t held = 0;  // bytes of a line that is not complete yet
  for (;;) {
    if (held == buffer.size()) buffer.resize(2 * buffer.size());
    const std::size_t count = read_input(buffer.data() + held, buffer.size() - held);
    if (count == 0) break;
    const std::string_view all(buffer.data(), held + count);
    const std::string_view lines = all.substr(0, all.rfind('\n') + 1);
    output.write_lines(lines);
    held = all.size() - lines.size();
    std::memmove(buffer.data(), lines.end(), held);
    if (held >= too_many) output.write({buffer.data(), held});  // which refuses it
  }
  if (held > 0) output.write_last({buffer.data(), held});
}

fileref::Output open_output(fileref::Host& host, const Request& request) {
  if (request.member) {
    host.assign(kFileref, directory_target(request), member_options(request));
    return host.open_directory(kFileref).create(*request.member, request.type);
  }
  const fileref::Target target = file_target(request);
  if (!assign_file(host, target, request)) {
    throw WrongUse("\"" + target.last_part() +
                   "\" is a pattern, and no file has that name: --literal makes one that does");
  }
  return host.create(kFileref);
}

}  // namespace

int write(const Request& request) {
  fileref::Host host(host_options(request));
  fileref::Output output = open_output(host, request);
  if (output.write_file(STDIN_FILENO)) {
    throw_if_interrupted();
  } else if (output.is_stream()) {
    write_bytes(output);
  } else {
    write_lines(output);
  }
  output.close();
  host.deassign(kFileref);
  return kDone;
}

}  // namespace cli
