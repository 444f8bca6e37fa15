// Names made to be misread.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace fileref {

// What a file server can hold and a listing should survive, in bytewise order.
inline std::vector<std::string> hostile_names() {
  std::vector<std::string> names = {"sftp>",
                                    "sftp> ",
                                    "sftp >",
                                    "no such file or directory",
                                    "NO SUCH FILE OR DIRECTORY",
                                    "canonicalise",
                                    "Invalid flag -a",
                                    "unable to open",
                                    "Can't ls: \"x\" not found",
                                    " leading",
                                    "trailing ",
                                    "two  blanks",
                                    " ",
                                    "tab\there",
                                    "cr\rhere",
                                    "it's",
                                    "\"quoted\"",
                                    "both ' and \"",
                                    "back\\slash",
                                    "\\101",
                                    "\\\\",
                                    "star*",
                                    "what?",
                                    "[abc]",
                                    "{a,b}",
                                    "-dash",
                                    "-rw-r--r--    1 0 0 5 Nov 22 21:05 x",
                                    "#comment",
                                    "!shell",
                                    "$HOME",
                                    "~",
                                    "a..b",
                                    "x .",
                                    "x ..",
                                    "...",
                                    "..hidden",
                                    ".hidden",
                                    "(list",
                                    "ends)",
                                    "gr\xC3\xBC\xC3\x9F",
                                    "\xE2\x82\xAC uro",
                                    "broken\xC3",
                                    "\xFF\xFE",
                                    "bell\007esc\033",
                                    "ctl\001\002\003\037\177",
                                    std::string(255, 'n'),
                                    std::string(250, ' ') + "last"};
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
      return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
    });
  });
  return names;
}

}  // namespace fileref
