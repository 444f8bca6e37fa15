// Whatever a server sends, nothing may crash or go on for ever, no success may be made up, and no
// byte may come to stand in the wrong place.
//
// The input is the server: a byte for every packet that it sends, and what that packet needs. It
// answers truly, or nearly so, or with any bytes at all, and in any order.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/byte_buffer.h"
#include "runtime/launch/direct/feed.h"
#include "runtime/sftp/download.h"
#include "runtime/sftp/listing.h"
#include "runtime/sftp/packet.h"
#include "runtime/sftp/upload.h"
#include "runtime/temp/record_reader.h"

namespace {

using namespace fileref::runtime;
using namespace fileref::sftp;

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

constexpr std::uint64_t kPeriod = 255 * 256;

// What the remote file holds in one period, and in the longest block behind its end.
std::string make_table() {
  std::string table(kPeriod + (1U << 20), '\0');
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<char>(i * 31 + i / 255);
  return table;
}

std::string_view contents(std::uint64_t offset, std::uint64_t length) {
  static const std::string table = make_table();
  check(length <= table.size() - kPeriod, "a block is no longer than a server sends");
  return std::string_view(table).substr(offset % kPeriod, length);
}

class FuzzedServer {
 public:
  explicit FuzzedServer(std::string_view script) : rest_(script) {}

  void receive(std::string_view bytes) {
    input_.append(bytes);
    for (;;) {
      Reader packet(input_.bytes());
      const std::size_t length = 4 + packet.number32();
      check(length < (1U << 20), "a request is no longer than a server takes");
      if (!packet.is_whole() || input_.bytes().size() < length) return;
      requests_.emplace_back(input_.bytes().substr(4, length - 4));
      input_.drop(length);
    }
  }

  // The next packet, or any bytes; empty when the script has ended.
  std::string reply() {
    if (rest_.empty()) return {};
    const unsigned turn = number();
    if (turn == 0) return lie();
    if (requests_.empty()) return turn < 8 ? lie() : "";
    const std::size_t at = turn < 128 ? 0 : number() % requests_.size();
    const std::string request = requests_[at];
    if (turn != 1) requests_.erase(requests_.begin() + static_cast<long>(at));
    return answer(Reader(request), turn);
  }

  bool has_more() const { return !rest_.empty(); }
  // The session that they were made in is over.
  void forget_requests() {
    input_ = {};
    requests_.clear();
  }
  // The size that it stated for the open file, if it did.
  std::optional<std::uint64_t> stated;
  // Every byte that was written and confirmed.
  std::map<std::uint64_t, std::uint64_t> written;
  bool refused_a_write = false;
  // It sent bytes that may be any reply at all, so nothing can be said of the outcome.
  bool lied = false;

 private:
  unsigned number() {
    const auto value = rest_.empty() ? 0U : static_cast<unsigned char>(rest_.front());
    if (!rest_.empty()) rest_.remove_prefix(1);
    return value;
  }

  std::string any_bytes() {
    const std::size_t count = std::min<std::size_t>(number(), rest_.size());
    std::string bytes(rest_.substr(0, count));
    rest_.remove_prefix(count);
    return bytes;
  }

  std::string lie() {
    lied = true;
    return any_bytes();
  }

  std::string status(std::uint32_t id, std::uint32_t code) {
    std::string bytes;
    Writer(bytes, Type::kStatus, id).number32(code).text("words").text("");
    return bytes;
  }

  void greet(std::string& bytes, unsigned turn) {
    Writer greeting(bytes, Type::kVersion, turn == 3 ? number() : 3);
    if (turn % 2 == 0) greeting.text("limits@openssh.com").text("1");
    if (turn % 3 == 0) greeting.text("posix-rename@openssh.com").text("1");
  }

