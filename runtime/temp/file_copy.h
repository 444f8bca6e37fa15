// Copies parts of a file to another descriptor without reading them into this process.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace fileref::runtime {

// Each returns the offset in `file` behind what was copied, which may be where it began: where the
// file cannot be mapped, nothing is. Throws std::system_error when `out` cannot be written.

// Copies what stands from `begin` to the end.
off_t copy_bytes(int file, off_t begin, int out);
// Copies whole lines from `begin` on, up to one that has no line feed, is longer than `longest`
// bytes without it, or than a megabyte.
off_t copy_lines(int file, off_t begin, std::size_t longest, int out);

// The line feeds before `end`.
long count_lines(int file, off_t end);

// Writes all of `text`. Throws std::system_error.
void write_all(int out, std::string_view text);

}  // namespace fileref::runtime
