// The requests that one packet answers, with their replies taken apart. A reply that holds less
// than it must breaks the connection, and then nobody is told of it.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"

namespace fileref::sftp {

// A status that is not OK comes with nothing else.
using StatusTaker = std::function<void(const Status&)>;
using AttributesTaker = std::function<void(const Status&, const Attributes&)>;
// A handle or a path, valid during the call.
using TextTaker = std::function<void(const Status&, std::string_view)>;

// Links are followed.
void ask_attributes(Asker& asker, std::string_view path, AttributesTaker taker);
// Of the link itself.
void ask_link_attributes(Asker& asker, std::string_view path, AttributesTaker taker);
void ask_handle_attributes(Asker& asker, std::string_view handle, AttributesTaker taker);
// The absolute path without links, as the server knows it.
void ask_real_path(Asker& asker, std::string_view path, TextTaker taker);

enum class OpenFor : std::uint32_t {
  kReading = 0x1,
  kWriting = 0x2 | 0x8 | 0x10,     // made when it is missing, else emptied
  kWritingNew = 0x2 | 0x8 | 0x20,  // refused when it is there
};
// The attributes are those of a file that is made.
void open_file(Asker& asker, std::string_view path, OpenFor purpose, const Attributes& attributes,
               TextTaker taker);
void open_directory(Asker& asker, std::string_view path, TextTaker taker);

// One that is answered by a status alone, about a path or a handle.
void ask_status(Asker& asker, Type type, std::string_view subject, StatusTaker taker);
// Of a file that was to be removed.
bool is_gone(const Status& status);
void make_directory(Asker& asker, std::string_view path, StatusTaker taker);
void set_mode(Asker& asker, std::string_view handle, std::uint32_t mode, StatusTaker taker);
// Takes the place of a file that is there, where the server can do that.
constexpr std::string_view kReplacingRename = "posix-rename@openssh.com";
void rename_over(Asker& asker, std::string_view from, std::string_view to, StatusTaker taker);
// Puts what was written on the server's disk, where the server can do that.
constexpr std::string_view kSync = "fsync@openssh.com";
void sync(Asker& asker, std::string_view handle, StatusTaker taker);

// The outcome matters to nobody.
void close_unwatched(Connection& connection, std::string_view handle);

}  // namespace fileref::sftp