  std::string answer(Reader request, unsigned turn) {
    const auto type = static_cast<Type>(request.byte());
    lied = lied || turn == 2;  // the reply to one request as that to another
    const std::uint32_t id = request.number32() + (turn == 2 ? 1 : 0);
    std::string bytes;
    if (type == Type::kInit) {
      greet(bytes, turn);
      return bytes;
    }
    if (turn == 4) {
      const std::uint32_t code = number();
      refused_a_write = refused_a_write || (type == Type::kWrite && code != kOk);
      lied = lied || code == kOk;
      return status(id, code);
    }
    const std::string_view subject = request.text();
    switch (type) {
      case Type::kOpen:
      case Type::kOpenDirectory:
        Writer(bytes, Type::kHandle, id).text(any_bytes() + "h");
        return bytes;
      case Type::kRead:
        return read(id, request);
      case Type::kWrite:
        return write(id, request);
      case Type::kHandleAttributes:
        return attributes(id);
      case Type::kReadDirectory:
        return names(id);
      case Type::kExtended:
        if (subject != "limits@openssh.com") return status(id, kOk);
        Writer(bytes, Type::kExtendedReply, id)
            .number64(number())
            .number64(number() * 50)
            .number64(number() * 50)
            .number64(0);
        return bytes;
      default:
        return status(id, kOk);
    }
  }

  std::string attributes(std::uint32_t id) {
    const std::uint64_t size = number() * 100;
    if (!stated) stated = size;
    std::string bytes;
    Writer(bytes, Type::kAttributes, id).number32(1).number64(size);
    return bytes;
  }

  std::string write(std::uint32_t id, Reader& request) {
    const std::uint64_t offset = request.number64();
    written[offset] = request.text().size();
    return status(id, kOk);
  }

  std::string read(std::uint32_t id, Reader& request) {
    const std::uint64_t offset = request.number64();
    const std::uint32_t asked = request.number32();
    const unsigned part = number();
    if (part == 0) return status(id, fileref::sftp::kEndOfFile);
    std::string bytes;
    Writer(bytes, Type::kData, id)
        .text(contents(offset, part > 200 ? asked : std::min<std::uint64_t>(asked, part)));
    return bytes;
  }

  std::string names(std::uint32_t id) {
    const unsigned count = number() % 8;
    if (count == 0) return status(id, fileref::sftp::kEndOfFile);
    std::string bytes;
    {
      Writer reply(bytes, Type::kName, id);
      reply.number32(count);
      for (unsigned i = 0; i < count; ++i) reply.text(any_bytes()).text("").number32(0);
    }
    return bytes;
  }

  std::string_view rest_;
  ByteBuffer input_;
  std::vector<std::string> requests_;
};

void take_turn(Connection& connection, FuzzedServer& server) {
  const std::string sent(connection.output());
  connection.sent(sent.size());
  server.receive(sent);
  connection.receive(server.reply());
}

void run(Connection& connection, FuzzedServer& server) {
  for (int turns = 0; server.has_more() && !connection.is_broken(); ++turns) {
    check(turns < 100000, "it ends");
    take_turn(connection, server);
  }
}

std::unique_ptr<Connection> connect(FuzzedServer& server) {
  bool ready = false;
  auto connection = std::make_unique<Connection>([&] { ready = true; }, [](std::string_view) {});
  while (!ready && server.has_more() && !connection->is_broken()) take_turn(*connection, server);
  return ready ? std::move(connection) : nullptr;
}

// What stands between a feed and the server: it carries operations out, in a new session when the
// one before is lost.
class Sessions {
 public:
  Sessions(std::unique_ptr<Connection> connection, FuzzedServer& server)
      : server_(server), connection_(std::move(connection)) {}

  TKStatus carry_out(std::unique_ptr<direct::Operation> operation) {
    if (connection_) operation->begin(*connection_);
    while (connection_ && !operation->answer()) {
      check(++turns_ < 100000, "it ends");
      if (connection_->is_broken() && server_.has_more()) {
        start_anew(*operation);
      } else if (connection_->is_broken() || !server_.has_more()) {
        lose(*operation);
      } else {
        take_turn(*connection_, server_);
      }
    }
    return connection_ ? kSuccess : operation->lost({kProcessFailed, "", "lost"}, "").status;
  }

  Connection& connection() { return *connection_; }
  const std::shared_ptr<direct::Feeds> feeds = std::make_shared<direct::Feeds>(
      [this](std::unique_ptr<direct::Operation> operation) {
        return carry_out(std::move(operation));
      },
      nullptr);

