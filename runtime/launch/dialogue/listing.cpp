#include "runtime/launch/dialogue/listing.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <vector>

namespace fileref::runtime {
namespace {

using Kind = RemoteFile::Kind;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// "Nov 22 21:25 " or "Jan  1  1970 ".
constexpr std::size_t kDateLength = 13;

bool is_date(std::string_view text) {
  const auto letter = [&](std::size_t i) {
    return std::isalpha(static_cast<unsigned char>(text[i]));
  };
  const auto digit_or_blank = [&](std::size_t i) { return text[i] == ' ' || is_digit(text[i]); };
  return text.size() >= kDateLength && letter(0) && letter(1) && letter(2) && text[3] == ' ' &&
         digit_or_blank(4) && is_digit(text[5]) && text[6] == ' ' && digit_or_blank(7) &&
         is_digit(text[8]) && (text[9] == ':' || is_digit(text[9])) && is_digit(text[10]) &&
         is_digit(text[11]) && text[12] == ' ';
}

// "-rw-r--r-- ", perhaps with a mark of more rights in place of the blank.
constexpr std::size_t kModeLength = 10;

bool is_mode(std::string_view text) {
  return text.size() > kModeLength && text.find_first_not_of("rwxsStTlL-", 1) == kModeLength &&
         (std::isalpha(static_cast<unsigned char>(text[0])) || text[0] == '-' || text[0] == '?');
}

// "rwxr-s--T" as 03750.
std::uint32_t permissions(std::string_view mode) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < 9; ++i) {
    const std::uint32_t bit = 0400U >> i;
    const std::uint32_t special = 04000U >> (i / 3);
    const char c = mode[i];
    const bool is_special = c == 's' || c == 'S' || c == 't' || c == 'T';
    if (is_special) bits |= special;
    if (c == 's' || c == 't' || (!is_special && c != '-')) bits |= bit;
  }
  return bits;
}

// More than one line are as good as many.
std::vector<std::string_view> listed_lines(std::string_view out) {
  std::vector<std::string_view> lines;
  for (std::size_t end; lines.size() < 3 && (end = out.find('\n')) != out.npos;
       out.remove_prefix(end + 1)) {
    lines.push_back(out.substr(0, end));
  }
  if (!lines.empty()) lines.erase(lines.begin());
  return lines;
}

}  // namespace

// Owner and group may hold blanks, so the size is known by the date behind it.
std::optional<LongLine> parse_long_line(std::string_view line) {
  if (!is_mode(line)) return std::nullopt;
  for (std::size_t blank = line.find(' '); blank != line.npos; blank = line.find(' ', blank + 1)) {
    if (!is_digit(line[blank - 1]) || !is_date(line.substr(blank + 1))) continue;
    const std::size_t before = line.rfind(' ', blank - 1);
    if (before == line.npos) return std::nullopt;
    if (line.size() == blank + 1 + kDateLength) return std::nullopt;
    std::uint64_t size = 0;
    const char* end = line.data() + blank;
    const auto [parsed, error] = std::from_chars(line.data() + before + 1, end, size);
    if (error != std::errc{} || parsed != end) return std::nullopt;
    const FileStatus status{line[0], line[0] == 'l', size, permissions(line.substr(1))};
    return LongLine{status, line.substr(blank + 1 + kDateLength)};
  }
  return std::nullopt;
}

std::size_t slashes(std::string_view path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

RemoteFile remote_file(const LongLine& line) {
  switch (line.status.type) {
    case 'd':
      return {Kind::kDirectory, {}, line.status.mode};
    case 'p':
    case 's':
    case 'c':
    case 'b':
      return {Kind::kOther, {}, line.status.mode};
    case 'l':  // the target cannot be looked at; the size is the link's own
      return {};
    default:
      return {Kind::kFile, line.status.size, line.status.mode};
  }
}

RemoteFile read_listing(const Reply& reply, std::string_view name) {
  if (name.ends_with('/')) return {Kind::kDirectory};
  const std::vector<std::string_view> lines = listed_lines(reply.out);
  if (lines.empty()) return {reply.err.empty() ? Kind::kDirectory : Kind::kUnknown};
  if (lines.size() > 1) return {Kind::kDirectory};
  const std::optional<LongLine> entry = parse_long_line(lines.front());
  if (!entry) return {};
  if (slashes(entry->path) > slashes(name)) return {Kind::kDirectory};
  return remote_file(*entry);
}

}  // namespace fileref::runtime
