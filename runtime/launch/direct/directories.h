// The start of a direct session, and the commands that enter, leave and make directories.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "runtime/launch/direct/operation.h"
#include "runtime/sftp/requests.h"

namespace fileref::runtime::direct {

// Done when the server has greeted. A session that was lost must stand in its directory again.
class Start : public Operation {
 public:
  explicit Start(const Session& session) : session_(session) {}
  void begin(sftp::Connection& connection) override;
  void drop() override { asker_.reset(); }
  std::optional<Answer> answer() override { return answer_; }
  Answer lost(Answer failure, std::string_view words) override;

 private:
  Answer judge(const sftp::Status& status, std::string_view real_path) const;

  const Session& session_;
  std::unique_ptr<sftp::Asker> asker_;
  std::optional<Answer> answer_;
};

// What a listing says of a name needs no request; of its links all are asked about together.
class ChangeDirectory : public Operation {
 public:
  ChangeDirectory(Session* session, std::string name) : session_(session), name_(std::move(name)) {}
  void begin(sftp::Connection& connection) override;
  void drop() override { asker_.reset(); }
  std::optional<Answer> answer() override;

 private:
  void ask_about_links();
  void ask();
  void ask_about_expected(const std::string& path);
  void take_kind(const sftp::Status& status, const sftp::Attributes& attributes);
  void probe();
  Answer judge();
  Answer refuse(std::string explanation);
  Answer judge_listed(const DirectoryListing::Entry& entry);
  Answer enter(std::string directory);

  Session* session_;
  std::string name_;
  std::unique_ptr<sftp::Asker> asker_;
  std::size_t awaited_ = 0;  // replies
  bool was_asked_ = false;   // about this name
  sftp::Status status_, real_path_status_;
  std::string real_path_;
  sftp::Kind kind_ = sftp::Kind::kUnknown;
  std::optional<std::uint64_t> expected_size_;  // of the file that is expected in it
};

// Goes back to the directory that the last change of directory left.
class LeaveDirectory : public Operation {
 public:
  explicit LeaveDirectory(Session* session) : session_(session) {}
  void begin(sftp::Connection&) override {}
  void drop() override {}
  std::optional<Answer> answer() override;

 private:
  Session* session_;
};

class MakeDirectory : public Operation {
 public:
  MakeDirectory(const Session& session, std::string name)
      : session_(session), name_(std::move(name)) {}
  void begin(sftp::Connection& connection) override;
  void drop() override { asker_.reset(); }
  std::optional<Answer> answer() override { return answer_; }

 private:
  void make();

  const Session& session_;
  std::string name_;
  bool was_asked_ = false;  // in a session that was lost: it may have been made
  std::unique_ptr<sftp::Asker> asker_;
  std::optional<Answer> answer_;
};

}  // namespace fileref::runtime::direct
