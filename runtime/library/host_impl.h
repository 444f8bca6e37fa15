// The library's inside: the runtime, the module, and what was assigned.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fileref/host.h"
#include "host/codes.h"
#include "runtime/module_loader.h"
#include "runtime/names.h"
#include "runtime/runtime.h"

namespace fileref {

// The target as a physical name: a list of names, or the path in a form that the method splits at
// its last "/" and nowhere else.
std::string physical_name(const Target& target);

class Host::Impl {
 public:
  // An option block that is ours to release.
  class OptionBlock {
   public:
    explicit OptionBlock(Impl& host, ptr block = nullptr) : host_(&host), block_(block) {}
    OptionBlock(OptionBlock&& other) noexcept
        : host_(other.host_), block_(std::exchange(other.block_, nullptr)) {}
    OptionBlock& operator=(OptionBlock&& other) noexcept {
      std::swap(block_, other.block_);
      return *this;
    }
    ~OptionBlock() {
      if (block_ != nullptr) host_->dispose(block_);
    }
    ptr get() const { return block_; }

   private:
    Impl* host_;
    ptr block_;
  };

  explicit Impl(HostOptions options);
  ~Impl();

  void assign(std::string_view fileref, const Target& target,
              const std::vector<std::string>& options);
  void deassign(std::string_view fileref);
  void run_batch(std::string_view fileref, const std::function<void(std::string_view)>& said);
  std::unique_ptr<OpenFile> open(std::string_view fileref, int openmode,
                                 const std::vector<std::string>& options);
  // What opens a file into `*file`, and what closes it.
  struct FileEntries {
    std::function<rctype(ptr* file, WX_OPENPARM* parms)> open;
    rctype (*close)(ptr file);
  };
  std::unique_ptr<OpenFile> open_by(const FileEntries& entries, const runtime::Name8& name,
                                    int openmode, const std::vector<std::string>& options);
  std::unique_ptr<OpenDirectory> open_directory(std::string_view fileref, MemberOptions options);
  bool is_assigned(std::string_view fileref);
  bool exists(std::string_view fileref);

  // How the client of a fileref is started, should the next entry need it.
  void prepare_launch(const runtime::Name8& name);
  runtime::Runtime& runtime() { return runtime_; }
  const std::function<bool()>& interrupted() const { return options_.interrupted; }
  // Runs one entry of the module for a fileref. Throws Failure unless it answers 0.
  template <class Call>
  void enter(std::string_view fileref, Call call) {
    entered_ = nullptr;
    runtime_.begin_entry(fileref);
    check(call());
  }
  // Runs a record routine, many of which follow each other on the same file. False at the end.
  template <class Call>
  bool enter_record(const OpenFile* file, const std::string& fileref, Call call) {
    if (entered_ != file) {
      runtime_.begin_entry(fileref);
      entered_ = file;
    }
    const rctype rc = call();
    if (!runtime_.toolkit.trouble().refused.empty()) warn_of_skipped();
    if (rc == kSuccess) return true;
    entered_ = nullptr;
    if (plain_code(rc) == kEndOfFile) return false;
    fail(rc);
  }
  // Throws Failure unless `rc` is 0.
  void check(rctype rc) {
    if (rc != kSuccess) fail(rc);
    runtime_.messages.clear();
    warn_of_skipped();
  }
  AMENT& table() { return *block_->ament; }

 private:
  struct Assignment {
    std::vector<std::string> client_arguments;
    std::string physical_name;
  };

  // Files that could not be fetched although the call goes on without them.
  void warn_of_skipped();
  [[noreturn]] void fail(rctype rc) const;
  // The option block of a statement, the caller's to hand to the module or to `dispose`.
  ptr parse(std::string_view statement, const runtime::Name8& name,
            const std::vector<std::string>& options, int env);
  // Releases an option block that no assignment has taken.
  void dispose(ptr block);
  runtime::Name8 checked_name(std::string_view fileref) const;

  HostOptions options_;
  runtime::ModuleLoader loader_;
  runtime::Runtime runtime_;
  AMMCB* block_ = nullptr;
  std::map<runtime::Name8, Assignment> assigned_;
  const OpenFile* entered_ = nullptr;  // whose record routine ran last, with nothing else since
};

// An open file as the module sees it.
class OpenFile {
 public:
  OpenFile(Host::Impl& host, std::string fileref, ptr file, long record_length,
           HOST_FILE* temporary, bool names, rctype (*close_entry)(ptr),
           Host::Impl::OptionBlock options);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool read(std::string_view& record);
  void copy_to(int descriptor);
  void write(std::string_view record);
  void close();
  // Closes without sending.
  void abandon();
  bool is_open() const { return file_ != nullptr; }
  void log(std::string_view text);
  long record_length() const { return record_length_; }
  bool is_stream() const { return stream_; }
  std::vector<InfoLine> info();

 private:
  WX_AMVEC& vector();
  rctype send_and_close();

  Host::Impl& host_;
  std::string fileref_;
  ptr file_;
  long record_length_;
  HOST_FILE* temporary_;  // the file that records go to or come from, or null
  bool stream_;
  bool names_;        // the records are remote names, which the module hands out escaped
  std::string name_;  // the one that was read last
  rctype (*close_entry_)(ptr);
  Host::Impl::OptionBlock options_;
  WX_AMVEC* vector_ = nullptr;
};

// An open directory as the module sees it.
class OpenDirectory {
 public:
  OpenDirectory(Host::Impl& host, const runtime::Name8& fileref, ptr directory,
                MemberOptions options);
  ~OpenDirectory();
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;

  bool next(Member& member);
  std::unique_ptr<OpenFile> open(std::string_view member, std::string_view type, int openmode,
                                 const std::vector<std::string>& options);
  bool has(std::string_view member, std::string_view type);
  std::vector<InfoLine> info();
  void close();

 private:
  ptr checked() const;

  Host::Impl& host_;
  runtime::Name8 fileref_;
  ptr directory_;
  ptr cursor_ = nullptr;
  MemberOptions options_;
};

// The lines of an information list.
std::vector<InfoLine> lines_of(const W_INFSTR* list);

}  // namespace fileref
