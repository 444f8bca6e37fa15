#include "runtime/launch/blot.h"

#include <algorithm>

#include "runtime/launch/command_line.h"

namespace fileref::runtime {
namespace {

constexpr std::size_t kShortest = 4;
constexpr std::string_view kAsterisks = "********";

bool same_letter(char one, char other) {
  const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return small(one) == small(other);
}

}  // namespace

void Blot::add(std::string_view secret) {
  add_piece(secret);
  std::string why;
  for (const std::string& word : split_words(secret, &why).value_or(std::vector<std::string>())) {
    add_piece(word);
    if (word.starts_with('-'))
      add_piece(std::string_view(word).substr(std::min<std::size_t>(2, word.size())));
    if (const std::size_t equals = word.find('='); equals != word.npos) {
      add_piece(std::string_view(word).substr(equals + 1));
    }
  }
}

void Blot::add_piece(std::string_view piece) {
  if (piece.size() < kShortest ||
      std::find(pieces_.begin(), pieces_.end(), piece) != pieces_.end()) {
    return;
  }
  pieces_.emplace_back(piece);
  std::stable_sort(pieces_.begin(), pieces_.end(),
                   [](const auto& one, const auto& other) { return one.size() > other.size(); });
}

// Clients repeat some words in small letters.
std::string Blot::operator()(std::string_view text) const {
  std::string shown(text);
  for (const std::string& piece : pieces_) {
    for (auto at = shown.begin(); (at = std::search(at, shown.end(), piece.begin(), piece.end(),
                                                    &same_letter)) != shown.end();) {
      const auto offset = at - shown.begin();
      shown.replace(static_cast<std::size_t>(offset), piece.size(), kAsterisks);
      at = shown.begin() + offset + static_cast<std::ptrdiff_t>(kAsterisks.size());
    }
  }
  return shown;
}

}  // namespace fileref::runtime
