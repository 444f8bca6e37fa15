// A connection to a file server: many requests under way, each reply given to whoever asked.
//
// It does no input or output of its own: it is given the bytes that arrived and asked for those to
// send, by whoever owns the streams. Nothing that a server sends is trusted. An error of one
// request reaches only who asked; an error of the protocol breaks the connection, and nothing goes
// on then.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/byte_buffer.h"
#include "runtime/sftp/packet.h"

namespace fileref::sftp {

// What the server can do.
struct Server {
  std::uint32_t version = 0;
  std::map<std::string, std::string, std::less<>> extensions = {};
  // In bytes, for one request: what it says it takes, or what every server takes.
  std::uint32_t read_length = 32768;
  std::uint32_t write_length = 32768;

  bool has(std::string_view extension) const { return extensions.contains(extension); }
};

// How a request ended.
struct Status {
  std::uint32_t code = kOk;
  std::string words = {};  // the server's own; may be empty

  bool is_ok() const { return code == kOk; }
  // What the code stands for, and the server's words where they say more.
  std::string text() const;
};

// A reply; its body is what stands behind the id when the status is OK, and valid during the call.
struct Reply {
  Status status;
  Reader body;
};
using Taker = std::function<void(Reply&)>;

// How much is asked of the server at a time.
struct Settings {
  // Bytes in one request, should the server take that much. What stands around them makes it a
  // packet that every server takes.
  std::uint32_t longest_block = 261120;
  std::uint64_t most_ahead = 16 << 20;  // bytes of one file under way
};

class Connection;

// Whoever asks. What is under way for it is forgotten when it goes; it must go before its
// connection.
class Asker {
 public:
  explicit Asker(Connection& connection) : connection_(connection) {}
  virtual ~Asker();
  Asker(const Asker&) = delete;
  Asker& operator=(const Asker&) = delete;

  // Is called when little waits to be sent, if it asked for that. It may ask for more.
  virtual void go_on() {}
  Connection& connection() const { return connection_; }

 private:
  Connection& connection_;
};

class Connection {
 public:
  using Trace = std::function<void(std::string_view line)>;

  // Greets the server. `ready` is called once it has greeted back. `trace`, if there is one, gets a
  // line for every packet, "> " before those sent.
  explicit Connection(std::function<void()> ready, Trace trace = {}, Settings settings = {});
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Where the bytes go that arrive, and what has them taken then. Takers of replies run inside, and
  // may ask again.
  runtime::ByteBuffer& input() { return input_; }
  void take_input();
  void receive(std::string_view bytes) {
    input_.append(bytes);
    take_input();
  }
  // No more will arrive. What came instead of a greeting breaks the connection.
  void end();
  // The bytes to send next; askers that wait for room are called first. Valid until the next call.
  std::string_view output();
  // So many of them were sent.
  void sent(std::size_t count);

  // Begins a request; its fields are written through the result, which must go before the next
  // call. Only once the server is ready. A null asker: its reply matters to nobody.
  Writer ask(Type type, Asker* asker, Taker taker);
  void forget(const Asker& asker);
  // Whether so little waits to be sent that more is welcome.
  bool has_room() const;
  // Calls asker.go_on() whenever there is room, until it is told not to.
  void call_for_more(Asker& asker, bool wanted);

  // Ends it, with a reason for the user; the first counts.
  void break_off(std::string reason);
  bool is_broken() const { return !fault_.empty(); }
  const std::string& fault() const { return fault_; }

  const Server& server() const { return server_; }
  const Settings& settings() const { return settings_; }
  std::size_t under_way() const { return pending_.size(); }
  // Whether anybody waits for a reply that is under way.
  bool is_awaited() const;
  // Of everything that arrived: a sign of life.
  std::uint64_t received() const { return taken_ + input_.bytes().size(); }

 private:
  struct Pending {
    Type type;
    Asker* asker;
    Taker taker;
  };

  bool is_greeted() const { return server_.version != 0; }
  bool take_packet(std::string_view bytes);
  void greet(Reader packet);
  void give(Type type, Reader packet);
  void ask_limits();
  void close_unclaimed(Reader reply);
  void report_noise(std::string_view bytes);
  void show_sent();

  std::function<void()> ready_;
  Trace trace_;
  Settings settings_;
  Server server_;
  std::string fault_;
  runtime::ByteBuffer input_;
  std::string output_;
  std::size_t sent_ = 0;   // of the output
  std::size_t shown_ = 0;  // of the output, in the trace
  std::uint32_t last_id_ = 0;
  std::uint64_t taken_ = 0;  // bytes of the input
  std::unordered_map<std::uint32_t, Pending> pending_;
  std::vector<Asker*> hungry_;
};

}  // namespace fileref::sftp
