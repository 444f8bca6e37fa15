// Our own client: it speaks the file transfer protocol over the user's ssh, with requests in
// flight.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/launch/child/stall_watch.h"
#include "runtime/launch/direct/feed.h"
#include "runtime/launch/direct/fetch_ahead.h"
#include "runtime/launch/direct/operation.h"
#include "runtime/launch/direct/session.h"
#include "runtime/launch/direct/ssh_command.h"
#include "runtime/launch/recovering_client.h"

namespace fileref::runtime::direct {

// Whether it does for the words of a client's command line what their program would.
bool stands_in_for(const std::vector<std::string>& words);

class DirectClient : public RecoveringClient<Operation> {
 public:
  // Starts ssh or the server program that `words` ask for. Returns null, and says why, when it
  // takes the program itself to carry one of them out, or it cannot be run.
  static std::unique_ptr<Client> launch(LaunchRequest request,
                                        const std::vector<std::string>& words, std::string* why);

  // `command` was run as `child`.
  DirectClient(LaunchRequest request, ServerCommand command, std::unique_ptr<Child> child);
  ~DirectClient() override;

  bool sends_lent_files() const override { return true; }
  bool is_renewable() const override;
  bool renew(const std::vector<std::string>& expected) override;

 private:
  std::unique_ptr<Operation> start() override;
  std::unique_ptr<Operation> plan(std::string_view command, std::string* why) override;
  void begin_current() override;
  void go_on(Clock::time_point deadline) override;
  void withdraw() override;
  void give_up() override;

  Session new_session(const std::vector<std::string>& expected);
  void connect();
  void move_bytes(Clock::time_point deadline);
  std::string why_not_ready();
  void send_requests();
  bool settle();
  void begin_transfer();
  TKStatus refill_feed(std::unique_ptr<Operation> refill);
  void close_feed(const Transfer& transfer, std::uint64_t bytes);
  void report(bool ended);
  void tell(Transfer transfer, std::uint64_t bytes, bool ended) const;
  bool has_nothing_to_do();

  const sftp::Settings settings_;
  const bool runs_ssh_;
  Session session_;
  std::unique_ptr<sftp::Connection> connection_;
  FetchAhead ahead_;
  std::shared_ptr<Feeds> feeds_;
  StallWatch stall_;
  bool is_ready_ = false;       // the server has greeted
  bool has_begun_ = false;      // the current operation
  Clock::time_point deadline_;  // of the current operation
  Limit limit_ = &LaunchLimits::start;
  Clock::time_point report_due_;
  bool has_reported_ = false;
  Session::Place place_ = {};  // of the file that was reported last
};

}  // namespace fileref::runtime::direct
