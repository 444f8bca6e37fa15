#include "fileref/host.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/codes.h"
#include "runtime/library/failure_reason.h"
#include "runtime/library/given_option.h"
#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/option_values.h"
#include "runtime/printable.h"
#include "runtime/tokens.h"
#include "runtime/unsent.h"

namespace fileref {

using runtime::Name8;
using runtime::name8;
using runtime::OptionSource;
using runtime::text_of;

namespace {

char kMethod[] = "SFTP    ";

runtime::RuntimeOptions runtime_options(const HostOptions& options) {
  runtime::RuntimeOptions made;
  made.log = options.log;
  made.session_encoding = options.session_encoding;
  made.temp_parent = options.temp_directory;
  made.unsent_directory = options.unsent_directory;
  made.host_options.external_commands = options.external_commands;
  made.host_options.record_length_is_default = !options.record_length;
  if (options.record_length) made.host_options.record_length = *options.record_length;
  return made;
}

runtime::ModuleLoader load_module(const std::string& path) {
  try {
    return runtime::ModuleLoader(path);
  } catch (const std::runtime_error& error) {
    throw Failure(kUnknownMethod, error.what());
  }
}

runtime::Runtime make_runtime(const HostOptions& options) {
  try {
    return runtime::Runtime(runtime_options(options));
  } catch (const std::system_error& error) {
    throw SystemError(error.code(), error.what());
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

bool has_terminal() {
  const int terminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal >= 0) ::close(terminal);
  return terminal >= 0;
}

HostOptions guarded(HostOptions options, runtime::CallbackGuard& guard) {
  options.log = guard.wrap(std::move(options.log));
  options.warn = guard.wrap(std::move(options.warn));
  options.progress = guard.wrap(std::move(options.progress));
  options.interrupted = guard.wrap(std::move(options.interrupted));
  return options;
}

// What makes a fileref stand for something else than one file.
const std::vector<std::string_view> kNotOneFile = {"LS", "LSA", "LSFILE", "MGET", "BATCHFILE"};

[[noreturn]] void refuse(const GivenOption& option, const std::string& why) {
  throw Failure(kWrongUse, why).with_place(option.place);
}

bool has_directory(const Target& target) {
  return target.path.find('/') != std::string::npos ||
         (!target.names.empty() && !target.path.empty());
}

void check_cd(const Target& target, const std::vector<std::string>& options) {
  const std::optional<GivenOption> cd = given_option(options, "CD");
  if (!cd) return;
  if (has_directory(target) || given_option(options, "DIR")) {
    refuse(*cd, "The target has a directory, and CD names another. Give one of them.");
  }
}

void check_batch(const std::vector<std::string>& options, const std::string& physical_name) {
  const std::optional<GivenOption> batch = given_option(options, "BATCHFILE");
  if (!batch) return;
  if (!physical_name.empty()) {
    refuse(*batch, "A batch names its files itself: its target must not have a path.");
  }
  if (const std::optional<GivenOption> cd = given_option(options, "CD")) {
    refuse(*cd, "A batch enters its directories itself: write cd into it instead of CD.");
  }
}

// The module takes these letters for a batch wherever they stand, and moves no file then.
void check_words(const std::vector<std::string>& options) {
  for (const std::string& text : options) {
    for (const char* keyword : {"OPTIONS", "OPTIONSX"}) {
      const std::optional<GivenOption> words = given_option({text}, keyword);
      if (!words || words->value.find("-b ") == std::string::npos) continue;
      refuse(*words,
             "\"-b \" stands for a batch: give BATCHFILE, or put double quotes around a word that "
             "ends in -b.");
    }
  }
}

void check_writable(const std::vector<std::string>& options) {
  const auto reads = given_option_of(options, {"LS", "LSA", "MGET", "BATCHFILE"});
  if (reads) refuse(*reads, "With this option nothing can be written: leave it out.");
}

// The directory that a target's file is in; without a path when none is named.
Target directory_of(const Target& target, const std::vector<std::string>& options) {
  Target directory = target.parent();
  if (const auto cd = given_option(options, "CD")) directory.path = cd->value;
  while (directory.path.size() > 1 && directory.path.ends_with('/')) directory.path.pop_back();
  return directory;
}

}  // namespace

Host::Impl::Impl(HostOptions options)
    : owner_(getpid()),
      forks_(forks_of_process_),
      options_(guarded(std::move(options), callbacks_)),
      loader_(load_module(options_.module_path)),
      runtime_(make_runtime(options_)) {
  [[maybe_unused]] static const int registered =
      pthread_atfork(nullptr, nullptr, [] { ++forks_of_process_; });
  runtime::LaunchRequest& launch = runtime_.toolkit.launch;
  launch.limits.start = options_.start_limit;
  launch.limits.command = options_.command_limit;
  launch.limits.transfer = options_.transfer_limit;
  launch.limits.stall = options_.stall_limit;
  launch.retries = options_.retries;
  launch.may_ask = options_.may_ask && has_terminal();
  if (options_.progress) {
    launch.progress = [this](const runtime::Transfer& transfer, std::uint64_t bytes, bool ended) {
      options_.progress({transfer.is_upload, transfer.remote, bytes, transfer.total, ended,
                         transfer.number, transfer.files});
    };
  }
  launch.interrupted = [this] {
    return (options_.interrupted && options_.interrupted()) || callbacks_.has_thrown();
  };
  if (options_.whole) launch.feed = {};
  launch.verify_uploads = options_.verify_uploads;
  launch.atomic_uploads = options_.atomic_uploads;
  launch.trace = static_cast<bool>(options_.log);
  launch.adapter = options_.client;
  runtime_.toolkit.keep_clients(options_.keep_connection);
  runtime_.temp.name_of_output = [this] {
    const auto found = assigned_.find(name8(runtime_.log.subject()));
    if (!member_being_sent_.empty()) return runtime::unescape_name(member_being_sent_);
    return found == assigned_.end() ? "" : runtime::unescape_name(found->second.physical_name);
  };
  launch.keep_unsent = [this](const std::string& local) {
    std::string place = runtime_.temp.lent().keep(local);
    if (!place.empty() || !runtime_.temp.lent().copy(local)) return place;
    return runtime::keep_unsent(local, options_.unsent_directory, runtime_.temp.name_of_output());
  };
  for (const std::string& place : runtime_.temp.found_unsent()) {
    warn("An upload was cut short when its process was killed; its data is kept in " + place);
  }
  try {
    runtime_.connect(loader_.connect_routine());
  } catch (const std::runtime_error& error) {
    throw Failure(kUnknownMethod, error.what());
  }
  enter("", [this] {
    rctype rc = kSuccess;
    block_ = runtime_.method_block(&rc);
    return rc;
  });
}

// In a process that was forked off this ends nobody's client, but gives back what is held here.
Host::Impl::~Impl() {
  const runtime::Runtime::Entered entered(runtime_);
  runtime_.toolkit.keep_clients(false);
  while (!assigned_.empty()) {
    Name8 name = assigned_.begin()->first;
    runtime_.begin_entry(text_of(name));
    const rctype rc = table().amdasgn.entryp(name.data(), runtime_.request());
    if (rc != kSuccess && is_ours()) {
      runtime_.log.write("error", runtime_.messages.describe(rc));
    }
    assigned_.erase(assigned_.begin());
  }
}

bool Host::Impl::is_ours() const {
  return getpid() == owner_;
}

void Host::Impl::begin(std::string_view fileref) {
  if (!is_ours()) {
    throw UsageError("This host belongs to the process that made it: make one in this process.");
  }
  entered_ = nullptr;
  runtime_.begin_entry(fileref);
  prepare_launch(name8(fileref));
}

void Host::Impl::prepare_launch(const Name8& name) {
  static const Assignment kNone;
  const auto found = assigned_.find(name);
  const Assignment& of = found == assigned_.end() ? kNone : found->second;
  runtime_.toolkit.launch.extra_arguments = of.client_arguments;
  runtime_.toolkit.launch.expected = of.file.empty() ? of.names : std::vector{of.file};
}

void Host::Impl::check(rctype rc) {
  const std::size_t refused = runtime_.toolkit.trouble().refused.size();
  // The one that was refused last is what a failure tells of.
  warn_of_skipped(rc == kSuccess || refused == 0 ? refused : refused - 1);
  settle(rc);
}

bool Host::Impl::after_record(OpenFile* file, rctype rc) {
  const bool ended = plain_code(rc) == kEndOfFile;
  if (rc != kSuccess) entered_ = nullptr;
  const std::vector<std::string>& refused = runtime_.toolkit.trouble().refused;
  file->add_skipped(refused);
  warn_of_skipped(refused.size());
  settle(ended ? kSuccess : rc);
  return !ended;
}

void Host::Impl::settle(rctype rc) {
  if (rc != kSuccess) fail(rc);
  runtime_.messages.clear();
  runtime_.toolkit.forget_trouble();
  callbacks_.rethrow();
}

void Host::Impl::warn_of_skipped(std::size_t count) {
  const std::vector<std::string>& refused = runtime_.toolkit.trouble().refused;
  for (std::size_t i = 0; i < count; ++i) warn(refused[i]);
}

void Host::Impl::warn(const std::string& warning) {
  runtime_.log.write("warning", warning);
  if (options_.warn) options_.warn(warning);
}

void Host::Impl::fail(rctype rc) {
  const runtime::Toolkit::Trouble& trouble = runtime_.toolkit.trouble();
  const std::string message = runtime_.messages.describe(rc);
  fail(Failure(rc, message)
           .with_substitutions(runtime_.messages.attached())
           .with_client(trouble.explanation, trouble.words)
           .with_reason(reason_of(message, trouble.explanation, trouble.words)));
}

void Host::Impl::fail(const Failure& failure) {
  const std::exception_ptr thrown = callbacks_.take();
  if (!thrown) throw failure;
  runtime_.log.write("error", fmt::format("{} {}", failure.message(), failure.explanation()));
  callbacks_.take();
  std::rethrow_exception(thrown);
}

Name8 Host::Impl::checked_name(std::string_view fileref) const {
  const std::string_view trimmed = runtime::trimmed(fileref);
  if (trimmed.empty() || trimmed.size() > sizeof(Name8) ||
      trimmed.find_first_of(std::string_view(" \t\n\0", 4)) != std::string_view::npos) {
    throw Failure(kNotAssigned,
                  fmt::format("\"{}\" is no fileref: it needs 1 to 8 characters and no blanks.",
                              runtime::printable(fileref)));
  }
  Name8 name = name8(trimmed);
  runtime_.text.to_upper(name.data(), name.size());
  return name;
}

Host::Impl::OptionBlock Host::Impl::parse(std::string_view statement, const Name8& name,
                                          const std::vector<std::string>& options, int env) {
  const runtime::Runtime::Entered entered(runtime_);
  ptr block = nullptr;
  Name8 logical = name;
  const auto amparse = table().amparse.entryp;
  begin(text_of(name));
  // An empty statement still has an option block.
  int scanned = 0;
  rctype rc = amparse(logical.data(), runtime_.request(), kMethod, env, nullptr, &scanned, &block);
  OptionBlock made(*this, block);
  if (rc != kSuccess) fail(rc);
  std::string echo;
  for (const std::string& text : options) {
    OptionSource source(text);
    const std::string unfit = source.find_unfit_value();
    if (!unfit.empty()) rc = kTokenFailure;
    runtime_.options_being_read = &source;
    while (rc == kSuccess && !source.at_end()) {
      scanned = 0;
      rc = amparse(logical.data(), runtime_.request(), kMethod, env, &source, &scanned, &block);
      if (rc == kSuccess && !runtime::refusal_of_value(source).empty()) rc = kOptionSyntax;
      if (rc == kSuccess) source.consume(scanned);
    }
    runtime_.options_being_read = nullptr;
    if (rc != kSuccess) {
      const OptionSource::Display display = source.display(std::min(scanned, 2));
      std::string message = unfit.empty() ? runtime::explain_refusal(source, rc) : unfit + ".";
      if (message.empty()) message = runtime_.messages.describe(rc);
      fail(Failure(rc, message)
               .with_substitutions(runtime_.messages.attached())
               .with_place({display.text, display.offset, display.length}));
    }
    echo += " " + source.display(0).text;
  }
  runtime_.log.write(statement, echo);
  callbacks_.rethrow();
  return made;
}

void Host::Impl::dispose(ptr block) {
  if (!is_ours()) return;
  const runtime::Runtime::Entered entered(runtime_);
  // Only a fileref can release an option block: give it to one that stands for nothing.
  Name8 nobody = name8("");
  char nothing[] = "";
  const rctype rc =
      table().amasgn.entryp(nobody.data(), runtime_.request(), kMethod, nothing, 0, block);
  if (rc == kSuccess) table().amdasgn.entryp(nobody.data(), runtime_.request());
}

Host::Impl::Assignment Host::Impl::checked(const Target& target,
                                           const std::vector<std::string>& options) const {
  check_cd(target, options);
  const bool is_directory = given_option(options, "DIR").has_value();
  const bool one_file = target.names.empty() && !is_directory;
  const bool no_path = target.path == "/" && given_option(options, "BATCHFILE");
  Assignment made = {.client_arguments = target.client_arguments,
                     .physical_name = no_path ? "" : physical_name(target),
                     .file = one_file ? target.last_part() : "",
                     .names = target.names};
  const std::optional<GivenOption> make = given_option(options, "NEW");
  if (!make || is_directory) return made;
  if (made.file.empty() || given_option_of(options, kNotOneFile)) {
    refuse(*make, "NEW makes the directory of one file, or with DIR the target: no pattern.");
  }
  const Target directory = directory_of(target, options);
  if (directory.path.empty()) return made;
  made.physical_name = physical_name(directory);
  made.makes_directory = true;
  return made;
}

void Host::Impl::assign(std::string_view fileref, const Target& target,
                        const std::vector<std::string>& options) {
  Name8 name = checked_name(fileref);
  target.check();
  std::vector<std::string> texts;
  if (options_.client == "psftp") texts.push_back(option("PATH", options_.client));
  if (!target.host.empty()) texts.push_back(option("HOST", target.host));
  if (!target.user.empty()) texts.push_back(option("USER", target.user));
  if (!target.names.empty()) {
    texts.emplace_back("MGET");
    if (!target.path.empty()) texts.push_back(option("CD", target.path));
  }
  texts.insert(texts.end(), options.begin(), options.end());
  Assignment assignment = checked(target, options);
  if (assignment.makes_directory) texts.emplace_back("DIR");
  assignment.options = texts;
  check_batch(texts, assignment.physical_name);
  check_words(texts);
  std::string physical = assignment.physical_name;
  OptionBlock block = parse("assign", name, texts, 0);
  enter(text_of(name), [&] {
    const rctype rc =
        table().amasgn.entryp(name.data(), runtime_.request(), kMethod, physical.data(),
                              static_cast<int>(physical.size()), block.release());
    if (rc != kSuccess) return rc;
    runtime_.registry.assign(name, block_);
    assigned_[name] = assignment;
    return rc;
  });
}

void Host::Impl::deassign(std::string_view fileref) {
  Name8 name = checked_name(fileref);
  enter(text_of(name), [&] {
    const rctype rc = table().amdasgn.entryp(name.data(), runtime_.request());
    if (rc != kSuccess) return rc;
    runtime_.registry.deassign(name);
    assigned_.erase(name);
    return rc;
  });
}

std::vector<std::string> Host::Impl::options_of(const Name8& name) const {
  const auto found = assigned_.find(name);
  return found == assigned_.end() ? std::vector<std::string>() : found->second.options;
}

std::unique_ptr<OpenFile> Host::Impl::open(std::string_view fileref, int openmode,
                                           const std::vector<std::string>& options) {
  const Name8 name = checked_name(fileref);
  const auto found = assigned_.find(name);
  if (found == assigned_.end() || !found->second.makes_directory) {
    return open_fileref(name, openmode, options);
  }
  const auto other = given_option_of(options, kNotOneFile);
  if (other) refuse(*other, "The fileref was assigned with NEW, and stands for one file.");
  return open_directory(fileref, {})->open(found->second.file, {}, openmode, options);
}

std::unique_ptr<OpenFile> Host::Impl::open_fileref(Name8 name, int openmode,
                                                   const std::vector<std::string>& options) {
  const FileEntries entries = {[&](ptr* file, WX_OPENPARM* parms) {
                                 return table().amopen.entryp(file, name.data(), runtime_.request(),
                                                              parms);
                               },
                               table().amclose.entryp};
  return open_by(entries, name, openmode, options);
}

std::unique_ptr<OpenFile> Host::Impl::open_by(const FileEntries& entries, const Name8& name,
                                              int openmode,
                                              const std::vector<std::string>& options) {
  WX_OPENPARM parms{};
  parms.openmode = openmode;
  OptionBlock block(*this);
  std::vector<std::string> all = options_of(name);
  all.insert(all.end(), options.begin(), options.end());
  const auto assigned = assigned_.find(name);
  if (assigned != assigned_.end()) check_batch(all, assigned->second.physical_name);
  check_words(all);
  if (openmode == kOpenOutput && entries.member.empty()) check_writable(all);
  if (!options.empty()) {
    const auto of_assignment = given_option_of(options, {"CD", "NEW"});
    if (of_assignment) refuse(*of_assignment, "This option belongs to the assignment.");
    // The block stays ours, so that it is released whatever becomes of the open.
    const int env = kParseHostKeepsBlock | (openmode == kOpenInput ? kParseNbyteAllowed : 0);
    block = parse("open", name, options, env);
  }
  parms.hostptr = block.get();
  const HOST_FILE* before = runtime_.temp.latest();
  std::unique_ptr<OpenFile> opened;
  enter(text_of(name), [&] {
    ptr file = nullptr;
    const rctype rc = entries.open(&file, &parms);
    if (rc != kSuccess) return rc;
    HOST_FILE* latest = runtime_.temp.latest();
    opened =
        std::make_unique<OpenFile>(*this, std::string(text_of(name)), file, openmode, parms.datalen,
                                   latest == before ? nullptr : latest, entries, std::move(block));
    opened->add_skipped(runtime_.toolkit.trouble().refused);
    return rc;
  });
  return opened;
}

std::unique_ptr<OpenDirectory> Host::Impl::open_directory(std::string_view fileref,
                                                          MemberOptions options) {
  Name8 name = checked_name(fileref);
  std::unique_ptr<OpenDirectory> opened;
  enter(text_of(name), [&] {
    ptr directory = nullptr;
    const rctype rc = table().amdopen.entryp(&directory, name.data(), runtime_.request());
    if (rc == kSuccess) opened = std::make_unique<OpenDirectory>(*this, name, directory, options);
    return rc;
  });
  return opened;
}

bool Host::Impl::is_assigned(std::string_view fileref) {
  Name8 name = checked_name(fileref);
  bool assigned = true;
  enter(text_of(name), [&] {
    const rctype rc = table().amexstl.entryp(name.data(), runtime_.request());
    assigned = rc != kNotAssigned;
    return assigned ? rc : kSuccess;
  });
  return assigned;
}

std::optional<std::string> Host::Impl::find(std::string_view fileref) {
  Name8 name = checked_name(fileref);
  enter(text_of(name), [&] { return table().amexstl.entryp(name.data(), runtime_.request()); });
  const std::string& file = assigned_.at(name).file;
  if (file.empty()) throw Failure(kWrongUse, "The fileref does not stand for one file.");
  const auto upper = [this](std::string text) {
    runtime_.text.to_upper(text.data(), text.size());
    return text;
  };
  const std::string wanted = upper(file);
  std::optional<std::string> found;
  try {
    const auto names = open_fileref(name, kOpenInput, {"LSA"});
    for (std::string_view shown; names->read(shown);) {
      if (shown == file || (!found && upper(std::string(shown)) == wanted)) found = shown;
    }
    names->close();
  } catch (const Failure&) {
    if (!runtime_.toolkit.trouble().no_such_directory) throw;
  }
  return found;
}

std::unique_ptr<OpenFile> Host::Impl::open_for_nothing(const Name8& name) {
  constexpr int kForNothing = 0;
  const std::vector<std::string> options = options_of(name);
  if (const auto other = given_option_of(options, kNotOneFile)) {
    refuse(*other, "With this option the fileref does not stand for one file or directory.");
  }
  if (const auto make = given_option(options, "NEW")) {
    refuse(*make, "To look at a file makes no directory: leave NEW out.");
  }
  return open_fileref(name, kForNothing, {});
}

void Host::Impl::run_batch(std::string_view fileref,
                           const std::function<void(std::string_view)>& said) {
  const Name8 name = checked_name(fileref);
  if (assigned_.contains(name) && !given_option(options_of(name), "BATCHFILE")) {
    throw UsageError(fmt::format("{} is no batch: it was assigned without BATCHFILE.", fileref));
  }
  runtime_.toolkit.client_said = callbacks_.wrap(said);
  struct Quiet {
    runtime::Toolkit& toolkit;
    ~Quiet() { toolkit.client_said = {}; }
  } quiet{runtime_.toolkit};
  try {
    open(fileref, kOpenInput, {})->close();
  } catch (const Failure& failure) {
    throw Failure(failure.code(), "The batch did not run to its end.")
        .with_client(failure.explanation(), failure.client_words());
  }
}

Host::Host(HostOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Host::~Host() = default;

void Host::assign(std::string_view fileref, const Target& target,
                  const std::vector<std::string>& options) {
  impl_->assign(fileref, target, options);
}

void Host::deassign(std::string_view fileref) {
  impl_->deassign(fileref);
}

Input Host::open(std::string_view fileref, const std::vector<std::string>& options) {
  return Input(impl_->open(fileref, kOpenInput, options));
}

Output Host::create(std::string_view fileref, const std::vector<std::string>& options) {
  return Output(impl_->open(fileref, kOpenOutput, options));
}

Directory Host::open_directory(std::string_view fileref, MemberOptions options) {
  return Directory(impl_->open_directory(fileref, options));
}

bool Host::is_assigned(std::string_view fileref) {
  return impl_->is_assigned(fileref);
}

std::optional<std::string> Host::find(std::string_view fileref) {
  return impl_->find(fileref);
}

std::optional<FileStatus> Host::stat(std::string_view fileref) {
  return impl_->stat(fileref);
}

std::vector<InfoLine> Host::info(std::string_view fileref) {
  return impl_->info(fileref);
}

bool Host::exists(std::string_view fileref) {
  return find(fileref).has_value();
}

void Host::run_batch(std::string_view fileref, const std::function<void(std::string_view)>& said) {
  impl_->run_batch(fileref, said);
}

double& Host::variable(std::string_view name) {
  return impl_->runtime().variables.at(name);
}

}  // namespace fileref
