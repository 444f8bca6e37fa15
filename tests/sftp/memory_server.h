// A file server in memory, with every fault that one can have, and a client's side of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/sftp/attributes.h"
#include "runtime/sftp/connection.h"
#include "runtime/sftp/packet.h"

namespace fileref::sftp {

struct Faults {
  bool shuffles = false;        // replies come in any order
  std::uint32_t longest = ~0U;  // DATA of more bytes is cut
  bool states_sizes = true;
  std::optional<std::uint64_t> stated_size = {};
  std::optional<std::uint64_t> refused_offset = {};  // of READ and WRITE
  std::optional<std::uint64_t> early_end = {};       // READ says EOF from here on
  Type refused = Type::kInit;                        // requests of that type
  bool empty_data = false, long_data = false;
  std::size_t names_at_once = 100;
  bool empty_names = false;  // a NAME without names before each other one
  std::uint32_t version = 3;
  std::vector<std::string> extensions = {"limits@openssh.com", "posix-rename@openssh.com",
                                         "fsync@openssh.com"};
  std::uint32_t read_limit = 1000, write_limit = 900;
};

class MemoryServer {
 public:
  struct File {
    std::string contents;
    std::uint32_t mode = 0100644;
    std::uint32_t modified = 1;
  };

  explicit MemoryServer(Faults faults = {}) : faults_(std::move(faults)) {}

  void receive(std::string_view bytes) {
    input_ += bytes;
    std::string_view rest = input_;
    for (;;) {
      Reader packet(rest);
      const std::size_t length = 4 + packet.number32();
      if (!packet.is_whole() || rest.size() < length) break;
      answer(Reader(rest.substr(4, length - 4)));
      rest.remove_prefix(length);
    }
    input_.erase(0, input_.size() - rest.size());
  }

  // The next reply; empty when there is none.
  std::string reply() {
    if (replies_.empty()) return {};
    const std::size_t at = faults_.shuffles ? random_() % replies_.size() : 0;
    std::string taken = std::move(replies_[at]);
    replies_.erase(replies_.begin() + static_cast<long>(at));
    return taken;
  }

  std::map<std::string, File> files;
  std::map<std::string, std::string> open;  // paths by handle
  std::size_t requests = 0, most_waiting = 0;
  std::uint64_t furthest_read = 0;
  Faults faults_;

 private:
  void answer(Reader packet) {
    ++requests;
    const auto type = static_cast<Type>(packet.byte());
    id_ = packet.number32();
    if (type == Type::kInit) return greet();
    const std::string subject(packet.text());
    if (type == faults_.refused) {
      if (type == Type::kClose) open.erase(subject);
      return status(kFailure);
    }
    serve(type, subject, packet);
    most_waiting = std::max(most_waiting, replies_.size());
  }

  void serve(Type type, const std::string& subject, Reader& packet) {
    switch (type) {
      case Type::kOpen:
        return open_file(subject, packet);
      case Type::kOpenDirectory:
        listed_ = 0;
        return give_handle(subject);
      case Type::kReadDirectory:
        return list();
      case Type::kClose:
        return status(open.erase(subject) == 1 ? kOk : kFailure);
      case Type::kRead:
        return read(open.at(subject), packet);
      case Type::kWrite:
        return write(open.at(subject), packet);
      case Type::kHandleAttributes:
        return give_attributes(files.at(open.at(subject)));
      case Type::kSetHandleAttributes:
        files.at(open.at(subject)).mode = 0100000 | read_attributes(packet).mode.value_or(0);
        return status(kOk);
      case Type::kRemove:
        return status(files.erase(subject) == 1 ? kOk : kNoSuchFile);
      case Type::kExtended:
        return extension(subject, packet);
      default:
        return status(kUnsupported);
    }
  }

  Writer start(Type type) { return Writer(replies_.emplace_back(), type, id_); }

  void status(std::uint32_t code) { start(Type::kStatus).number32(code).text("").text(""); }

  void greet() {
    Writer greeting(replies_.emplace_back(), Type::kVersion, faults_.version);
    for (const std::string& extension : faults_.extensions) greeting.text(extension).text("1");
  }

  void give_handle(const std::string& path) {
    const std::string handle = "h" + std::to_string(++handles_);
    open[handle] = path;
    start(Type::kHandle).text(handle);
  }

