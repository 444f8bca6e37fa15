// How the module's commands are carried out with the OpenSSH client, and how their outcome is
// judged. The client's messages come in hundreds of wordings and servers add noise, so evidence
// decides: where the session stands, what is there, how many bytes arrived.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/command.h"
#include "runtime/launch/listing.h"
#include "runtime/launch/openssh.h"
#include "runtime/launch/operation.h"

namespace fileref::runtime::openssh {

class Start : public Operation {
 public:
  explicit Start(Session* session) : session_(session) {}
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  Session* session_;
  bool up_ = false;
};

class ChangeDirectory : public Operation {
 public:
  ChangeDirectory(Session* session, std::string name, std::string line)
      : session_(session), name_(std::move(name)), line_(std::move(line)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  bool is_current() const;

  Session* session_;
  std::string name_, line_;
};

// Goes back to the directory that the last change of directory left, which is not the one above
// when that went through a link.
class LeaveDirectory : public Operation {
 public:
  explicit LeaveDirectory(Session* session) : session_(session), target_(session->left) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  Session* session_;
  std::string target_;
};

class MakeDirectory : public Operation {
 public:
  MakeDirectory(std::string name, std::string line)
      : name_(std::move(name)), line_(std::move(line)) {}
  Step begin() override;
  Step take(const Reply& reply) override;

 private:
  std::string name_, line_;
};

// Downloads to a fresh name and renames it onto the asked one once it is complete.
class Download : public Operation {
 public:
  // With the size that a listing gave, it is not asked for again unless another one arrives.
  Download(Command command, std::string part, std::string list, std::string get,
           std::optional<std::uint64_t> listed)
      : command_(std::move(command)),
        part_(std::move(part)),
        list_(std::move(list)),
        get_(std::move(get)),
        listed_(listed) {}
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kAskSize, kTransfer, kAskSizeAgain };

  Step ask_size();
  Step transfer();
  Step judge(const Reply& reply);
  Step judge_again(const RemoteFile& now);
  std::string arrived_of(std::uint64_t stated) const;
  Answer refused() const;
  Answer accept();
  Answer fail(const std::string& reason);

  Command command_;
  std::string part_, list_, get_;
  std::optional<std::uint64_t> listed_;
  State state_ = State::kAskSize;
  RemoteFile before_;
  std::uint64_t arrived_ = 0;
};

// Has the local file of an upload kept, and tells the user where and why.
std::string explain_failed_upload(const Session& session, const Command& command,
                                  const std::string& reason);

// Uploads, looks at what arrived, and reads it back where that is not proof enough.
class Upload : public Operation {
 public:
  Upload(Session* session, Command command, std::string copy, std::string list, std::string put,
         std::string get)
      : session_(session),
        command_(std::move(command)),
        copy_(std::move(copy)),
        list_(std::move(list)),
        put_(std::move(put)),
        get_(std::move(get)) {}
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kLook, kTransfer, kLookAgain, kReadBack };

  Step transfer();
  Step judge(const RemoteFile& arrived);
  Answer judge_copy();
  Answer fail(const std::string& reason);

  Session* session_;
  Command command_;
  std::string copy_;  // the local file that the upload is read back to
  std::string list_, put_, get_;
  State state_ = State::kLook;
  RemoteFile before_;
  std::string complaint_;             // what the client said during the transfer
  bool may_be_the_old_file_ = false;  // the size does not tell
};

}  // namespace fileref::runtime::openssh
