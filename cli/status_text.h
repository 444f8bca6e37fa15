// What is known of a remote file, in words.
#pragma once

#include <string>

#include "cli/json_output.h"
#include "fileref/file_status.h"

namespace cli {

const char* word_for(fileref::FileStatus::Kind kind);
// "-rw-r--r--"
std::string mode_in_letters(const fileref::FileStatus& status);
// "2026-11-23 09:30:12", local time; "?" when it is not known.
std::string local_time(const fileref::FileStatus& status);

// Adds kind, size, time in UTC and mode; null for what is not known.
void put_status(Json& object, const fileref::FileStatus& status);

}  // namespace cli
