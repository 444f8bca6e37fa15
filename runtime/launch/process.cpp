#include "runtime/launch/process.h"

#include <optional>
#include <string>
#include <utility>

#include "fileref/launch.h"
#include "host/codes.h"
#include "runtime/name_escape.h"
#include "runtime/shield.h"

namespace fileref {
namespace runtime {

struct Process::Face {
  static Process& of(LSProcess_S* process) { return *static_cast<Process*>(process); }

  template <class Call>
  static TKStatus run(LSProcess_S* process, Call call) {
    Process& self = of(process);
    TKStatus result = kProcessFailed;
    std::string why;
    const bool threw = shielded([&] { result = call(self); }, &why) != kSuccess;
    if (threw) shielded([&] { self.client_->tell_trouble(why); }, &why);
    return result;
  }

  static TKStatus destroy(TKGeneric* object) {
    delete &of(reinterpret_cast<LSProcess_S*>(object));
    return kSuccess;
  }
  static long pid(LSProcess_S* process) { return of(process).client_->pid(); }
  static TKMemPtr context(LSProcess_S* process) { return process->pUserContext; }
  static TKStatus kill(LSProcess_S* process, TKJnlh /*journal*/) {
    return run(process, [](Process& self) { return self.client_->kill(); });
  }
  static TKStatus status(LSProcess_S* process, int* exit_status, TKJnlh /*journal*/) {
    return run(process, [&](Process& self) {
      const std::optional<int> ended = self.client_->exit_status();
      if (ended) *exit_status = *ended;
      return ended ? kSuccess : kNoAnswerInTime;
    });
  }
  static TKStatus output(LSProcess_S* process, int mode, char* buffer, TKMemSize capacity,
                         TKMemSize* length, TKJnlh /*journal*/) {
    *length = 0;
    return run(process, [&](Process& self) { return self.read(mode, buffer, capacity, length); });
  }
  static TKStatus input(LSProcess_S* process, const char* text, TKMemSize length,
                        TKJnlh /*journal*/) {
    return run(process, [&](Process& self) { return self.send({text, length}); });
  }
  static TKStatus close(LSProcess_S* process) {
    return run(process, [](Process& self) {
      self.close();
      return kSuccess;
    });
  }
  static TKStatus await(LSProcess_S* process, long milliseconds, TKJnlh /*journal*/) {
    return run(process,
               [&](Process& self) { return self.wait(std::chrono::milliseconds(milliseconds)); });
  }
  static void no_method() {}
  static TKStatus refuse(LSProcess_S* /*process*/, TKJnlh /*journal*/) { return kNotSupported; }
};

Process::Process(std::shared_ptr<Client> client)
    : LSProcess_S{{nullptr, "client", &Face::destroy},
                  nullptr,
                  0,
                  nullptr,
                  &Face::pid,
                  &Face::context,
                  &Face::kill,
                  &Face::status,
                  &Face::output,
                  &Face::input,
                  &Face::close,
                  &Face::no_method,
                  &Face::no_method,
                  &Face::await,
                  &Face::refuse,
                  &Face::refuse},
      client_(std::move(client)) {}

Process::~Process() = default;

TKStatus Process::send(std::string_view command) {
  const TKStatus rc = client_->send(command);
  if (rc != kSuccess) client_->tell_trouble();
  return rc;
}

TKStatus Process::read(int mode, char* buffer, TKMemSize capacity, TKMemSize* length) {
  const TKStatus rc = client_->read(mode, buffer, capacity, length);
  client_->tell_trouble();
  return rc;
}

TKStatus Process::wait(std::chrono::milliseconds at_most) {
  return client_->wait(at_most);
}

}  // namespace runtime

LSProcess_S* launch(LaunchRequest request, std::string* why) {
  request.command_line = unescape_name(request.command_line);
  std::unique_ptr<runtime::Client> client = runtime::Client::launch({std::move(request)}, why);
  return client ? new runtime::Process(std::move(client)) : nullptr;
}

std::string escape_name(std::string_view name) {
  return runtime::escape_name(name);
}

std::string unescape_name(std::string_view escaped) {
  return runtime::unescape_name(escaped);
}

}  // namespace fileref
