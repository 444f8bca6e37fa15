// The library's inside: the runtime, the module, and what was assigned.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fileref/host.h"
#include "host/codes.h"
#include "runtime/callback_guard.h"
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
    ptr release() { return std::exchange(block_, nullptr); }

   private:
    Impl* host_;
    ptr block_;
  };

  explicit Impl(HostOptions options);
  ~Impl();

  void assign(std::string_view fileref, const Target& target,
              const std::vector<std::string>& options);
  void deassign(std::string_view fileref);
  // Names the data of an upload that fails: the file of a directory, or empty for a fileref's.
  void sends(const std::string& member) { member_being_sent_ = member; }
  void run_batch(std::string_view fileref, const std::function<void(std::string_view)>& said);
  std::unique_ptr<OpenFile> open(std::string_view fileref, int openmode,
                                 const std::vector<std::string>& options);
  // What opens a file into `*file`, and what closes it.
  struct FileEntries {
    std::function<rctype(ptr* file, WX_OPENPARM* parms)> open;
    rctype (*close)(ptr file);
    std::string member = {};  // as OpenFile keeps it
  };
  std::unique_ptr<OpenFile> open_by(const FileEntries& entries, const runtime::Name8& name,
                                    int openmode, const std::vector<std::string>& options);
  std::unique_ptr<OpenFile> open_fileref(runtime::Name8 name, int openmode,
                                         const std::vector<std::string>& options);
  std::unique_ptr<OpenDirectory> open_directory(std::string_view fileref, MemberOptions options);
  bool is_assigned(std::string_view fileref);
  std::optional<std::string> find(std::string_view fileref);
  std::optional<FileStatus> stat(std::string_view fileref);
  std::vector<InfoLine> info(std::string_view fileref);
  // What a client says of a name in its directory: `command` is "stat" or "lstat".
  std::optional<FileStatus> ask_about(const std::string& fileref,
                                      const std::weak_ptr<runtime::Client>& client,
                                      const char* command, std::string_view name);
  // The names in its directory that match.
  std::vector<std::string> names_like(const std::string& fileref,
                                      const std::weak_ptr<runtime::Client>& client,
                                      std::string_view pattern);

  runtime::Runtime& runtime() { return runtime_; }
  const std::function<bool()>& interrupted() const { return runtime_.toolkit.launch.interrupted; }
  runtime::CallbackGuard& callbacks() { return callbacks_; }
  // Whether this is the process that made the host, and not one that was forked off it.
  bool is_ours() const;
  // Runs one entry of the module for a fileref. Throws Failure unless it answers 0, and what the
  // program's functions threw meanwhile. `call` itself puts away what the entry made.
  template <class Call>
  void enter(std::string_view fileref, Call call) {
    const runtime::Runtime::Entered entered(runtime_);
    begin(fileref);
    check(call());
  }
  // What a destructor does here: failures go to the log only, and nothing happens in a process that
  // was forked off.
  template <class Call>
  void quietly(Call call) noexcept {
    if (!is_ours()) return;
    try {
      call();
    } catch (const Failure& failure) {
      runtime_.log.write("error", failure.message());
    } catch (...) {
      // From a function of the program, whose caller cannot be told.
    }
    callbacks_.take();
  }
  // Runs a record routine, many of which follow each other on the same file. False at the end.
  template <class Call>
  bool enter_record(OpenFile* file, const std::string& fileref, Call call) {
    const runtime::Runtime::Entered entered(runtime_);
    if (entered_ != file || was_forked()) {
      begin(fileref);
      entered_ = file;
    }
    const rctype rc = call();
    const bool plain = rc == kSuccess && runtime_.toolkit.trouble().refused.empty();
    return (plain && !callbacks_.has_thrown()) || after_record(file, rc);
  }
  AMENT& table() { return *block_->ament; }

 private:
  struct Assignment {
    std::vector<std::string> client_arguments;
    std::string physical_name;
    std::string file;  // the name in its directory; empty: it stands for no one file
    std::vector<std::string> names = {};  // of several files
    bool makes_directory = false;  // NEW: the fileref is the directory, and the file its member
    std::vector<std::string> options = {};
  };

  // Has `ask` ask a client, and fails when there is none any more, or it cannot be asked.
  template <class Ask>
  void enter_client(const std::string& fileref, const std::weak_ptr<runtime::Client>& client,
                    Ask ask);
  // Opens a fileref for neither input nor output, which starts its session.
  std::unique_ptr<OpenFile> open_for_nothing(const runtime::Name8& name);
  // What `target` and the options of its assignment are for the module.
  Assignment checked(const Target& target, const std::vector<std::string>& options) const;

  // Every entry begins here. Throws UsageError in a process that was forked off.
  void begin(std::string_view fileref);
  // How the client of a fileref is started, should the entry need it.
  void prepare_launch(const runtime::Name8& name);
  void check(rctype rc);
  bool after_record(OpenFile* file, rctype rc);
  // Ends an entry: throws its failure, or what a function of the program threw.
  void settle(rctype rc);
  bool was_forked() const { return forks_ != forks_of_process_; }
  // The first `count` files that could not be fetched although the call goes on without them.
  void warn_of_skipped(std::size_t count);
  void warn(const std::string& warning);
  [[noreturn]] void fail(rctype rc);
  // Throws `failure`, unless one of the program's functions threw before.
  [[noreturn]] void fail(const Failure& failure);
  // The option block of a statement.
  OptionBlock parse(std::string_view statement, const runtime::Name8& name,
                    const std::vector<std::string>& options, int env);
  // Those of the assignment.
  std::vector<std::string> options_of(const runtime::Name8& name) const;
  // Releases an option block that no assignment has taken.
  void dispose(ptr block);
  runtime::Name8 checked_name(std::string_view fileref) const;

  static inline std::atomic<unsigned> forks_of_process_{0};  // that led to this process

  pid_t owner_;
  unsigned forks_;
  runtime::CallbackGuard callbacks_;
  HostOptions options_;
  runtime::ModuleLoader loader_;
  runtime::Runtime runtime_;
  AMMCB* block_ = nullptr;
  std::map<runtime::Name8, Assignment> assigned_;
  std::string member_being_sent_;
  const OpenFile* entered_ = nullptr;  // whose record routine ran last, with nothing else since
};

