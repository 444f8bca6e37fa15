#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "cli/session.h"

namespace cli {
namespace {

constexpr std::size_t kMost = std::size_t{64} << 10;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw WrongUse(fmt::format("the option file \"{}\" cannot be used: {}", path, why));
}

std::string text_of(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text;
  std::array<char, 4096> piece;
  ssize_t count = file < 0 ? -1 : 1;
  while (count > 0 && text.size() <= kMost) {
    count = ::read(file, piece.data(), piece.size());
    if (count > 0) text.append(piece.data(), static_cast<std::size_t>(count));
  }
  const int error = errno;
  if (file >= 0) close(file);
  if (count < 0) refuse(path, std::generic_category().message(error));
  if (text.size() > kMost) refuse(path, "it is larger than 64 KiB");
  if (text.find('\0') != std::string::npos) refuse(path, "it holds a NUL byte");
  return text;
}

}  // namespace

Request with_option_files(Request request) {
  for (std::string& option : request.options) {
    if (option.starts_with('@')) option = text_of(option.substr(1));
  }
  return request;
}

}  // namespace cli
