#include "fileref/host.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/codes.h"
#include "runtime/library/host_impl.h"
#include "runtime/name_escape.h"
#include "runtime/option_values.h"
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

bool has_terminal() {
  const int terminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal >= 0) ::close(terminal);
  return terminal >= 0;
}

}  // namespace

Host::Impl::Impl(HostOptions options)
    : options_(std::move(options)),
      loader_(load_module(options_.module_path)),
      runtime_(runtime_options(options_)) {
  runtime::LaunchRequest& launch = runtime_.toolkit.launch;
  launch.limits.start = options_.start_limit;
  launch.limits.command = options_.command_limit;
  launch.limits.transfer = options_.transfer_limit;
  launch.retries = options_.retries;
  launch.may_ask = options_.may_ask && has_terminal();
  if (options_.progress) {
    launch.progress = [this](const runtime::Transfer& transfer, std::uint64_t bytes, bool ended) {
      options_.progress({transfer.is_upload, transfer.remote, bytes, transfer.total, ended});
    };
  }
  launch.interrupted = options_.interrupted;
  launch.verify_uploads = options_.verify_uploads;
  launch.adapter = options_.client;
  launch.keep_unsent = [this](const std::string& local) {
    const auto found = assigned_.find(name8(runtime_.log.subject()));
    return runtime::keep_unsent(
        local, options_.unsent_directory,
        found == assigned_.end() ? "" : runtime::unescape_name(found->second.physical_name));
  };
  runtime_.connect(loader_.connect_routine());
  rctype rc = kSuccess;
  runtime_.begin_entry("");
  block_ = runtime_.method_block(&rc);
  if (block_ == nullptr) fail(rc);
}

Host::Impl::~Impl() {
  while (!assigned_.empty()) {
    Name8 name = assigned_.begin()->first;
    runtime_.begin_entry(text_of(name));
    const rctype rc = table().amdasgn.entryp(name.data(), runtime_.request());
    if (rc != kSuccess) runtime_.log.write("error", runtime_.messages.describe(rc));
    assigned_.erase(assigned_.begin());
  }
}

void Host::Impl::warn_of_skipped() {
  for (const std::string& warning : runtime_.toolkit.trouble().refused) {
    runtime_.log.write("warning", warning);
    if (options_.warn) options_.warn(warning);
  }
  runtime_.toolkit.forget_trouble();
}

void Host::Impl::fail(rctype rc) const {
  const runtime::Toolkit::Trouble& trouble = runtime_.toolkit.trouble();
  throw Failure(rc, runtime_.messages.describe(rc))
      .with_substitutions(runtime_.messages.attached())
      .with_client(trouble.explanation, trouble.words);
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

ptr Host::Impl::parse(std::string_view statement, const Name8& name,
                      const std::vector<std::string>& options, int env) {
  ptr block = nullptr;
  Name8 logical = name;
  const auto amparse = table().amparse.entryp;
  runtime_.begin_entry(text_of(name));
  // An empty statement still has an option block.
  int scanned = 0;
  rctype rc = amparse(logical.data(), runtime_.request(), kMethod, env, nullptr, &scanned, &block);
  if (rc != kSuccess) fail(rc);
  std::string echo;
  for (const std::string& text : options) {
    OptionSource source(text);
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
      const std::string why = runtime::explain_refusal(source, rc);
      const std::string message = why.empty() ? runtime_.messages.describe(rc) : why;
      const std::vector<std::string> substitutions = runtime_.messages.attached();
      dispose(block);
      throw Failure(rc, message)
          .with_substitutions(substitutions)
          .with_place({display.text, display.offset, display.length});
    }
    echo += " " + source.display(0).text;
  }
  runtime_.log.write(statement, echo);
  return block;
}

void Host::Impl::dispose(ptr block) {
  // Only a fileref can release an option block: give it to one that stands for nothing.
  Name8 nobody = name8("");
  char nothing[] = "";
  const rctype rc =
      table().amasgn.entryp(nobody.data(), runtime_.request(), kMethod, nothing, 0, block);
  if (rc == kSuccess) table().amdasgn.entryp(nobody.data(), runtime_.request());
}

