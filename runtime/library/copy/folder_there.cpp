#include <fmt/format.h>

#include <utility>

#include "fileref/directory.h"
#include "fileref/file.h"
#include "runtime/library/copy/folder.h"

namespace fileref {
namespace {

class SourceThere : public CopySource {
 public:
  explicit SourceThere(Input input) : input_(std::move(input)) {}

  std::string_view next() override {
    std::string_view piece;
    if (input_.next(piece)) return piece;
    input_.close();
    return {};
  }

 private:
  Input input_;
};

class SinkThere : public CopySink {
 public:
  explicit SinkThere(Output output) : output_(std::move(output)) {}
  ~SinkThere() override {
    if (finished_) return;
    try {
      output_.abandon();
    } catch (...) {
      // What is to be told was thrown before.
    }
  }

  void write(std::string_view bytes) override { output_.write(bytes); }
  bool write_file(int file) override { return output_.write_file(file); }
  void finish() override {
    finished_ = true;
    output_.close();
  }

 private:
  Output output_;
  bool finished_ = false;
};

class FolderThere : public Folder {
 public:
  FolderThere(Host& host, std::string fileref, Target directory)
      : host_(host),
        fileref_(std::move(fileref)),
        target_(std::move(directory)),
        directory_(host_.open_directory(fileref_)) {
    directory_.enter();
  }
  ~FolderThere() override {
    try {
      directory_.close();
      host_.deassign(fileref_);
    } catch (...) {
      // Its files are dealt with.
    }
  }

  bool has(const std::string& name) override { return directory_.stat(name).has_value(); }
  bool has_directory(const std::string& name) override {
    const std::optional<FileStatus> found = directory_.stat(name);
    return found && found->kind == FileStatus::Kind::kDirectory;
  }
  std::vector<std::string> matching(const std::string& pattern) override {
    return directory_.names(pattern);
  }
  std::unique_ptr<CopySource> open(const std::string& name) override {
    return std::make_unique<SourceThere>(directory_.open(name, {}, {"NONBYTE"}));
  }
  std::unique_ptr<CopySink> create(const std::string& name) override {
    return std::make_unique<SinkThere>(directory_.create(name));
  }

  // What is on no server is on this machine.
  std::string identity(const std::string& name) const override {
    const std::string path = target_.path + (target_.path.ends_with('/') ? "" : "/") + name;
    if (target_.host.empty()) return identity_here(path);
    return fmt::format("{}@{} {} {}", target_.user, target_.host,
                       fmt::join(target_.client_arguments, " "), path);
  }

 private:
  Host& host_;
  std::string fileref_;
  Target target_;
  Directory directory_;
};

}  // namespace

std::unique_ptr<Folder> folder_there(Host& host, const std::string& fileref,
                                     const Target& directory,
                                     const std::vector<std::string>& options) {
  Target entered = directory;
  if (entered.path.empty()) entered.path = ".";
  std::vector<std::string> all = options;
  all.insert(all.end(), {"DIR", "RECFM=S", fmt::format("LRECL={}", kLargestPiece)});
  host.assign(fileref, entered, all);
  try {
    return std::make_unique<FolderThere>(host, fileref, entered);
  } catch (...) {
    host.deassign(fileref);
    throw;
  }
}

}  // namespace fileref
