// What the operations of one direct session share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/launch/dialogue/operation.h"
#include "runtime/launch/directory_listing.h"
#include "runtime/launch/footing.h"
#include "runtime/launch/local_file.h"
#include "runtime/lent_files.h"
#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"

namespace fileref::runtime::direct {

class Fetch;

struct Session {
  // Hands a file that is open out to whoever reads it; where there is none, files are fetched as a
  // whole.
  std::function<void(const Transfer& transfer, std::unique_ptr<Fetch> fetch)> hand_out;
  // Keeps the local file of a failed upload and returns where; empty when it could not.
  std::function<std::string(const std::string& local)> keep_unsent;
  LentFiles* lent = nullptr;  // what stands for local files that are sent
  bool verify_uploads = false;
  bool atomic_uploads = false;
  // Names in the current directory that are likely to be fetched one after the other.
  std::vector<std::string> expected = {};

  // The remote directory, without links; empty: that of the login, whatever it is called.
  std::string directory = {};
  std::string left = {};  // the directory that the last change of directory left

  Footing footing = {};

  std::shared_ptr<DirectoryListing> listed = {};  // the last listing of a current directory,
  std::string listed_directory = {};              // of which,
  std::string listed_pattern = {};                // and what was selected from it; empty: nothing

  // The one file that is expected, as it was when its directory was entered.
  struct File {
    std::string path = {};
    std::uint64_t size = 0;  // in bytes
  };
  std::optional<File> seen = {};

  // A local file that is to be sent, or what stands for it. Nothing, with errno, when there is
  // none.
  std::optional<FileRange> open_local(const std::string& local) const;
  bool has_local(const std::string& local) const { return is_lent(local) || local_size(local); }
  bool is_lent(const std::string& local) const { return lent != nullptr && lent->contains(local); }
  // How the server is asked for a name.
  std::string path_of(std::string_view name) const;
  // What the last listing says of a name in the current directory, if it does.
  std::optional<DirectoryListing::Entry> find(std::string_view name) const;
  // The size of what is known to be a file; what was seen of it on entering counts once, and at
  // once.
  std::optional<std::uint64_t> take_file_size(std::string_view name);
  // Which of the files that are likely to be fetched one after the other it is, and of how many.
  struct Place {
    std::size_t number = 1, files = 1;
  };
  Place place_of(std::string_view name) const;
  // The name that is likely to be fetched behind `name`; nothing is expected behind most.
  std::optional<std::string> expected_behind(std::string_view name) const;
};

std::string path_in(std::string_view directory, std::string_view name);

// As in the long form of a listing: '-', 'd', 'l', 'p' for all else, or that it is not known.
char type_letter(sftp::Kind kind);

FileStatus status_of(const sftp::Attributes& attributes);

// What the server says of a path, for the user.
std::string said_of(std::string_view path, const sftp::Status& status);

}  // namespace fileref::runtime::direct
