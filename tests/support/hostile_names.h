// Names made to be misread.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace fileref {

// The texts between the separators.
inline std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t end; (end = text.find(separator)) != text.npos; text.remove_prefix(end + 1)) {
    parts.emplace_back(text.substr(0, end));
  }
  if (!text.empty()) parts.emplace_back(text);
  return parts;
}

// With bytes that a client may not want to send to a terminal.
inline std::vector<std::string> unprintable_names() {
  return split(
      "tab\there/cr\rhere/broken\xC3/\xFF\xFE/bell\007esc\033/ctl\001\002\003\037\177/"
      "c1\x9B/c1\xC2\x9Bm/rtl\xE2\x80\xAEx/iso\xE2\x81\xA6x/line\xE2\x80\xA8x",
      '/');
}

// What a file server can hold and a listing should survive, in bytewise order.
inline std::vector<std::string> hostile_names() {
  std::vector<std::string> names = split(
      "sftp>/sftp> /sftp >/no such file or directory/NO SUCH FILE OR DIRECTORY/canonicalise/"
      "Invalid flag -a/unable to open/Can't ls: \"x\" not found/ leading/trailing /two  blanks/ /"
      "it's/\"quoted\"/both ' and \"/back\\slash/\\101/\\\\/star*/what?/[abc]/"
      "{a,b}/-dash/-rw-r--r--    1 0 0 5 Nov 22 21:05 x/#comment/!shell/$HOME/~/a..b/x ./x ../.../"
      "..hidden/.hidden/(list/ends)/gr\xC3\xBC\xC3\x9F/\xE2\x82\xAC uro",
      '/');
  for (const std::string& name : unprintable_names()) names.push_back(name);
  names.push_back(std::string(255, 'n'));
  names.push_back(std::string(250, ' ') + "last");
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace fileref
