#include "fileref/directory.h"

#include <algorithm>
#include <utility>

#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"

namespace fileref {

using runtime::Name8;
using runtime::text_of;

namespace {

constexpr std::size_t kLongestName = 512;

// An extension as the access method takes it: eight bytes in the case they were given in.
Name8 type_of(std::string_view type) {
  Name8 padded;
  padded.fill(' ');
  type.substr(0, padded.size()).copy(padded.data(), padded.size());
  return padded;
}

// Takes what stands behind the first dot off a name, unless that is its first byte. Done here,
// where the name is itself again: its type is cut.
std::string split_type(std::string* name) {
  const std::size_t dot = name->find('.');
  if (dot == 0 || dot == std::string::npos) return {};
  const std::string type(runtime::trimmed(name->substr(dot + 1, sizeof(Name8))));
  name->resize(dot);
  return type;
}

}  // namespace

OpenDirectory::OpenDirectory(Host::Impl& host, const Name8& fileref, ptr directory,
                             MemberOptions options)
    : host_(host), fileref_(fileref), directory_(directory), options_(options) {}

OpenDirectory::~OpenDirectory() {
  try {
    close();
  } catch (const Failure& failure) {
    host_.runtime().log.write("error", failure.message());
  }
}

ptr OpenDirectory::checked() const {
  if (directory_ == nullptr) throw Failure(kNullPointer, "The directory is not open.");
  return directory_;
}

bool OpenDirectory::next(Member& member) {
  char name[kLongestName];
  int length = 0;
  char type[sizeof(Name8)];
  const int flags = options_.kinds ? kFindKind : 0;
  WX_INFOPARM information{};
  bool more = true;
  host_.prepare_launch(fileref_);
  host_.enter(text_of(fileref_), [&] {
    const rctype rc =
        host_.table().amdnext.entryp(&cursor_, checked(), name, &length, type, flags, &information);
    more = rc != kEndOfMembers;
    return more ? rc : kSuccess;
  });
  if (!more) return false;
  member.name = runtime::unescape_name({name, static_cast<std::size_t>(length)});
  member.type = options_.split ? split_type(&member.name) : "";
  member.kind = (information.flag & kInfoDirectory) != 0 ? Member::Kind::kDirectory
                : (information.flag & kInfoFile) != 0    ? Member::Kind::kFile
                                                         : Member::Kind::kUnknown;
  return true;
}

std::unique_ptr<OpenFile> OpenDirectory::open(std::string_view member, std::string_view type,
                                              int openmode,
                                              const std::vector<std::string>& options) {
  std::string name = runtime::escape_name(member);
  Name8 padded = type_of(type);
  const Host::Impl::FileEntries entries = {
      [&](ptr* file, WX_OPENPARM* parms) {
        return host_.table().ammopen.entryp(file, checked(), name.data(),
                                            static_cast<int>(name.size()), padded.data(), parms);
      },
      host_.table().ammclos.entryp};
  return host_.open_by(entries, fileref_, openmode, options);
}

bool OpenDirectory::has(std::string_view member, std::string_view type) {
  std::string name = runtime::escape_name(member);
  Name8 padded = type_of(type);
  host_.prepare_launch(fileref_);
  bool there = true;
  host_.enter(text_of(fileref_), [&] {
    const rctype rc = host_.table().ammexst.entryp(checked(), name.data(),
                                                   static_cast<int>(name.size()), padded.data());
    there = rc != kDoesNotExist;
    return there ? rc : kSuccess;
  });
  return there;
}

std::vector<InfoLine> OpenDirectory::info() {
  W_INFSTR* list = nullptr;
  const auto& table = host_.table();
  host_.enter(text_of(fileref_), [&] { return table.amdinfs.entryp(checked(), &list); });
  std::vector<InfoLine> lines = lines_of(list);
  host_.enter(text_of(fileref_), [&] { return table.amdinfr.entryp(directory_, list); });
  return lines;
}

void OpenDirectory::close() {
  if (directory_ == nullptr) return;
  host_.enter(text_of(fileref_),
              [&] { return host_.table().amdclos.entryp(std::exchange(directory_, nullptr)); });
}

Directory::Directory(std::unique_ptr<OpenDirectory> directory) : directory_(std::move(directory)) {}
Directory::Directory(Directory&&) noexcept = default;
Directory& Directory::operator=(Directory&&) noexcept = default;
Directory::~Directory() = default;

bool Directory::next(Member& member) {
  return directory_->next(member);
}

Input Directory::open(std::string_view member, std::string_view type,
                      const std::vector<std::string>& options) {
  return Input(directory_->open(member, type, kOpenInput, options));
}

Output Directory::create(std::string_view member, std::string_view type,
                         const std::vector<std::string>& options) {
  return Output(directory_->open(member, type, kOpenOutput, options));
}

bool Directory::has(std::string_view member, std::string_view type) {
  return directory_->has(member, type);
}

std::vector<InfoLine> Directory::info() {
  return directory_->info();
}
void Directory::close() {
  directory_->close();
}

}  // namespace fileref
