#include "runtime/launch/unclear_name.h"

#include "runtime/launch/openssh.h"

namespace fileref::runtime {
namespace {

// Names with more places than that are asked for in some of the possible ways only.
constexpr std::size_t kMostPlaces = 6;

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

// All bytes, then all literal, then the mixtures: every one of few places; of many only those that
// change once along the name or differ in one place.
bool UnclearName::is_literal(std::size_t place) const {
  if (tried_ < 2) return tried_ == 1;
  if (digits_.size() <= kMostPlaces) return ((tried_ - 1) >> place & 1) != 0;
  const std::size_t at = (tried_ - 2) / 4;
  switch ((tried_ - 2) % 4) {
    case 0:
      return place >= at;
    case 1:
      return place < at;
    case 2:
      return place == at;
    default:
      return place != at;
  }
}

std::optional<UnclearName::Candidate> UnclearName::next() {
  const std::size_t places = digits_.size();
  const std::size_t ways = places <= kMostPlaces ? std::size_t{1} << places : 2 + 4 * places;
  if (tried_ == ways) return std::nullopt;
  const auto quoted = [](std::string_view text) {
    const std::string whole = openssh::quote_for_listing(text);
    return whole.substr(1, whole.size() - 2);
  };
  Candidate candidate{literal_[0], quoted(literal_[0])};
  for (std::size_t i = 0; i < digits_.size(); ++i) {
    if (is_literal(i)) {
      candidate.name += digits_[i];
      candidate.shown += quoted(digits_[i]);
    } else {
      candidate.name += *hidden_byte(digits_[i], 0);
      candidate.shown += digits_[i];
    }
    candidate.name += literal_[i + 1];
    candidate.shown += quoted(literal_[i + 1]);
  }
  ++tried_;
  return candidate;
}

}  // namespace fileref::runtime
