// Downloads of the direct client.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/command.h"
#include "runtime/launch/direct/fetch_ahead.h"
#include "runtime/launch/direct/operation.h"
#include "runtime/launch/direct/part_file.h"

namespace fileref::runtime::direct {

// Downloads to a fresh name and renames it onto the asked one once it is whole. After a loss it
// goes on where it stopped, if the file is as it was.
class Get : public Operation {
 public:
  Get(Session* session, FetchAhead* ahead, Command command);
  void begin(sftp::Connection& connection) override;
  void drop() override;
  std::optional<Answer> answer() override;
  Answer lost(Answer failure, std::string_view words) override;
  const Transfer* transfer() const override { return &transfer_; }
  std::uint64_t moved() const override;

 private:
  void find(sftp::Connection& connection);
  void ask_what_it_is(sftp::Connection& connection);
  void fetch_file(sftp::Connection& connection, std::uint64_t size, std::uint64_t from);
  void adopt(std::unique_ptr<Fetch> fetch);
  std::uint64_t offset_to_go_on_at(const sftp::Attributes& now);
  bool went_on_with_another() const;
  void fetch_anew();
  Answer judge();
  Answer refuse(std::string explanation) const;
  Answer fail(const std::string& reason) const;

  Session* session_;
  FetchAhead* ahead_;
  Command command_;
  PartFile part_;
  Transfer transfer_;
  std::unique_ptr<sftp::Asker> asker_;
  std::unique_ptr<Fetch> fetch_;
  std::optional<Answer> answer_;
  std::optional<sftp::Attributes> before_;  // of the file, in the session that was lost
  std::uint64_t arrived_ = 0;               // bytes, then
};

}  // namespace fileref::runtime::direct
