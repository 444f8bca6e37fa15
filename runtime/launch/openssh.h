// The OpenSSH client `sftp`.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/launch/adapter.h"
#include "runtime/launch/command.h"
#include "runtime/launch/directory_listing.h"

namespace fileref::runtime::openssh {

// What the operations of one session share.
struct Session {
  // Keeps the local file of a failed upload and returns where; empty when it could not.
  std::function<std::string(const std::string& local)> keep_unsent;
  bool verify_uploads = false;
  std::string directory = {};  // the remote directory, as the client shows it; empty: not known
  std::string left = {};       // the directory that the last change of directory left
  std::unique_ptr<DirectoryListing> listed = {};  // the last listing of a directory,
  std::string listed_directory = {};              // and of which
};

// The client takes what stands behind this many bytes for another command.
inline constexpr std::size_t kLongestLine = 2046;

// The path by which the client takes a name for no option.
std::string literal_path(std::string_view name);
// A path as an argument that stands for exactly this path.
std::string quote(std::string_view name);
// The same for `ls`, which expands braces even between quotes.
std::string quote_for_listing(std::string_view name);

class OpensshAdapter : public Adapter {
 public:
  explicit OpensshAdapter(Session session) : session_(std::move(session)) {}

  Sentinel sentinel(const std::string& nonce) const override;
  std::unique_ptr<Operation> start() override;
  std::unique_ptr<Operation> plan(std::string_view command, std::string* why) override;
  std::string echo(std::string_view line) const override;

 private:
  std::unique_ptr<Operation> plan_list(const Command& command, std::string* why);
  std::optional<std::uint64_t> listed_size(const std::string& name) const;
  std::unique_ptr<Operation> plan_command(const Command& command, std::string* why);

  Session session_;
};

}  // namespace fileref::runtime::openssh
