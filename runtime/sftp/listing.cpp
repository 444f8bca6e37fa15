#include "runtime/sftp/listing.h"

#include <algorithm>
#include <utility>

#include "runtime/sftp/requests.h"

namespace fileref::sftp {
namespace {

// A small directory takes two replies and the end; a large one takes thousands.
constexpr unsigned kAtFirst = 4;
constexpr unsigned kAtMost = 64;
// Some servers send one at times; one that sends nothing else has no end.
constexpr unsigned kMostEmptyReplies = 1000;

bool is_name(std::string_view name) {
  return !name.empty() && name.find('/') == name.npos && name.find('\0') == name.npos;
}

}  // namespace

Listing::Listing(Connection& connection, std::string_view path, EntryTaker taker)
    : Asker(connection), taker_(std::move(taker)), at_once_(kAtFirst) {
  open_directory(*this, path,
                 [this](const Status& status, std::string_view handle) { opened(status, handle); });
}

Listing::~Listing() {
  if (!handle_.empty()) close_unwatched(connection(), handle_);
}

void Listing::opened(const Status& status, std::string_view handle) {
  if (!status.is_ok()) return end(status.text(), status);
  handle_ = handle;
  ask_for_more();
}

void Listing::ask_for_more() {
  for (; !ended_ && under_way_ < at_once_; ++under_way_) {
    connection()
        .ask(Type::kReadDirectory, this, [this](Reply& reply) { take(reply); })
        .text(handle_);
  }
}

void Listing::take(Reply& reply) {
  --under_way_;
  if (ended_) return;
  if (reply.status.code == kEndOfFile) return end({});
  if (!reply.status.is_ok()) return end(reply.status.text(), reply.status);
  take_names(reply.body);
  at_once_ = std::min(2 * at_once_, kAtMost);
  ask_for_more();
}

void Listing::take_names(Reader names) {
  std::uint32_t left = names.number32();
  empty_replies_ = left == 0 ? empty_replies_ + 1 : 0;
  if (empty_replies_ > kMostEmptyReplies) return end("the server's listing has no end");
  for (; left > 0 && names.is_whole(); --left) {
    const std::string_view name = names.text();
    names.text();  // the same for people
    const Attributes attributes = read_attributes(names);
    shown_ = shown_ || names.is_whole();
    if (!names.is_whole() || name == "." || name == "..") continue;
    if (!is_name(name)) {
      return end("the server lists a name that no file can have: \"" + std::string(name) + '"');
    }
    taker_(name, attributes);
  }
  if (!names.is_whole()) connection().break_off("the server's answer to READDIR is cut off");
}

void Listing::end(std::string failure, Status status) {
  ended_ = true;
  failure_ = std::move(failure);
  status_ = std::move(status);
}

}  // namespace fileref::sftp
