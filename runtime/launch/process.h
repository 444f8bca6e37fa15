// A client as the process object that a module drives.
#pragma once

#include <chrono>
#include <memory>
#include <string_view>

#include "host/toolkit.h"
#include "runtime/launch/client.h"

namespace fileref::runtime {

// Made with `new`: the module, or whoever else has it, destroys it through `generic.destroy`. What
// its members throw becomes kProcessFailed, and is told to the request's `trouble`.
class Process : public LSProcess_S {
 public:
  explicit Process(std::shared_ptr<Client> client);
  virtual ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

 protected:
  virtual TKStatus send(std::string_view command);
  virtual TKStatus read(int mode, char* buffer, TKMemSize capacity, TKMemSize* length);
  virtual TKStatus wait(std::chrono::milliseconds at_most);
  virtual void close() { client_->close_streams(); }

  Client& client() const { return *client_; }
  std::shared_ptr<Client> give_up_client() { return std::move(client_); }

 private:
  // The functions of the boundary's record.
  struct Face;

  std::shared_ptr<Client> client_;
};

}  // namespace fileref::runtime
