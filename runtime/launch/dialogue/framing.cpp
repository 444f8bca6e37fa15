#include "runtime/launch/dialogue/framing.h"

#include <sys/random.h>

#include <algorithm>
#include <array>

namespace fileref::runtime {

std::string make_nonce() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<unsigned char, 16> random;
  if (::getrandom(random.data(), random.size(), 0) != ssize_t{sizeof random}) return {};
  std::string nonce;
  for (const unsigned char byte : random) {
    nonce += kDigits[byte >> 4];
    nonce += kDigits[byte & 15];
  }
  return nonce;
}

Exchange::Exchange(Request request, Sentinel sentinel)
    : request_(std::move(request)), sentinel_(std::move(sentinel)) {}

std::string Exchange::input() const {
  std::string input;
  for (const std::string& line : request_.lines) input += line + '\n';
  return input + sentinel_.line + '\n';
}

bool Exchange::take_output(std::string_view bytes) {
  if (complete_) return true;
  std::string& out = reply_.out;
  out += bytes;
  for (std::size_t at; (at = out.find(sentinel_.mark, searched_)) != out.npos; searched_ = at + 1) {
    if (sentinel_.at_line_start && at > 0 && out[at - 1] != '\n') continue;
    out.resize(at);
    return complete_ = true;
  }
  const std::size_t overlap = sentinel_.mark.size() - 1;
  searched_ = std::max(searched_, out.size() - std::min(out.size(), overlap));
  return false;
}

}  // namespace fileref::runtime