 private:
  void lose(direct::Operation& operation) {
    operation.drop();
    feeds->drop();
    connection_.reset();
  }
  void start_anew(direct::Operation& operation) {
    lose(operation);
    server_.forget_requests();
    connection_ = connect(server_);
    if (connection_) operation.begin(*connection_);
  }

  FuzzedServer& server_;
  std::unique_ptr<Connection> connection_;
  int turns_ = 0;
};

// Every record is cut out of the bytes that follow, and only the end of all is the end.
void read_records(std::unique_ptr<Connection> connection, FuzzedServer& server, bool known) {
  Sessions sessions(std::move(connection), server);
  auto fetch = std::make_unique<direct::Fetch>("/f");
  fetch->allow_up_to(direct::kMostWaiting);
  known ? fetch->open(sessions.connection(), 500) : fetch->look(sessions.connection());
  RecordReader reader(
      std::make_unique<direct::Feed>(sessions.feeds, Transfer{false, "/f", "f"}, std::move(fetch)),
      300);
  std::uint64_t taken = 0;
  char* record = nullptr;
  long length = 0;
  wrcode rc = kSuccess;
  while ((rc = reader.read_variable(record, length)) == kSuccess) {
    const std::string bytes =
        std::string(record, static_cast<std::size_t>(length)) + (reader.line_is_open() ? "" : "\n");
    check(server.lied || bytes == contents(taken, bytes.size()), "every record is in its place");
    taken += bytes.size();
  }
  check(rc == ::kEndOfFile || !reader.why().empty(), "a failure is explained");
  check(server.lied || rc != ::kEndOfFile || taken >= server.stated.value_or(0),
        "no file that came short ends well");
}

void download(Connection& connection, FuzzedServer& server, std::uint64_t from) {
  std::uint64_t taken = from;
  Download file(connection, "/f", {.from = from}, [&](std::string_view bytes) {
    check(server.lied || bytes == contents(taken, bytes.size()), "every byte is in its place");
    taken += bytes.size();
    return true;
  });
  run(connection, server);
  check(file.position() == taken, "a download knows how far it came");
  const bool succeeded = file.has_ended() && file.failure().empty();
  check(server.lied || !succeeded || taken >= server.stated.value_or(0),
        "no download that came short succeeds");
}

void upload(Connection& connection, FuzzedServer& server, const char* by_way_of) {
  std::uint64_t left = 3000;
  Upload file(connection, "/f", {0600, by_way_of}, [&](char* buffer, std::size_t capacity) {
    const std::size_t count = std::min<std::uint64_t>(left, capacity);
    contents(3000 - left, count).copy(buffer, count);
    left -= count;
    return static_cast<long>(count);
  });
  run(connection, server);
  if (server.lied || !file.has_ended() || !file.failure().empty()) return;
  std::uint64_t confirmed = 0;
  for (const auto& [offset, length] : server.written) {
    check(offset == confirmed, "every block is written where it belongs");
    confirmed += length;
  }
  check(confirmed == 3000 && left == 0, "an upload that succeeded is whole");
  check(!server.refused_a_write, "no upload succeeds that was refused a block");
}

void list(Connection& connection, FuzzedServer& server) {
  Listing directory(connection, "/d", [](std::string_view name, const Attributes&) {
    check(!name.empty() && name.find('/') == name.npos && name.find('\0') == name.npos,
          "a name is one that a file can have");
  });
  run(connection, server);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string_view script(reinterpret_cast<const char*>(data), size);
  FuzzedServer server(script.substr(1));
  std::unique_ptr<Connection> connection = connect(server);
  if (!connection) return 0;
  const unsigned choice = data[0];
  if (choice >= 128) {
    read_records(std::move(connection), server, choice % 2 == 0);
    return 0;
  }
  switch (choice % 5) {
    case 0:
      download(*connection, server, 0);
      break;
    case 1:
      download(*connection, server, 777);
      break;
    case 2:
      upload(*connection, server, "");
      break;
    case 3:
      upload(*connection, server, "/.f.new");
      break;
    default:
      list(*connection, server);
  }
  return 0;
}