// An open file as the module sees it.
class OpenFile {
 public:
  OpenFile(Host::Impl& host, std::string fileref, ptr file, int openmode, long record_length,
           HOST_FILE* temporary, const Host::Impl::FileEntries& entries,
           Host::Impl::OptionBlock options);
  // Closes an input and abandons an output; what fails then goes to the log only.
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool read(std::string_view& record);
  void copy_to(int descriptor, bool* open_line);
  void write(std::string_view record);
  // Without its line feed, where records are lines.
  void write_lines(std::string_view lines);
  void write_last(std::string_view record);
  bool write_file(int file);
  void close();
  // Closes without sending.
  void abandon();
  const std::vector<std::string>& skipped() const { return skipped_; }
  void add_skipped(const std::vector<std::string>& sentences);
  long record_length() const { return record_length_; }
  bool is_stream() const { return stream_; }
  bool is_converted() const { return temporary_ != nullptr && temporary_->filter != nullptr; }
  bool line_ended() const { return line_ended_; }
  FileStatus status();
  std::vector<InfoLine> info();

 private:
  WX_AMVEC& vector();
  void drop();
  bool waits() const;
  rctype send_and_close();

  Host::Impl& host_;
  std::string fileref_;
  ptr file_;
  long record_length_;
  HOST_FILE* temporary_;  // the file that records go to, or came from first; or null
  bool output_;
  bool stream_;
  bool names_;        // the records are remote names, which the module hands out escaped
  std::string name_;  // the one that was read last
  std::weak_ptr<runtime::Client> client_;  // that listed them
  bool line_ended_ = true;
  rctype (*close_entry_)(ptr);
  std::string member_;  // the name in its directory, escaped; empty: it is the fileref's file
  Host::Impl::OptionBlock options_;
  WX_AMVEC* vector_ = nullptr;
  std::vector<std::string> skipped_;
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
  // The client, which stands in the directory then.
  std::weak_ptr<runtime::Client> entered();
  std::optional<FileStatus> stat(std::string_view member);
  std::vector<std::string> names(std::string_view pattern);
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
