#include "runtime/launch/blot.h"

#include <algorithm>

#include "runtime/launch/command_line.h"

namespace fileref::runtime {
namespace {

constexpr std::size_t kShortest = 4;
constexpr std::string_view kAsterisks = "********";

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

std::string Blot::operator()(std::string_view text) const {
  std::string shown(text);
  for (const std::string& piece : pieces_) {
    for (std::size_t at = 0; (at = shown.find(piece, at)) != shown.npos; at += kAsterisks.size()) {
      shown.replace(at, piece.size(), kAsterisks);
    }
  }
  return shown;
}

}  // namespace fileref::runtime
