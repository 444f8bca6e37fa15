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
// goes on where it stopped, if the file is as it was. Where files are handed out while they come,
// it is done as soon as this one is open.
class Get : public Operation {
 public:
  Get(Session* session, FetchAhead* ahead, Command command);
  void begin(sftp::Connection& connection) override;
  void drop() override;
  std::optional<Answer> answer() override;
  Answer lost(Answer failure, std::string_view words) override;
  const Transfer* transfer() const override { return &transfer_; }
  std::uint64_t moved() const override { return fetch_ ? fetch_->position() : 0; }
  bool ends_transfer() const override { return !fetch_ || fetch_->has_ended(); }

 private:
  bool hands_out() const { return static_cast<bool>(session_->hand_out); }
  void find(sftp::Connection& connection);
  void put_into_file();
  void begin_anew();
  Answer judge();
  Answer hand_out();
  Answer refuse(std::string explanation) const;
  Answer fail(const std::string& reason) const;

  Session* session_;
  FetchAhead* ahead_;
  Command command_;
  PartFile part_;
  Transfer transfer_;
  sftp::Connection* connection_ = nullptr;
  std::unique_ptr<Fetch> fetch_;
  std::optional<Answer> answer_;
};

}  // namespace fileref::runtime::direct
