// The session encoding: letter case, translation tables, and other encodings by name.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/control.h"
#include "host/types.h"

namespace fileref::runtime {

class Text {
 public:
  // `session_encoding` is a name the C library knows. Unknown, or neither UTF-8 nor a single-byte
  // encoding that holds ASCII: throws std::invalid_argument.
  explicit Text(std::string session_encoding);

  const std::string& session_encoding() const { return session_encoding_; }
  bool multibyte() const { return session_.multibyte != 0; }
  const WZ_SESSION& session() const { return session_; }
  // 256 bytes.
  const tuchar* table(TranslateFunction function) const { return tables_[function].data(); }

  // In place, in the session encoding. A character whose other case takes another number of bytes
  // is left as it is, and so are bytes that are no text.
  void to_upper(char* text, std::size_t length) const;
  void to_lower(char* text, std::size_t length) const;

  // The identifier of an encoding by name, made when it is new. U_INVALID_CE when the C library
  // cannot convert between it and the session encoding.
  u_cei encoding(std::string_view name);
  // Empty for the default and for identifiers never handed out.
  std::string encoding_name(u_cei encoding) const;

 private:
  void fill_tables();

  std::string session_encoding_;
  WZ_SESSION session_{};
  std::array<std::array<tuchar, 256>, kTranslateFunctions> tables_{};
  std::vector<std::string> encodings_;
};

}  // namespace fileref::runtime
