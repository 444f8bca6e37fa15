#include "runtime/launch/openssh/unclear_name.h"

#include <utility>

#include "runtime/launch/openssh/openssh.h"

namespace fileref::runtime {
namespace {

constexpr std::size_t kDigits = 3;

bool is_octal(char c) {
  return c >= '0' && c <= '7';
}

// The byte that the backslash at `at` may stand for.
std::optional<char> hidden_byte(std::string_view shown, std::size_t at) {
  if (shown[at] != '\\' || shown.size() - at <= kDigits) return std::nullopt;
  unsigned value = 0;
  for (std::size_t i = 1; i <= kDigits; ++i) {
    const char digit = shown[at + i];
    if (!is_octal(digit)) return std::nullopt;
    value = value * 8 + static_cast<unsigned>(digit - '0');
  }
  const bool printed_as_it_is =
      (value >= 0x20 && value < 0x7f) || value == '\t' || value == '\n' || value == '\r';
  if (value == 0 || value > 0xff || printed_as_it_is) return std::nullopt;
  return static_cast<char>(value);
}

}  // namespace

std::size_t hidden_bytes(std::string_view shown) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = shown.find('\\', at)) != shown.npos; ++at) {
    if (hidden_byte(shown, at)) ++count;
  }
  return count;
}

UnclearName::UnclearName(std::string_view shown) {
  std::size_t start = 0;
  for (std::size_t at = 0; (at = shown.find('\\', at)) != shown.npos;) {
    if (!hidden_byte(shown, at)) {
      ++at;
      continue;
    }
    literal_.emplace_back(shown.substr(start, at - start));
    digits_.emplace_back(shown.substr(at, kDigits + 1));
    start = at += kDigits + 1;
  }
  literal_.emplace_back(shown.substr(start));
}

// The next branch of the tree of choices. False behind the last.
bool UnclearName::next_choice() {
  if (std::exchange(deeper_, false) && choice_.size() < digits_.size()) {
    choice_.push_back(false);
    return true;
  }
  while (!choice_.empty() && choice_.back()) choice_.pop_back();
  if (choice_.empty()) return false;
  choice_.back() = true;
  return true;
}

std::optional<UnclearName::Candidate> UnclearName::next() {
  constexpr std::size_t kAlike = 2;  // all places bytes, all literal
  if (tried_ < kAlike) return candidate(std::vector<bool>(digits_.size(), tried_++ == 1));
  if (!next_choice()) return std::nullopt;
  return candidate(choice_);
}

UnclearName::Candidate UnclearName::candidate(const std::vector<bool>& is_literal) const {
  const auto quoted = [](std::string_view text) {
    const std::string whole = openssh::quote_for_listing(text);
    return whole.substr(1, whole.size() - 2);
  };
  Candidate result{literal_[0], quoted(literal_[0]), is_literal.size() == digits_.size()};
  for (std::size_t i = 0; i < is_literal.size(); ++i) {
    if (is_literal[i]) {
      result.name += digits_[i];
      result.shown += quoted(digits_[i]);
    } else {
      result.name += *hidden_byte(digits_[i], 0);
      result.shown += digits_[i];
    }
    result.name += literal_[i + 1];
    result.shown += quoted(literal_[i + 1]);
  }
  return result;
}

}  // namespace fileref::runtime
