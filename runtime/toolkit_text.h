// Toolkit characters and session text.
#pragma once

#include <string>
#include <string_view>

#include "host/toolkit.h"

namespace fileref::runtime {

// UTF-8 characters become their code points. Any other byte B becomes 0xDC00 + B, which no text
// holds, so that every byte survives the way there and back.
std::u32string to_toolkit_text(std::string_view text);
// `text` ends at its first zero.
std::string from_toolkit_text(const TKChar* text);

}  // namespace fileref::runtime
