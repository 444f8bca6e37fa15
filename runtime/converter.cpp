#include "runtime/converter.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <utility>

namespace fileref::runtime {
namespace {
// What iconv_open returns when it fails; never a handle.
void* const kNone = reinterpret_cast<void*>(-1);  // NOLINT(performance-no-int-to-ptr)
}  // namespace

std::optional<Converter> Converter::open(const std::string& from, const std::string& to) {
  const iconv_t handle = iconv_open(to.c_str(), from.c_str());
  if (handle == kNone) return std::nullopt;
  return Converter(handle);
}

Converter::Converter(Converter&& other) noexcept
    : handle_(std::exchange(other.handle_, kNone)), waiting_(std::move(other.waiting_)) {}

Converter& Converter::operator=(Converter&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(waiting_, other.waiting_);
  return *this;
}

Converter::~Converter() {
  if (handle_ != kNone) iconv_close(handle_);
}

bool Converter::convert(std::string_view input, std::string& output) {
  waiting_.append(input);
  char* from = waiting_.data();
  std::size_t left = waiting_.size();
  std::array<char, 8192> piece;
  bool good = true;
  while (left > 0) {
    char* to = piece.data();
    std::size_t room = piece.size();
    const std::size_t result = iconv(handle_, &from, &left, &to, &room);
    output.append(piece.data(), piece.size() - room);
    if (result != static_cast<std::size_t>(-1) || errno == E2BIG) continue;
    good = errno == EINVAL;  // an unfinished character at the end is no fault yet
    break;
  }
  waiting_.erase(0, waiting_.size() - left);
  return good;
}

bool Converter::finish(std::string& output) {
  std::array<char, 64> piece;
  char* to = piece.data();
  std::size_t room = piece.size();
  iconv(handle_, nullptr, nullptr, &to, &room);
  output.append(piece.data(), piece.size() - room);
  return std::exchange(waiting_, {}).empty();
}

void Converter::restart() {
  waiting_.clear();
  iconv(handle_, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace fileref::runtime
