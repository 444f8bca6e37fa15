// Downloads and uploads, and how their outcome is judged. The clients' messages come in hundreds of
// wordings and servers add noise, so evidence decides: what is there, how many bytes arrived.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/launch/command.h"
#include "runtime/launch/dialogue/dialect.h"
#include "runtime/launch/dialogue/listing.h"
#include "runtime/launch/dialogue/look.h"
#include "runtime/launch/dialogue/operation.h"

namespace fileref::runtime {

// Downloads to a fresh name and renames it onto the asked one once it is complete.
class Download : public Operation {
 public:
  Download(const Dialect& dialect, Session* session, Command command)
      : dialect_(dialect),
        session_(session),
        command_(std::move(command)),
        part_(part_of(command_.local)),
        look_(dialect, command_.listed_as) {}
  static std::string part_of(const std::string& local) { return local + ".part"; }
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kAskAllSizes, kAskSize, kTransfer, kAskSizeAgain };

  Step find_size();
  Step ask_size();
  Step transfer();
  Step judge(const Reply& reply);
  Step judge_again(const RemoteFile& now);
  std::string arrived_of(std::uint64_t stated) const;
  Answer refused() const;
  Answer accept();
  Answer fail(const std::string& reason);

  const Dialect& dialect_;
  Session* session_;
  Command command_;
  std::string part_;
  Look look_;
  State state_ = State::kAskSize;
  RemoteFile before_;
  bool from_listing_ = false;  // `before_` may be long out of date
  std::uint64_t arrived_ = 0;
};

// Has the local file of an upload kept, by `keep` as in LaunchRequest::keep_unsent, and tells the
// user where and why. With `sent`, the remote file may have got some of the data.
std::string explain_failed_upload(const std::function<std::string(const std::string&)>& keep,
                                  const Command& command, const std::string& reason, bool sent);

// Uploads, looks at what arrived, and reads it back where that is not proof enough, or always.
class Upload : public Operation {
 public:
  Upload(const Dialect& dialect, Session* session, Command command)
      : dialect_(dialect),
        session_(session),
        command_(std::move(command)),
        copy_(copy_of(command_.local)),
        look_(dialect, command_.listed_as) {}
  // The local file that an upload is read back to.
  static std::string copy_of(const std::string& local) { return local + ".sent"; }
  Step begin() override;
  Step take(const Reply& reply) override;
  Answer lost(Answer failure, std::string_view words) override;

 private:
  enum class State { kLook, kTransfer, kLookAgain, kReadBack };

  Step transfer();
  Step judge(const RemoteFile& arrived);
  std::string judge_size(const RemoteFile& arrived, std::uint64_t size) const;
  Step read_back();
  Answer judge_copy();
  Answer fail(const std::string& reason);

  const Dialect& dialect_;
  Session* session_;
  Command command_;
  std::string copy_;
  Look look_;
  State state_ = State::kLook;
  RemoteFile before_;
  Verdict verdict_ = Verdict::kUnclear;  // the client's, of the transfer
  bool sent_ = false;                    // some of the data may be in the remote file
};

}  // namespace fileref::runtime
