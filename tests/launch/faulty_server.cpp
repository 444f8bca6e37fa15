// A file server with one fault: relays packets between the client and the real server.
//
//   faulty_server FAULT [NUMBER [FILE]]
//     drop N        hang up once N bytes of file contents were read
//     eof N         report the end of the file at offset N
//     hole N        refuse the one write that covers offset N
//     full N        refuse all writes from offset N on
//     unread N      refuse the read at offset N
//     stall N       say nothing any more once N bytes of file contents were read
//     silent N      the same once N bytes of file contents were written
//     mute          never say anything
//     delay N       answer each request N milliseconds later
//     nosize [N]    state no file sizes; refuse reads from offset N on
//     garble N      change the byte at offset N when it is written
//     grow N FILE   FILE grows by N bytes when it is first read
//     unlist N      refuse what comes behind the first N pieces of a listing
//     cut N         hang up there
//     slash         list the name a%b as a/b
//     absent        open directories that are missing, and say so when they are read
//     noise         print on standard error at every request
//     strike        kill itself, or the real server, at one request: see strike.h
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>

#include "tests/support/strike.h"

namespace {

enum Type : unsigned char {
  kClose = 4,
  kRead = 5,
  kWrite = 6,
  kOpenDirectory = 11,
  kReadDirectory = 12,
  kStatus = 101,
  kHandle = 102,
  kData = 103,
  kNames = 104,
  kAttributes = 105
};
const std::string kAbsent = "none";  // the handle of a directory that is not there

enum Code : std::uint32_t { kOk = 0, kEndOfFile = 1, kNoSuchFile = 2, kFailure = 4 };

std::uint32_t number32(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

void write_all(int fd, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0) std::exit(0);
    done += static_cast<std::size_t>(n);
  }
}

struct Relay {
  std::string fault;
  std::uint64_t limit = 0;
  std::string file;
  int to_server = -1, from_server = -1;
  pid_t server = 0;
  std::uint64_t contents_read = 0, contents_written = 0, pieces_listed = 0;
  std::string requests, replies;  // bytes that are no whole packet yet
  std::string opening;            // the number of the last request to open a directory
  std::string struck;             // the number of the request whose answer is struck

  bool is(const char* name) const { return fault == name; }

  void refuse(const std::string& request, std::uint32_t code) {
    std::string reply{0, 0, 0, 17, static_cast<char>(kStatus)};
    reply += request.substr(5, 4) + std::string(3, '\0') + static_cast<char>(code);
    write_all(STDOUT_FILENO, reply + std::string(8, '\0'));
  }

  void strike() const {
    kill(support::strikes_server() ? server : getpid(), SIGKILL);
    usleep(2000);  // until it is dead
  }

  void request_to_strike(const std::string& packet) {
    const std::string moment = support::moment_of_the_next();
    if (moment == "before") strike();
    write_all(to_server, packet);
    if (moment == "after") strike();
    if (moment == "answered") struck = packet.substr(5, 4);
  }

  void request(std::string packet) {
    if (is("strike")) return request_to_strike(packet);
    const auto type = static_cast<unsigned char>(packet[4]);
    if (is("noise")) std::fprintf(stderr, "no such file or directory: failure\n");
    if (type == kReadDirectory && ++pieces_listed > limit) {
      if (is("cut")) std::exit(0);
      if (is("unlist")) return refuse(packet, kFailure);
    }
    if (is("absent") && (type == kClose || type == kReadDirectory) && packet.ends_with(kAbsent)) {
      return refuse(packet, type == kClose ? kOk : kNoSuchFile);
    }
    if (type == kOpenDirectory) opening = packet.substr(5, 4);
    if (type != kRead && type != kWrite) return write_all(to_server, packet);
    const std::size_t at = 13 + number32(packet, 9);
    const std::uint64_t offset =
        std::uint64_t{number32(packet, at)} << 32 | number32(packet, at + 4);
    if (type == kRead) {
      if (is("grow"))
        std::ofstream(file, std::ios::app) << std::string(std::exchange(limit, 0), '+');
      if (is("eof") && offset >= limit) return refuse(packet, kEndOfFile);
      const bool unread = is("unread") || (is("nosize") && limit > 0);
      if (unread && offset >= limit) return refuse(packet, kFailure);
    } else if (is("garble") && offset <= limit && limit < offset + number32(packet, at + 8)) {
      packet[at + 12 + limit - offset] ^= 1;
    } else if (is("silent") && (contents_written += number32(packet, at + 8)) > limit) {
      wait_for_hang_up();
    } else if ((is("hole") && offset <= limit && limit < offset + number32(packet, at + 8)) ||
               (is("full") && offset >= limit)) {
      return refuse(packet, kFailure);
    }
    write_all(to_server, packet);
  }

