// The host toolkit: pools, journals, the transcoding pipeline, and the extension that launches
// clients.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/toolkit.h"
#include "runtime/fault_point.h"
#include "runtime/launch/client.h"
#include "runtime/launch/file_status.h"
#include "runtime/log.h"
#include "runtime/memory.h"

namespace fileref::runtime {

class Toolkit {
 public:
  // Starts a client for a command line: what `tkels` does. Replaced in tests by a scripted one.
  using Launcher = std::function<TKStatus(const std::string& command_line, LSProcessp* process)>;

  // `allocation_faults` and `service_faults` may fail the objects made here.
  Toolkit(Log& log, FaultPoint& allocation_faults, FaultPoint& service_faults);
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;

  TK_HNDL_S* handle() { return &handle_; }

  // How the next clients are launched; their command lines come from the module, and the journal is
  // the log.
  LaunchRequest launch;
  // Whether a client whose session has ended stays, until another stays, for the next session that
  // would run the same words.
  void keep_clients(bool keep);
  Launcher launcher;
  // Is told each line that clients say.
  std::function<void(std::string_view line)> client_said;

  // Lets at most the time pass, or returns as soon as the answer under way is complete; at once
  // when none is.
  void pause(std::chrono::milliseconds at_most);

  // What clients said and why commands failed since the last `forget_trouble`.
  struct Trouble {
    std::string explanation;
    std::string words;
    std::vector<std::string> refused;  // downloads that were refused, each with the reason
    bool no_such_directory = false;    // the one to be entered does not exist
  };
  const Trouble& trouble() const { return trouble_; }
  void forget_trouble() { trouble_ = {}; }
  // The client that a fileref's entry launched last; none when it has ended.
  std::weak_ptr<Client> client_of(std::string_view fileref) const;
  // What a client knows of a name: `stat` and `lstat`, see runtime/launch/file_status.h. Nothing
  // when there is no such file; a failure is noted as trouble.
  TKStatus ask(Client& client, std::string_view command, std::string_view name,
               std::optional<FileStatus>* found);
  // The names in the client's directory that match; none when none does.
  TKStatus list(Client& client, std::string_view pattern, std::vector<std::string>* names);
  // Adds to why a command failed.
  void explain(std::string_view more);
  // Objects made and not destroyed yet.
  long outstanding() const { return outstanding_; }

 private:
  struct Object;
  struct Pool;
  struct Journal;
  struct Pipeline;
  struct LaunchService;
  struct Process;

  // `T` derives from the boundary's `Record`, whose first member is the TKGeneric.
  template <class T, class Record>
  static TKStatus destroy(TKGeneric* object);
  template <class T, class Record>
  T* make(const char* name);
  struct Spare {
    std::vector<std::string> words;  // it was launched with
    std::shared_ptr<Client> client;
  };

  TKStatus launch_client(const std::string& command_line, LSProcessp* process);
  std::shared_ptr<Client> take_spare(const std::vector<std::string>& words);
  // Sends a line and takes the whole answer.
  TKStatus exchange(Client& client, const std::string& line, std::string* answer);
  // Runs what the module asks of an object. What it throws becomes `failure`, and the explanation.
  template <class Call>
  TKStatus run(TKStatus failure, Call call);

  struct Handle : TK_HNDL_S {
    Toolkit* toolkit;
  };
  struct Nls : TKNLS_S {
    Toolkit* toolkit;
  };

  Log& log_;
  FaultPoint& allocation_faults_;
  FaultPoint& service_faults_;
  Handle handle_{};
  Nls nls_{};
  std::map<std::string, std::weak_ptr<Client>, std::less<>> clients_;  // by their filerefs
  Client* driven_ = nullptr;  // the client that was given something to do last
  bool keeps_clients_ = false;
  Spare spare_;
  Trouble trouble_;
  long outstanding_ = 0;
};

}  // namespace fileref::runtime
