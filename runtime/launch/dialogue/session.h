// What the operations of one session share.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/launch/directory_listing.h"
#include "runtime/launch/footing.h"

namespace fileref::runtime {

struct Session {
  // Keeps the local file of a failed upload and returns where; empty when it could not.
  std::function<std::string(const std::string& local)> keep_unsent;
  bool verify_uploads = false;

  std::string directory = {};  // the remote directory, as the client shows it; empty: not known
  std::string home = {};       // where the session began, as the client shows it
  std::string left = {};       // the directory that the last change of directory left
  // The names by which `directory` is entered after the login; nothing: not known.
  std::optional<std::vector<std::string>> trail = std::vector<std::string>();

  Footing footing = {};
  bool enters_missing = false;  // `cd` succeeds with a directory that is not there

  std::shared_ptr<DirectoryListing> listed = {};  // the last listing of a current directory,
  std::string listed_directory = {};              // and of which
  std::size_t looks_saved = 0;                    // sizes asked for that it could have held

  // What the last listing says of a name in the current directory, if it does.
  std::optional<DirectoryListing::Entry> find(std::string_view name) const {
    return listed && listed_directory == directory ? listed->find(name) : std::nullopt;
  }
};

}  // namespace fileref::runtime