  void reply(std::string packet) {
    const auto type = static_cast<unsigned char>(packet[4]);
    if (is("delay")) usleep(static_cast<useconds_t>(limit * 1000));
    if (is("nosize") && type == kAttributes && packet[12] & 1) {
      packet[12] = static_cast<char>(packet[12] & ~1);
      packet.erase(13, 8);
      packet[3] = static_cast<char>(packet[3] - 8);
    }
    if (is("slash") && type == kNames) {
      for (std::size_t at; (at = packet.find("a%b")) != packet.npos;) packet[at + 1] = '/';
    }
    const bool opened = packet.substr(5, 4) == std::exchange(opening, "");
    if (is("absent") && type == kStatus && opened) {
      packet = std::string{0, 0, 0, 13, static_cast<char>(kHandle)} + packet.substr(5, 4) +
               std::string{0, 0, 0, 4} + kAbsent;
    }
    if (type == kData) contents_read += number32(packet, 9);
    if (is("drop") && contents_read > limit) std::exit(0);
    if (is("mute") || (is("stall") && contents_read > limit)) wait_for_hang_up();
    write_all(STDOUT_FILENO, packet);
    if (is("strike") && packet.substr(5, 4) == struck) strike();
  }

  [[noreturn]] static void wait_for_hang_up() {
    char ignored[4096];
    while (read(STDIN_FILENO, ignored, sizeof ignored) > 0) continue;
    std::exit(0);
  }

  template <class Take>
  static void relay(int from, std::string* pending, Take take) {
    char chunk[65536];
    const ssize_t n = read(from, chunk, sizeof chunk);
    if (n <= 0) std::exit(0);
    pending->append(chunk, static_cast<std::size_t>(n));
    while (pending->size() >= 4 && pending->size() >= 4 + std::size_t{number32(*pending, 0)}) {
      const std::size_t size = 4 + std::size_t{number32(*pending, 0)};
      take(pending->substr(0, size));
      pending->erase(0, size);
    }
  }

  [[noreturn]] void run() {
    for (;;) {
      pollfd fds[] = {{STDIN_FILENO, POLLIN, 0}, {from_server, POLLIN, 0}};
      poll(fds, 2, -1);
      if (fds[1].revents) relay(from_server, &replies, [&](std::string p) { reply(std::move(p)); });
      if (fds[0].revents)
        relay(STDIN_FILENO, &requests, [&](std::string p) { request(std::move(p)); });
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  Relay relay;
  relay.fault = argc > 1 ? argv[1] : "";
  if (argc > 2) relay.limit = std::strtoull(argv[2], nullptr, 10);
  if (argc > 3) relay.file = argv[3];
  int down[2], up[2];
  if (pipe(down) != 0 || pipe(up) != 0) return 1;
  relay.server = fork();
  if (relay.server == 0) {
    dup2(down[0], STDIN_FILENO);
    dup2(up[1], STDOUT_FILENO);
    for (const int fd : {down[0], down[1], up[0], up[1]}) close(fd);
    execl("/usr/lib/openssh/sftp-server", "sftp-server", nullptr);
    _exit(127);
  }
  close(down[0]);
  close(up[1]);
  relay.to_server = down[1];
  relay.from_server = up[0];
  relay.run();
}
