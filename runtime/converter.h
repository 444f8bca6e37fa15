// Conversion of text between encodings, over the C library's iconv.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fileref::runtime {

// Converts a stream of bytes piece by piece; a character may be split over two pieces.
class Converter {
 public:
  // No value when the C library does not know one of the encodings.
  static std::optional<Converter> open(const std::string& from, const std::string& to);

  Converter(Converter&& other) noexcept;
  Converter& operator=(Converter&& other) noexcept;
  ~Converter();

  // Appends the converted form of `input` to `output`. Bytes of a last, unfinished character wait
  // for the next call. False at bytes that are no text in the source encoding or that the target
  // encoding cannot hold; what came before them has been appended.
  bool convert(std::string_view input, std::string& output);
  // Ends the stream. False when it ended inside a character. What follows is a new stream.
  bool finish(std::string& output);
  // Forgets what was converted, good or not: what follows is a new stream.
  void restart();

 private:
  explicit Converter(void* handle) : handle_(handle) {}

  void* handle_;  // iconv_t
  std::string waiting_;
};

}  // namespace fileref::runtime