  void open_file(const std::string& path, Reader& packet) {
    const std::uint32_t flags = packet.number32();
    const Attributes attributes = read_attributes(packet);
    const bool is_there = files.contains(path);
    if (!is_there && (flags & 8) == 0) return status(kNoSuchFile);
    if (is_there && (flags & 0x20) != 0) return status(kFailure);
    if (!is_there) files[path].mode = 0100000 | attributes.mode.value_or(0644);
    if (flags & 0x10) files[path].contents.clear();
    give_handle(path);
  }

  void read(const std::string& path, Reader& packet) {
    const std::uint64_t offset = packet.number64();
    const std::uint32_t asked = packet.number32();
    furthest_read = std::max(furthest_read, offset + asked);
    if (faults_.refused_offset == offset) return status(kFailure);
    const std::string_view contents =
        std::string_view(files.at(path).contents).substr(0, faults_.early_end.value_or(~0UL));
    if (offset >= contents.size()) return status(kEndOfFile);
    std::string data(contents.substr(offset, std::min(asked, faults_.longest)));
    if (faults_.empty_data) data.clear();
    if (faults_.long_data) data.resize(asked + 1);
    start(Type::kData).text(data);
  }

  void write(const std::string& path, Reader& packet) {
    const std::uint64_t offset = packet.number64();
    const std::string_view data = packet.text();
    const std::optional<std::uint64_t>& refused = faults_.refused_offset;
    if (refused && offset <= *refused && *refused < offset + data.size()) return status(kFailure);
    std::string& contents = files.at(path).contents;
    contents.resize(std::max<std::size_t>(contents.size(), offset + data.size()));
    contents.replace(offset, data.size(), data);
    status(kOk);
  }

  void give_attributes(const File& file) {
    Writer reply = start(Type::kAttributes);
    reply.number32(faults_.states_sizes ? 13 : 12);
    if (faults_.states_sizes) reply.number64(faults_.stated_size.value_or(file.contents.size()));
    reply.number32(file.mode).number32(0).number32(file.modified);
  }

  void list() {
    if (faults_.empty_names && (empty_turn_ = !empty_turn_)) {
      start(Type::kName).number32(0);
      return;
    }
    const std::size_t count = std::min(faults_.names_at_once, files.size() - listed_);
    if (count == 0) return status(kEndOfFile);
    Writer reply = start(Type::kName);
    reply.number32(static_cast<std::uint32_t>(count));
    auto file = std::next(files.begin(), static_cast<long>(listed_));
    for (std::size_t i = 0; i < count; ++i, ++file) {
      reply.text(file->first).text("for people").number32(4).number32(file->second.mode);
    }
    listed_ += count;
  }

  void extension(const std::string& name, Reader& packet) {
    if (name == "limits@openssh.com") {
      start(Type::kExtendedReply)
          .number64(0)
          .number64(faults_.read_limit)
          .number64(faults_.write_limit)
          .number64(0);
      return;
    }
    if (name != "posix-rename@openssh.com") return status(kOk);
    const std::string from(packet.text()), to(packet.text());
    if (files.contains(to) && files[to].mode == 0) return status(kPermissionDenied);
    files[to] = files.at(from);
    files.erase(from);
    status(kOk);
  }

  std::string input_;
  std::deque<std::string> replies_;
  std::uint32_t id_ = 0;
  unsigned handles_ = 0;
  std::size_t listed_ = 0;
  bool empty_turn_ = false;
  std::minstd_rand random_{7};
};

// A connection to such a server, greeted.
struct Wire {
  explicit Wire(Faults faults = {}) : server(std::move(faults)) { run(); }

  // Moves bytes until nothing more happens, or `done`. Replies arrive in pieces of `piece` bytes.
  void run(const std::function<bool()>& done = {}, std::size_t piece = 777) {
    while (!(done && done())) {
      const std::string sent(connection.output());
      connection.sent(sent.size());
      most_sent = std::max(most_sent, sent.size());
      server.receive(sent);
      std::string reply = server.reply();
      if (sent.empty() && reply.empty()) return;
      for (std::string_view rest = reply; !rest.empty();) {
        connection.receive(rest.substr(0, piece));
        rest.remove_prefix(std::min(piece, rest.size()));
      }
    }
  }

  MemoryServer server;
  bool ready = false;
  std::size_t most_sent = 0;  // bytes at once
  std::string trace;
  Connection connection{[this] { ready = true; },
                        [this](std::string_view line) { trace += std::string(line) + '\n'; }};
};

}  // namespace fileref::sftp
