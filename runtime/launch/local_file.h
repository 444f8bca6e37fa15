// The local side of a transfer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace fileref::runtime {

// The size in bytes of a regular file; nothing when `path` is none. Links are not followed.
std::optional<std::uint64_t> local_size(const std::string& path);

// False as well when one of them cannot be read.
bool same_contents(const std::string& path, const std::string& other);

// Each returns 0 or an errno.
int remove_local(const std::string& path);  // 0 as well when there was no such file
int rename_local(const std::string& from, const std::string& to);
int set_local_mode(const std::string& path, unsigned mode);
// Whether a file of this name could be created now; leaves none behind.
int probe_local(const std::string& path);

// The permissions that this process gives to an ordinary new file.
unsigned default_file_mode();

}  // namespace fileref::runtime
