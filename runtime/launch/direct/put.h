// Uploads of the direct client.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "runtime/file_range.h"
#include "runtime/launch/command.h"
#include "runtime/launch/direct/operation.h"
#include "runtime/sftp/download.h"
#include "runtime/sftp/upload.h"

namespace fileref::runtime::direct {

// Uploads, under a name of its own first if that is asked for, and reads back what has to be
// proved.
class Put : public Operation {
 public:
  Put(Session* session, Command command);
  void begin(sftp::Connection& connection) override;
  void drop() override;
  std::optional<Answer> answer() override;
  bool withdraw() override;
  Answer lost(Answer failure, std::string_view words) override;
  const Transfer* transfer() const override { return &transfer_; }
  std::uint64_t moved() const override;

 private:
  void remove_part(const std::function<void()>& then);
  void look();
  bool may_be_source(const sftp::Attributes& found) const;
  bool copy_source();
  void send(const sftp::Attributes& before);
  void verify();
  void read_back();
  bool is_next(std::string_view bytes);
  std::string fault_of_copy() const;
  Answer fail(std::string reason);

  Session* session_;
  Command command_;
  Transfer transfer_;
  sftp::Connection* connection_ = nullptr;
  std::unique_ptr<sftp::Asker> asker_;
  std::unique_ptr<sftp::Upload> upload_;
  std::unique_ptr<sftp::Download> copy_;
  std::string target_, real_path_;  // real_path_: behind links
  std::string by_way_of_;           // not empty while a file of that name may be left there
  bool makes_new_ = false;          // the remote file was not there before
  bool differs_ = false;            // what was read back
  bool touched_before_ = false;     // the remote file, in a session that was lost
  std::optional<FileRange> local_;
  std::optional<Answer> answer_;
};

}  // namespace fileref::runtime::direct
