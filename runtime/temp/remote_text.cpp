#include "runtime/temp/remote_text.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace fileref::runtime {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kByteOrderMarks[] = {"\xFF\xFE\0\0"sv, "\0\0\xFE\xFF"sv, "\xFF\xFE"sv,
                                                "\xFE\xFF"sv};
constexpr std::string_view kBlankOfEbcdic = "\x40";
constexpr char kNextLineOfEbcdic = '\x15';
constexpr std::string_view kNextLine = "\xC2\x85";

bool convert_whole(Converter& converter, std::string_view text, std::string& out) {
  converter.restart();
  return converter.convert(text, out) && converter.finish(out);
}

// As text.find, which is slow where the first byte of `wanted` is frequent.
std::size_t find(std::string_view text, std::string_view wanted, std::size_t from) {
  const void* place = memmem(text.data() + from, text.size() - from, wanted.data(), wanted.size());
  if (place == nullptr) return std::string_view::npos;
  return static_cast<std::size_t>(static_cast<const char*>(place) - text.data());
}

}  // namespace

std::optional<RemoteText> RemoteText::open(const std::string& encoding,
                                           const std::string& session) {
  auto decoder = Converter::open(encoding, session);
  auto encoder = Converter::open(session, encoding);
  auto to_utf8 = Converter::open(encoding, "UTF-8");
  if (!decoder || !encoder || !to_utf8) return std::nullopt;
  RemoteText text(encoding, std::move(*decoder), std::move(*encoder), std::move(*to_utf8));
  if (!text.learn_characters()) return std::nullopt;
  return text;
}

RemoteText::RemoteText(std::string encoding, Converter decoder, Converter encoder,
                       Converter to_utf8)
    : encoding_(std::move(encoding)),
      decoder_(std::move(decoder)),
      encoder_(std::move(encoder)),
      to_utf8_(std::move(to_utf8)) {}

// What two line feeds have more than one is a line feed; what stands before it, the header.
bool RemoteText::learn_characters() {
  std::string one;
  std::string two;
  if (!convert_whole(encoder_, "\n", one) || !convert_whole(encoder_, "\n\n", two)) return false;
  header_ = one.substr(0, one.size() - (two.size() - one.size()));
  line_feed_ = one.substr(header_.size());
  if (!encode_record(" ", blank_) || blank_.empty()) return false;
  const bool is_ebcdic = blank_ == kBlankOfEbcdic;
  if (is_ebcdic && stands_for({&kNextLineOfEbcdic, 1}, kNextLine)) next_line_ = kNextLineOfEbcdic;
  encoder_.restart();
  return blank_.size() == line_feed_.size() && stands_for(header_ + line_feed_, "\n");
}

bool RemoteText::stands_for(std::string_view bytes, std::string_view text) {
  std::string out;
  return convert_whole(to_utf8_, bytes, out) && out == text;
}

std::size_t RemoteText::begin(std::string_view text) {
  const auto is_mark = [&](std::string_view mark) {
    return !mark.empty() && text.starts_with(mark) && stands_for(mark, "");
  };
  if (is_mark(header_)) mark_ = header_;
  for (const std::string_view mark : kByteOrderMarks) {
    if (mark_.empty() && is_mark(mark)) mark_ = mark;
  }
  if (!stands_for(mark_ + line_feed_, "\n")) {
    std::reverse(line_feed_.begin(), line_feed_.end());
    std::reverse(blank_.begin(), blank_.end());
  }
  std::string nothing;
  decoder_.convert(mark_, nothing);
  return mark_.size();
}

std::size_t RemoteText::find_line_end(std::string_view text, std::size_t from) const {
  if (next_line_ != 0) {
    const char ends[] = {line_feed_.front(), next_line_};
    return text.find_first_of({ends, sizeof ends}, from);
  }
  const std::size_t unit = line_feed_.size();
  std::size_t at = find(text, line_feed_, from - from % unit);
  while (at != std::string_view::npos && at % unit != 0) at = find(text, line_feed_, at + 1);
  return at;
}

// A line end of whatever kind becomes a line feed here.
bool RemoteText::decode_line(std::string_view line, std::string& record) {
  line_.assign(line).append(line_feed_);
  if (!decoder_.convert(line_, record) || !record.ends_with('\n')) return false;
  record.pop_back();
  return true;
}

bool RemoteText::decode_last_line(std::string_view line, std::string& record) {
  return decoder_.convert(line, record) && decoder_.finish(record);
}

bool RemoteText::decode_record(std::string_view bytes, std::string& record) {
  decoder_.restart();
  return decoder_.convert(mark_, record) && decode_last_line(bytes, record);
}

bool RemoteText::decode_piece(std::string_view bytes, std::string& record) {
  return decoder_.convert(bytes, record);
}

bool RemoteText::encode_record(std::string_view record, std::string& bytes) {
  if (!convert_whole(encoder_, record, bytes)) return false;
  bytes.erase(0, header_.size());
  return true;
}

bool RemoteText::encode_piece(std::string_view record, std::string& bytes) {
  return encoder_.convert(record, bytes);
}

}  // namespace fileref::runtime
