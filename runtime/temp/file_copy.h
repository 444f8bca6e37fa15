// Copies parts of a file to another descriptor without reading them into this process.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string_view>

#include "runtime/file_range.h"

namespace fileref::runtime {

// Where bytes go. Behind each signal that comes while they are written, and while the descriptor
// takes none (one that does not wait by itself), `interrupted` is asked, if there is one; true ends
// the writing.
struct Destination {
  int fd;
  std::function<bool()> interrupted = {};
};

// Each returns the offset in `file` behind what was copied, which may be where it began: where the
// file cannot be mapped, nothing is. Throws std::system_error when `out` cannot be written, with
// EINTR when that was interrupted.

// Copies what stands from `begin` to the end.
off_t copy_bytes(int file, off_t begin, const Destination& out);
// Copies whole lines from `begin` on, up to one that has no line feed, is longer than `longest`
// bytes without it, or than a megabyte.
off_t copy_lines(int file, off_t begin, std::size_t longest, const Destination& out);

// The leading lines of a text that have their line feed, and at most `longest` bytes without it.
std::string_view lines_within(std::string_view text, std::size_t longest);

// Whether no line has more than `longest` bytes. False as well when that cannot be told: the bytes
// cannot be read, a line is longer than a megabyte, or `interrupted`, asked under way, says true.
bool are_lines_within(FileRange bytes, std::size_t longest,
                      const std::function<bool()>& interrupted);

// The line feeds in a text, and in a file before `end`.
long count_lines(std::string_view text);
long count_lines(int file, off_t end);

// Writes all of `text`. Throws as they do.
void write_all(const Destination& out, std::string_view text);

}  // namespace fileref::runtime
