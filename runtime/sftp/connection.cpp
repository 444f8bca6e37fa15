#include "runtime/sftp/connection.h"

#include <algorithm>
#include <utility>

#include "runtime/sftp/trace.h"

namespace fileref::sftp {
namespace {

constexpr std::uint32_t kVersion = 3;
constexpr std::size_t kLengthBytes = 4;
// Far above what any server sends: blocks asked for are smaller, and lists of names are cut.
constexpr std::uint32_t kLongestPacket = 4 << 20;
constexpr std::size_t kLittleOutput = std::size_t{512} << 10;
constexpr std::size_t kMostNoise = 200;

Type good_reply(Type asked) {
  switch (asked) {
    case Type::kOpen:
    case Type::kOpenDirectory:
      return Type::kHandle;
    case Type::kRead:
      return Type::kData;
    case Type::kReadDirectory:
    case Type::kRealPath:
      return Type::kName;
    case Type::kLinkAttributes:
    case Type::kPathAttributes:
    case Type::kHandleAttributes:
      return Type::kAttributes;
    default:
      return Type::kStatus;
  }
}

// An extension's reply may be either.
bool is_good(Type asked, Type reply) {
  return reply == good_reply(asked) || (asked == Type::kExtended && reply == Type::kExtendedReply);
}

const char* meaning(std::uint32_t code) {
  constexpr const char* kMeanings[] = {"done",
                                       "end of file",
                                       "no such file or directory",
                                       "permission denied",
                                       "failure",
                                       "bad message",
                                       "no connection",
                                       "connection lost",
                                       "the server does not support that"};
  return code < std::size(kMeanings) ? kMeanings[code] : "unknown error code";
}

// OpenSSH's words for a code are the code in other letters.
bool says_more(std::string_view words, std::string_view known) {
  return !words.empty() &&
         !std::equal(words.begin(), words.end(), known.begin(),
                     known.begin() + static_cast<long>(std::min(words.size(), known.size())),
                     [](char a, char b) { return (a | 0x20) == (b | 0x20); });
}

// 0 stands for a limit that the server does not know.
std::uint32_t block_length(std::uint64_t limit, std::uint32_t otherwise, std::uint32_t longest) {
  return limit == 0 ? otherwise
                    : static_cast<std::uint32_t>(std::min<std::uint64_t>(limit, longest));
}

}  // namespace

std::string Status::text() const {
  const std::string known = meaning(code);
  const std::string number = code > kUnsupported ? ' ' + std::to_string(code) : "";
  return known + number + (says_more(words, known) ? " (" + words + ")" : "");
}

Asker::~Asker() {
  connection_.forget(*this);
}

Connection::Connection(std::function<void()> ready, Trace trace, Settings settings)
    : ready_(std::move(ready)), trace_(std::move(trace)), settings_(settings) {
  server_.read_length = std::min(server_.read_length, settings.longest_block);
  server_.write_length = std::min(server_.write_length, settings.longest_block);
  Writer(output_, Type::kInit, kVersion);
}

std::string_view Connection::output() {
  if (is_broken()) return {};
  const std::vector<Asker*> hungry = hungry_;
  for (Asker* asker : hungry) {
    if (has_room()) asker->go_on();
  }
  show_sent();
  return std::string_view(output_).substr(sent_);
}

bool Connection::has_room() const {
  return output_.size() - sent_ < kLittleOutput;
}

// What was sent is taken off once it is the larger part, so that nothing is moved often.
void Connection::sent(std::size_t count) {
  sent_ += count;
  if (sent_ < output_.size() - sent_) return;
  output_.erase(0, sent_);
  shown_ -= std::min(shown_, sent_);
  sent_ = 0;
}

// Whole packets that the trace has not had.
void Connection::show_sent() {
  while (trace_ && shown_ < output_.size()) {
    Reader packet(std::string_view(output_).substr(shown_));
    const std::size_t length = kLengthBytes + packet.number32();
    trace_("> " + describe(std::string_view(output_).substr(shown_, length)));
    shown_ += length;
  }
}

Writer Connection::ask(Type type, Asker* asker, Taker taker) {
  const std::uint32_t id = ++last_id_;
  pending_.emplace(id, Pending{type, asker, std::move(taker)});
  return Writer(output_, type, id);
}

void Connection::forget(const Asker& asker) {
  for (auto& [id, pending] : pending_) {
    if (pending.asker == &asker) pending = {pending.type, nullptr, {}};
  }
  std::erase(hungry_, &asker);
}

bool Connection::is_awaited() const {
  return std::any_of(pending_.begin(), pending_.end(),
                     [](const auto& request) { return request.second.asker != nullptr; });
}

void Connection::call_for_more(Asker& asker, bool wanted) {
  std::erase(hungry_, &asker);
  if (wanted) hungry_.push_back(&asker);
}

void Connection::break_off(std::string reason) {
  if (is_broken()) return;
  fault_ = std::move(reason);
}

void Connection::take_input() {
  while (!is_broken() && take_packet(input_.bytes())) {
    const std::size_t taken = kLengthBytes + Reader(input_.bytes()).number32();
    taken_ += taken;
    input_.drop(taken);
  }
}

void Connection::end() {
  if (!is_greeted() && !input_.bytes().empty()) report_noise(input_.bytes());
}

// False when it is not there whole.
bool Connection::take_packet(std::string_view bytes) {
  if (bytes.size() < kLengthBytes) return false;
  const std::uint32_t length = Reader(bytes).number32();
  if (!is_greeted() &&
      (length > kLongestPacket || (bytes.size() > kLengthBytes && bytes[4] != 2))) {
    report_noise(bytes);
    return false;
  }
  if (length == 0 || length > kLongestPacket) {
    break_off("the server sends a packet of " + std::to_string(length) + " bytes");
    return false;
  }
  if (bytes.size() - kLengthBytes < length) return false;
  if (trace_) trace_("< " + describe(bytes.substr(0, kLengthBytes + length)));
  Reader packet(bytes.substr(kLengthBytes, length));
  const auto type = static_cast<Type>(packet.byte());
  is_greeted() ? give(type, packet) : greet(packet);
  return true;
}

// Up to the greeting of a server that speaks behind it.
void Connection::report_noise(std::string_view bytes) {
  std::string text(bytes.substr(0, std::min(bytes.find('\0'), kMostNoise)));
  std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\n'; });
  if (text.size() > 1 && text.ends_with('\n')) text.pop_back();
  break_off("something else than SFTP arrives from the server: \"" + text +
            "\". Most likely the login shell prints it: let its start-up files (.bashrc) print "
            "nothing when it is not interactive");
}

void Connection::greet(Reader packet) {
  const std::uint32_t version = packet.number32();
  std::map<std::string, std::string, std::less<>> extensions;
  while (!packet.rest().empty() && packet.is_whole()) {
    const std::string name(packet.text());
    extensions.emplace(name, packet.text());
  }
  if (!packet.is_whole()) return break_off("the server's greeting is cut off");
  if (version != kVersion) {
    return break_off("the server speaks version " + std::to_string(version) +
                     " of the protocol, and here only version 3 is spoken");
  }
  server_.version = version;
  server_.extensions = std::move(extensions);
  if (server_.has("limits@openssh.com")) ask_limits();
  ready_();
}

void Connection::ask_limits() {
  ask(Type::kExtended, nullptr, [this](Reply& reply) {
    reply.body.number64();  // the longest packet
    const std::uint64_t read = reply.body.number64(), write = reply.body.number64();
    if (!reply.status.is_ok() || !reply.body.is_whole()) return;
    server_.read_length = block_length(read, server_.read_length, settings_.longest_block);
    server_.write_length = block_length(write, server_.write_length, settings_.longest_block);
  }).text("limits@openssh.com");
}

void Connection::give(Type type, Reader packet) {
  const std::uint32_t id = packet.number32();
  const auto found = pending_.find(id);
  if (!packet.is_whole() || found == pending_.end()) {
    return break_off("the server answers what was not asked (" + name_of(type) + ")");
  }
  const Pending pending = std::move(found->second);
  pending_.erase(found);
  Reply reply{{}, packet};
  if (type == Type::kStatus) {
    reply.status.code = reply.body.number32();
    reply.status.words = reply.body.text();  // some servers leave it out
  }
  const bool is_refusal = type == Type::kStatus && !reply.status.is_ok();
  if (!is_refusal && !is_good(pending.type, type)) {
    return break_off("the server answers " + name_of(pending.type) + " with " + name_of(type));
  }
  if (pending.taker) {
    pending.taker(reply);
  } else if (type == Type::kHandle) {
    close_unclaimed(reply.body);
  }
}

// A handle that came for somebody who is gone.
void Connection::close_unclaimed(Reader reply) {
  ask(Type::kClose, nullptr, {}).text(reply.text());
}

}  // namespace fileref::sftp
