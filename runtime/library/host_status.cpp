// What a host tells of remote files without fetching them.
#include "fileref/file_status.h"
#include "host/codes.h"
#include "runtime/library/host_impl.h"

namespace fileref {

using runtime::Name8;
using runtime::text_of;

std::optional<FileStatus> Host::Impl::stat(std::string_view fileref) {
  const Name8 name = checked_name(fileref);
  try {
    open_for_nothing(name)->close();
  } catch (const Failure&) {
    if (!runtime_.toolkit.trouble().no_such_directory) throw;
    return std::nullopt;
  }
  const std::string of(text_of(name));
  return ask_about(of, runtime_.toolkit.client_of(of), "stat", assigned_.at(name).file);
}

std::vector<InfoLine> Host::Impl::info(std::string_view fileref) {
  return open_for_nothing(checked_name(fileref))->info();
}

namespace {

FileStatus::Kind kind_of(char type) {
  switch (type) {
    case '-':
      return FileStatus::Kind::kFile;
    case 'd':
      return FileStatus::Kind::kDirectory;
    case 'l':
      return FileStatus::Kind::kLink;
    case runtime::FileStatus::kUnknownType:
      return FileStatus::Kind::kUnknown;
    default:
      return FileStatus::Kind::kOther;
  }
}

FileStatus public_status(const runtime::FileStatus& found) {
  FileStatus status{kind_of(found.type), found.is_link, found.size};
  if (found.modified) status.modified = *found.modified;
  if (found.mode) status.mode = *found.mode;
  return status;
}

}  // namespace

template <class Ask>
void Host::Impl::enter_client(const std::string& fileref,
                              const std::weak_ptr<runtime::Client>& client, Ask ask) {
  enter(fileref, [&] {
    const std::shared_ptr<runtime::Client> asked = client.lock();
    if (!asked) {
      runtime_.messages.attach_text("The session that was asked about the file has ended.");
      return kFailed;
    }
    const rctype rc = ask(*asked);
    if (rc != kSuccess) runtime_.messages.attach_text("It could not be found out what is there.");
    return rc == kSuccess ? kSuccess : kFailed;
  });
}

std::optional<FileStatus> Host::Impl::ask_about(const std::string& fileref,
                                                const std::weak_ptr<runtime::Client>& client,
                                                const char* command, std::string_view name) {
  std::optional<runtime::FileStatus> found;
  enter_client(fileref, client, [&](runtime::Client& asked) {
    return runtime_.toolkit.ask(asked, command, name, &found);
  });
  if (!found) return std::nullopt;
  return public_status(*found);
}

std::vector<std::string> Host::Impl::names_like(const std::string& fileref,
                                                const std::weak_ptr<runtime::Client>& client,
                                                std::string_view pattern) {
  std::vector<std::string> names;
  enter_client(fileref, client, [&](runtime::Client& asked) {
    return runtime_.toolkit.list(asked, pattern, &names);
  });
  return names;
}

}  // namespace fileref
