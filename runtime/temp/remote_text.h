// Text of a remote file in an encoding of its own.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/converter.h"

namespace fileref::runtime {

// Knows where such text can be cut, which is before it is converted: lengths and places are those
// of the remote bytes. Records come and go in the session encoding.
class RemoteText {
 public:
  // No value when one of the encodings is not known, or `encoding` has no line feed or blank of its
  // own.
  static std::optional<RemoteText> open(const std::string& encoding, const std::string& session);

  const std::string& encoding() const { return encoding_; }
  std::string_view blank() const { return blank_; }
  std::string_view line_feed() const { return line_feed_; }

  // To read. Called first, with the beginning of the file: settles the byte order, and returns the
  // length of the mark of it that stands in front of the first record, if one does.
  std::size_t begin(std::string_view text);
  // The most bytes that `begin` looks at.
  static constexpr std::size_t kLongestMark = 4;
  // Where the first line end of `text`, the beginning of a line, stands from `from` on; npos when
  // there is none. Of EBCDIC text a next-line character ends a line, too. Every line end has the
  // length of a line feed.
  std::size_t find_line_end(std::string_view text, std::size_t from = 0) const;
  // Each appends the converted text to `record`. False when there is no such text in the encoding.
  // A line, which stands in `line` without its end:
  bool decode_line(std::string_view line, std::string& record);
  // The last line, which has no end:
  bool decode_last_line(std::string_view line, std::string& record);
  // A record that has nothing to do with those before it, and ends with a whole character:
  bool decode_record(std::string_view bytes, std::string& record);
  // A piece of a stream; of a character that it cuts the next one makes a whole.
  bool decode_piece(std::string_view bytes, std::string& record);
  // The end of the stream. False when it cuts a character.
  bool decode_end(std::string& record) { return decoder_.finish(record); }

  // To write: what the encoding wants in front of the first record, for instance a byte order mark.
  std::string_view header() const { return header_; }
  // A record by itself, without header and line end. False when the encoding cannot express it.
  bool encode_record(std::string_view record, std::string& bytes);
  // The same as for reading. A header comes with the first piece.
  bool encode_piece(std::string_view record, std::string& bytes);
  bool encode_end(std::string& bytes) { return encoder_.finish(bytes); }

 private:
  RemoteText(std::string encoding, Converter decoder, Converter encoder, Converter to_utf8);

  bool learn_characters();
  // Whether `bytes`, at the beginning of a file, stand for exactly `text`, in UTF-8.
  bool stands_for(std::string_view bytes, std::string_view text);

  std::string encoding_;
  Converter decoder_;
  Converter encoder_;
  Converter to_utf8_;
  std::string header_;
  std::string mark_;  // of the file that is read
  std::string blank_;
  std::string line_feed_;
  char next_line_ = 0;  // another line end, unless 0
  std::string line_;
};

}  // namespace fileref::runtime
