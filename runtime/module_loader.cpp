#include "runtime/module_loader.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace fileref::runtime {
namespace {

namespace fs = std::filesystem;

constexpr const char* kImageName = "qenxbams.so";

fs::path folder_of_this_code() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&folder_of_this_code), &info) == 0) return {};
  return fs::path(info.dli_fname).parent_path();
}

std::vector<fs::path> places(const std::string& path) {
  if (!path.empty()) return {path};
  const char* variable = secure_getenv("FILEREF_MODULE");  // NOLINT(concurrency-mt-unsafe)
  if (variable != nullptr && *variable != '\0') return {variable};
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  const fs::path here = folder_of_this_code();
  return {here / kImageName, here / "fileref" / kImageName, program / kImageName,
          fs::path(FILEREF_MODULE_DIRECTORY) / kImageName};
}

}  // namespace

ModuleLoader::ModuleLoader(const std::string& path) {
  std::vector<std::string> tried;
  for (const fs::path& place : places(path)) {
    std::error_code ignored;
    if (!fs::exists(place, ignored)) {
      tried.push_back(place.string());
      continue;
    }
    image_ = dlopen(fs::absolute(place).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (image_ == nullptr) {
      throw std::runtime_error(fmt::format("the access-method module cannot be loaded: {}",
                                           dlerror()));  // NOLINT(concurrency-mt-unsafe)
    }
    connect_ = reinterpret_cast<ModuleConnectFn*>(dlsym(image_, "mcn_main"));
    if (connect_ != nullptr) return;
    dlclose(image_);
    throw std::runtime_error(
        fmt::format("\"{}\" is no access-method module: it has no mcn_main", place.string()));
  }
  throw std::runtime_error(fmt::format(
      "the access-method module was not found: looked at {}. Set FILEREF_MODULE to its path",
      fmt::join(tried, ", ")));
}

ModuleLoader::~ModuleLoader() {
  dlclose(image_);
}

}  // namespace fileref::runtime