void Host::Impl::assign(std::string_view fileref, const Target& target,
                        const std::vector<std::string>& options) {
  Name8 name = checked_name(fileref);
  std::vector<std::string> texts;
  if (options_.client == "psftp") texts.push_back(option("PATH", options_.client));
  if (!target.host.empty()) texts.push_back(option("HOST", target.host));
  if (!target.user.empty()) texts.push_back(option("USER", target.user));
  if (!target.names.empty()) {
    texts.emplace_back("MGET");
    if (!target.path.empty()) texts.push_back(option("CD", target.path));
  }
  texts.insert(texts.end(), options.begin(), options.end());
  std::string physical = physical_name(target);
  ptr block = parse("assign", name, texts, 0);
  enter(text_of(name), [&] {
    return table().amasgn.entryp(name.data(), runtime_.request(), kMethod, physical.data(),
                                 static_cast<int>(physical.size()), block);
  });
  runtime_.registry.assign(name, block_);
  assigned_[name] = {target.client_arguments, physical};
}

void Host::Impl::deassign(std::string_view fileref) {
  Name8 name = checked_name(fileref);
  enter(text_of(name), [&] { return table().amdasgn.entryp(name.data(), runtime_.request()); });
  runtime_.registry.deassign(name);
  assigned_.erase(name);
}

std::unique_ptr<OpenFile> Host::Impl::open(std::string_view fileref, int openmode,
                                           const std::vector<std::string>& options) {
  Name8 name = checked_name(fileref);
  const FileEntries entries = {[&](ptr* file, WX_OPENPARM* parms) {
                                 return table().amopen.entryp(file, name.data(), runtime_.request(),
                                                              parms);
                               },
                               table().amclose.entryp};
  return open_by(entries, name, openmode, options);
}

void Host::Impl::prepare_launch(const Name8& name) {
  const auto found = assigned_.find(name);
  runtime_.toolkit.launch.extra_arguments =
      found == assigned_.end() ? std::vector<std::string>() : found->second.client_arguments;
}

std::unique_ptr<OpenFile> Host::Impl::open_by(const FileEntries& entries, const Name8& name,
                                              int openmode,
                                              const std::vector<std::string>& options) {
  WX_OPENPARM parms{};
  parms.openmode = openmode;
  OptionBlock block(*this);
  if (!options.empty()) {
    // The block stays ours, so that it is released whatever becomes of the open.
    const int env = kParseHostKeepsBlock | (openmode == kOpenInput ? kParseNbyteAllowed : 0);
    block = OptionBlock(*this, parse("open", name, options, env));
  }
  parms.hostptr = block.get();
  prepare_launch(name);
  const HOST_FILE* before = runtime_.temp.latest();
  ptr file = nullptr;
  enter(text_of(name), [&] { return entries.open(&file, &parms); });
  HOST_FILE* latest = runtime_.temp.latest();
  if (latest == before) latest = nullptr;
  const bool names = openmode == kOpenInput && latest == nullptr;
  return std::make_unique<OpenFile>(*this, std::string(text_of(name)), file, parms.datalen, latest,
                                    names, entries.close, std::move(block));
}

std::unique_ptr<OpenDirectory> Host::Impl::open_directory(std::string_view fileref,
                                                          MemberOptions options) {
  Name8 name = checked_name(fileref);
  ptr directory = nullptr;
  enter(text_of(name),
        [&] { return table().amdopen.entryp(&directory, name.data(), runtime_.request()); });
  return std::make_unique<OpenDirectory>(*this, name, directory, options);
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

bool Host::Impl::exists(std::string_view fileref) {
  Name8 name = checked_name(fileref);
  prepare_launch(name);
  bool there = true;
  enter(text_of(name), [&] {
    const rctype rc = table().amexstp.entryp(name.data(), runtime_.request());
    there = rc != kDoesNotExist;
    return there ? rc : kSuccess;
  });
  return there;
}

void Host::Impl::run_batch(std::string_view fileref,
                           const std::function<void(std::string_view)>& said) {
  runtime_.toolkit.client_said = said;
  struct Quiet {
    runtime::Toolkit& toolkit;
    ~Quiet() { toolkit.client_said = {}; }
  } quiet{runtime_.toolkit};
  open(fileref, kOpenInput, {})->close();
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

bool Host::exists(std::string_view fileref) {
  return impl_->exists(fileref);
}

void Host::run_batch(std::string_view fileref, const std::function<void(std::string_view)>& said) {
  impl_->run_batch(fileref, said);
}

double& Host::variable(std::string_view name) {
  return impl_->runtime().variables.at(name);
}

}  // namespace fileref
