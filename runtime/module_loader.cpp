#include "runtime/module_loader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/mman.h>
#include <sys/sendfile.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
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

std::atomic_flag file_is_claimed;

// Of all images. The loader's own lock puts the end of one before the beginning of another at the
// same address; a sanitizer only sees it by this number.
std::atomic<int> images_loaded;

[[noreturn]] void fail(const std::string& what, const std::string& why) {
  throw std::runtime_error(fmt::format("the access-method module {}: {}", what, why));
}

[[noreturn]] void fail_by_system(const std::string& what) {
  fail(what, std::generic_category().message(errno));
}

// What the loader says of its last failure in this thread.
std::string loader_failure() {
  return dlerror();  // NOLINT(concurrency-mt-unsafe)
}

bool is_loaded(const std::string& file) {
  void* image = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  if (image != nullptr) dlclose(image);
  return image != nullptr;
}

// By the number of this process, so that a debugger finds it, too.
std::string path_of(const Fd& descriptor) {
  return fmt::format("/proc/{}/fd/{}", getpid(), descriptor.get());
}

// The first of the places that is there.
std::string find_module(const std::string& path) {
  std::vector<std::string> tried;
  for (const fs::path& place : places(path)) {
    std::error_code ignored;
    if (fs::exists(place, ignored)) return fs::absolute(place);
    tried.push_back(place.string());
  }
  fail("was not found",
       fmt::format("looked at {}. Set FILEREF_MODULE to its path", fmt::join(tried, ", ")));
}

}  // namespace

ModuleLoader::Claim::Claim() : holds_(!file_is_claimed.test_and_set()) {}

ModuleLoader::Claim::~Claim() {
  if (holds_) file_is_claimed.clear();
}

void ModuleLoader::Close::operator()(void* image) const {
  --images_loaded;
  dlclose(image);
}

ModuleLoader::ModuleLoader(const std::string& path) {
  const std::string file = find_module(path);
  const bool file_is_free = claim_ && !is_loaded(file);
  if (!file_is_free) copy_ = copy_of(file);
  load(file_is_free ? file : path_of(copy_));
  connect_ = reinterpret_cast<ModuleConnectFn*>(dlsym(image_.get(), "mcn_main"));
  if (connect_ == nullptr) {
    throw std::runtime_error(
        fmt::format("\"{}\" is no access-method module: it has no mcn_main", file));
  }
}

void ModuleLoader::load(const std::string& file) {
  image_.reset(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!image_) fail("cannot be loaded", loader_failure());
  ++images_loaded;
}

Fd ModuleLoader::copy_of(const std::string& file) {
  const Fd source(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  Fd copy(::memfd_create(kImageName, MFD_CLOEXEC));
  if (!source || !copy) fail_by_system("cannot be copied for one more host");
  constexpr std::size_t kMost = 1 << 20;
  for (ssize_t n; (n = ::sendfile(copy.get(), source.get(), nullptr, kMost)) != 0;) {
    if (n < 0 && errno != EINTR) fail_by_system("cannot be copied for one more host");
  }
  return copy;
}

}  // namespace fileref::runtime
