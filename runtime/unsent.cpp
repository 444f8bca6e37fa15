#include "runtime/unsent.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "runtime/temp/directory.h"

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

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

}  // namespace

std::string keep_unsent(const std::string& local, const std::string& directory,
                        const std::string& name) {
  const fs::path folder = directory.empty() ? state_directory() : fs::path(directory);
  if (folder.empty()) return {};
  std::error_code error;
  if (fs::create_directories(folder, error)) {
    fs::permissions(folder, fs::perms::owner_all, error);
  }
  const fs::path kept = folder / (plain_name(name) + "." + random_name(4));
  fs::rename(local, kept, error);
  if (!error) return kept.string();
  // Another file system: the copy must be whole before the original goes.
  fs::copy_file(local, kept, error);
  if (error) {
    std::error_code ignored;
    fs::remove(kept, ignored);
    return {};
  }
  fs::permissions(kept, fs::perms::owner_read | fs::perms::owner_write, error);
  fs::remove(local, error);
  return kept.string();
}

}  // namespace fileref::runtime
