// A host for one test: the real runtime and the real module, with a scripted client.
#pragma once

#include <gtest/gtest.h>

#include <cstdarg>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dsup/src/vvipgmcn.h"
#include "host/codes.h"
#include "host/messages.h"
#include "runtime/runtime.h"
#include "sup/src/yxsftp/famb.h"
#include "sup/src/yxsftp/ffcb.h"
#include "sup/src/yxsftp/flcb.h"
#include "tests/module/scripted_client.h"

namespace fileref {

inline char kSftp[] = "SFTP    ";
constexpr const char* kTooLong = " Its command is longer than 4095 bytes.";

// The catalogue's text: `message_text<message::X>(args...)`.
template <class Message>
struct CatalogueText;
template <int Number, class... Args>
struct CatalogueText<message::Message<Number, Args...>> {
  static std::string of(Args... arguments) { return format(Number, arguments...); }
  static std::string format(int number, ...) {
    std::va_list arguments;
    va_start(arguments, number);
    std::string text = runtime::Messages::format(kMessageGroup, number, arguments);
    va_end(arguments);
    return text;
  }
};
template <class Message>
inline constexpr auto* message_text = &CatalogueText<Message>::of;

// When it goes, nothing that the module was given may still be out.
class ModuleHost {
  std::string log_;  // written to for as long as the runtime lives

 public:
  explicit ModuleHost(const std::string& session_encoding = "UTF-8")
      : runtime(options_of(session_encoding)), client(runtime.service_faults) {
    runtime.toolkit.launcher = [this](const std::string& command_line, LSProcessp* process) {
      return client.launch(command_line, process);
    };
    runtime.on_pause = [this](long milliseconds) { pauses.push_back(milliseconds); };
    runtime.connect(&mcn_main);
    rctype rc = kSuccess;
    method = runtime.method_block(&rc);
  }
  ~ModuleHost() {
    EXPECT_EQ(runtime.outstanding(), 0);
    EXPECT_EQ(client.alive, 0);
  }

  AMENT& table() const { return *method->ament; }

  // Reads option texts into a block as the host does. On failure the block stays the caller's.
  rctype parse(const std::string& text, ptr* block, int env = kParseNbyteAllowed) {
    runtime::Name8 name = runtime::name8("");
    runtime.begin_entry("");
    source_ = std::make_unique<runtime::OptionSource>(text);
    runtime.options_being_read = source_.get();
    scanned = kUntouched;
    rctype rc = table().amparse.entryp(name.data(), runtime.request(), kSftp, env, nullptr,
                                       &scanned, block);
    while (rc == kSuccess && !source_->at_end()) {
      scanned = kUntouched;
      rc = table().amparse.entryp(name.data(), runtime.request(), kSftp, env, source_.get(),
                                  &scanned, block);
      if (rc == kSuccess) source_->consume(scanned);
    }
    runtime.options_being_read = nullptr;
    return rc;
  }
  // The option text of the last `parse` as it may be shown, with the token marked in error.
  runtime::OptionSource::Display echo() const { return source_->display(kBehindTheEnd); }

  FAMB* options(const std::string& text, int env = kParseNbyteAllowed) {
    ptr block = nullptr;
    EXPECT_EQ(parse(text, &block, env), kSuccess) << text;
    return static_cast<FAMB*>(block);
  }

  rctype assign(const std::string& name, std::string physical,
                const std::string& text = "HOST='h'") {
    runtime::Name8 logical = runtime::name8(name);
    ptr block = nullptr;
    const rctype rc = parse_or_release(text, &block);
    if (rc != kSuccess) return rc;
    runtime.begin_entry(name);
    return table().amasgn.entryp(logical.data(), runtime.request(), kSftp, physical.data(),
                                 static_cast<int>(physical.size()), block);
  }

  rctype deassign(const std::string& name) {
    runtime::Name8 logical = runtime::name8(name);
    runtime.begin_entry(name);
    return table().amdasgn.entryp(logical.data(), runtime.request());
  }

  // With option texts the open has a block of its own, which it takes over.
  rctype open(ptr* file, const std::string& name, int mode, const std::string& text = "") {
    WX_OPENPARM parms{};
    parms.openmode = mode;
    const rctype rc = text.empty() ? kSuccess : parse_or_release(text, &parms.hostptr);
    return rc == kSuccess ? open(file, name, &parms) : rc;
  }
  rctype open(ptr* file, const std::string& name, WX_OPENPARM* parms) {
    runtime::Name8 logical = runtime::name8(name);
    runtime.begin_entry(name);
    return table().amopen.entryp(file, logical.data(), runtime.request(), parms);
  }

  rctype read(ptr file, std::string* record) {
    ptr start = nullptr;
    long length = 0;
    tchar cc = 0;
    const rctype rc = table().amread.entryp(file, &start, &length, &cc);
    if (rc == kSuccess) record->assign(static_cast<char*>(start), static_cast<size_t>(length));
    return rc;
  }
  // All records, each with a "|" behind it; something else than the end shows as its code.
  std::string read_all(ptr file) {
    std::string all;
    std::string record;
    rctype rc = kSuccess;
    while ((rc = read(file, &record)) == kSuccess) all += record + "|";
    return plain_code(rc) == kEndOfFile ? all : all + std::to_string(static_cast<unsigned>(rc));
  }

  rctype write(ptr file, std::string record) {
    return table().amwrite.entryp(file, record.data(), static_cast<long>(record.size()), ' ');
  }

  rctype close(ptr file) {
    runtime.begin_entry("");
    return table().amclose.entryp(file);
  }

  // What the last failure carries, the pieces with "|" between them.
  std::string attached() const {
    std::string all;
    for (const std::string& text : runtime.messages.attached()) {
      all += (all.empty() ? "" : "|") + text;
    }
    return all;
  }
  // The lines logged since the last call without their times and filerefs, temporary files as TEMP:
  // "kind: text|".
  std::string logged() {
    const std::string& directory = runtime.temp.directory();
    for (std::size_t at = 0; (at = log_.find(directory)) != std::string::npos;) {
      log_.replace(at, log_.find('"', at) - at, "TEMP");
    }
    return std::exchange(log_, {});
  }

  // The block of an assigned fileref, or null.
  FLCB* fileref(const std::string& name) const {
    return find_in_method(method, runtime::name8(name).data());
  }

  static constexpr int kUntouched = -9;

  runtime::Runtime runtime;
  runtime::Runtime::Entered entered{runtime};
  ScriptedClient client;
  AMMCB* method = nullptr;
  int scanned = kUntouched;  // tokens of the last option parsed
  std::vector<long> pauses;  // in milliseconds

 private:
  runtime::RuntimeOptions options_of(const std::string& session_encoding) {
    runtime::RuntimeOptions options;
    options.session_encoding = session_encoding;
    options.log = [this](std::string_view line) {
      for (int i = 0; i < 2; ++i) line.remove_prefix(line.find(' ') + 1);
      log_ += std::string(line) + "|";
    };
    return options;
  }

  static constexpr int kBehindTheEnd = 1000;

  rctype parse_or_release(const std::string& text, ptr* block) {
    const rctype rc = parse(text, block);
    if (rc != kSuccess) release_option_block(static_cast<FAMB*>(*block), nullptr);
    return rc;
  }

  std::unique_ptr<runtime::OptionSource> source_;
};

}  // namespace fileref
