#include "runtime/unsent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "runtime/temp/directory.h"

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

constexpr const char* kKeptPrefix = "unsent-";
constexpr const char* kMarkSuffix = ".unsent";
constexpr const char* kPlaceSuffix = ".writing";  // of a mark to be

std::string variable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? "" : value;
}

fs::path state_directory() {
  const std::string state = variable("XDG_STATE_HOME");
  if (!state.empty()) return fs::path(state) / "fileref" / "unsent";
  const std::string home = variable("HOME");
  return home.empty() ? fs::path() : fs::path(home) / ".local" / "state" / "fileref" / "unsent";
}

// A remote name may hold any byte; a local one that people see should not.
std::string plain_name(std::string name) {
  name = name.substr(name.find_last_of('/') + 1);
  if (name.size() > 100) name.resize(100);
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c < 0x21 || c == 0x7F || c == '\\'; }, '_');
  return name.empty() || name.front() == '.' || name.front() == '-' ? "unsent" + name : name;
}

// For their owner alone whatever the umask, all that are made on the way. What cannot be made may
// be there.
bool make_private_directories(const fs::path& folder) {
  fs::path made;
  for (const fs::path& part : folder) {
    made /= part;
    if (mkdir(made.c_str(), S_IRWXU) == 0) chmod(made.c_str(), S_IRWXU);
  }
  std::error_code ignored;
  return fs::is_directory(folder, ignored);
}

bool move_file(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (!error) return true;
  // Another file system: the copy must be whole before the original goes.
  fs::copy_file(from, to, error);
  std::error_code ignored;
  fs::remove(error ? to : from, ignored);
  return !error;
}

}  // namespace

std::string keep_unsent(const std::string& local, const std::string& directory,
                        const std::string& name) {
  const std::string kept_name = plain_name(name) + "." + random_name(4);
  const fs::path folder = directory.empty() ? state_directory() : fs::path(directory);
  std::error_code error;
  fs::permissions(local, fs::perms::owner_read | fs::perms::owner_write, error);
  if (!folder.empty() && make_private_directories(folder) && move_file(local, folder / kept_name)) {
    return folder / kept_name;
  }
  const fs::path beside = fs::path(local).parent_path() / (kKeptPrefix + kept_name);
  fs::rename(local, beside, error);
  return error ? "" : beside.string();
}

bool is_kept(std::string_view file_name) {
  return file_name.starts_with(kKeptPrefix);
}

bool reserve_mark(const std::string& local) {
  return std::ofstream(local + kPlaceSuffix).is_open();
}

void mark_unsent(const std::string& local, const std::string& name) {
  const std::string place = local + kPlaceSuffix;
  std::ofstream(place) << name;
  std::rename(place.c_str(), (local + kMarkSuffix).c_str());
}

void unmark_unsent(const std::string& local) {
  for (const char* suffix : {kPlaceSuffix, kMarkSuffix}) unlink((local + suffix).c_str());
}

std::vector<std::string> keep_marked(const std::string& temporary, const std::string& directory) {
  std::vector<std::string> places;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(temporary, error)) {
    if (entry.path().extension() != kMarkSuffix) continue;
    fs::path local = entry.path();
    local.replace_extension();
    if (!fs::is_regular_file(local, error)) continue;
    std::string name;
    std::getline(std::ifstream(entry.path()), name);
    const std::string place = keep_unsent(local, directory, name);
    if (!place.empty()) places.push_back(place);
  }
  return places;
}

}  // namespace fileref::runtime
