#include "fileref/directory.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/printable.h"

namespace fileref {

using runtime::Name8;
using runtime::text_of;

namespace {

constexpr std::size_t kLongestName = 512;

// The name of a member as the access method takes it.
std::string member_name(std::string_view member) {
  const bool one_name = !member.empty() && member != "." && member != ".." &&
                        member.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
  if (one_name) return runtime::escape_name(member);
  throw UsageError(fmt::format("\"{}\" is no name of a member: it must be one name, without a /.",
                               runtime::printable(member)));
}

// An extension as the access method takes it: eight bytes in the case they were given in.
class Extension {
 public:
  explicit Extension(std::string_view type);
  // Null when there is none: eight blanks would add a dot.
  char* get() { return text_[0] == ' ' ? nullptr : text_.data(); }

 private:
  Name8 text_;
};

Extension::Extension(std::string_view type) {
  text_.fill(' ');
  const bool plain = std::all_of(type.begin(), type.end(), [](char c) {
    return static_cast<unsigned char>(c) > 0x20 && c != 0x7F && c != '/' && c != '"' && c != '\\';
  });
  if (!plain || type.size() > text_.size()) {
    throw UsageError(
        fmt::format("\"{}\" is no type: it has at most eight bytes, and no blank, slash or quote.",
                    runtime::printable(type)));
  }
  type.copy(text_.data(), text_.size());
}

// Takes what stands behind the first dot off a name, unless that is its first byte. Done here,
// where the name is itself again: its type is cut.
std::string split_type(std::string* name) {
  const std::size_t dot = name->find('.');
  if (dot == 0 || dot == std::string::npos) return {};
  std::string type(runtime::trimmed(name->substr(dot + 1, sizeof(Name8))));
  name->resize(dot);
  return type;
}

}  // namespace

OpenDirectory::OpenDirectory(Host::Impl& host, const Name8& fileref, ptr directory,
                             MemberOptions options)
    : host_(host), fileref_(fileref), directory_(directory), options_(options) {}

OpenDirectory::~OpenDirectory() {
  host_.quietly([this] { close(); });
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
  std::string name = member_name(member);
  Extension extension(type);
  const Host::Impl::FileEntries entries = {
      [&](ptr* file, WX_OPENPARM* parms) {
        return host_.table().ammopen.entryp(file, checked(), name.data(),
                                            static_cast<int>(name.size()), extension.get(), parms);
      },
      host_.table().ammclos.entryp, name};
  return host_.open_by(entries, fileref_, openmode, options);
}

bool OpenDirectory::has(std::string_view member, std::string_view type) {
  std::string name = member_name(member);
  Extension extension(type);
  bool there = true;
  host_.enter(text_of(fileref_), [&] {
    const rctype rc = host_.table().ammexst.entryp(checked(), name.data(),
                                                   static_cast<int>(name.size()), extension.get());
    there = rc != kDoesNotExist;
    if (there) return rc;
    // Any failure gives that code: it is the answer only where the client refused the file.
    runtime::Runtime& runtime = host_.runtime();
    const bool known = !runtime.toolkit.trouble().refused.empty();
    if (known) runtime.toolkit.forget_trouble();
    if (!known)
      runtime.messages.attach_text("It could not be found out whether the member exists.");
    return known ? kSuccess : kFailed;
  });
  return there;
}

// Opened for neither input nor output, any member does.
std::weak_ptr<runtime::Client> OpenDirectory::entered() {
  constexpr int kForNothing = 0;
  open("x", {}, kForNothing, {})->close();
  return host_.runtime().toolkit.client_of(text_of(fileref_));
}

std::optional<FileStatus> OpenDirectory::stat(std::string_view member) {
  member_name(member);
  return host_.ask_about(std::string(text_of(fileref_)), entered(), "stat", member);
}

std::vector<std::string> OpenDirectory::names(std::string_view pattern) {
  member_name(pattern);
  return host_.names_like(std::string(text_of(fileref_)), entered(), pattern);
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

OpenDirectory& Directory::directory() const {
  if (!directory_) throw UsageError("This directory was moved from: it stands for none.");
  return *directory_;
}

bool Directory::next(Member& member) {
  return directory().next(member);
}

Input Directory::open(std::string_view member, std::string_view type,
                      const std::vector<std::string>& options) {
  return Input(directory().open(member, type, kOpenInput, options));
}

Output Directory::create(std::string_view member, std::string_view type,
                         const std::vector<std::string>& options) {
  return Output(directory().open(member, type, kOpenOutput, options));
}

bool Directory::has(std::string_view member, std::string_view type) {
  return directory().has(member, type);
}

void Directory::enter() {
  directory().entered();
}

std::optional<FileStatus> Directory::stat(std::string_view member) {
  return directory().stat(member);
}

std::vector<std::string> Directory::names(std::string_view pattern) {
  return directory().names(pattern);
}

std::vector<InfoLine> Directory::info() {
  return directory().info();
}
void Directory::close() {
  directory().close();
}

}  // namespace fileref
