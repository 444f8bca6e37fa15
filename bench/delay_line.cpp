// A line with a constant delay: relays loopback connections, each byte so much later.
//
//   delay_line PORT TARGET_PORT MILLISECONDS_EACH_WAY
//
// Loopback hides what people pay for most: with 20 ms each way a round trip takes 40.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds delay;

sockaddr_in loopback(const char* port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
  return address;
}

// Bytes on their way from one socket to another; an empty piece is the end.
struct Way {
  int from, to;
  struct Piece {
    Clock::time_point due;
    std::string bytes;
  };
  std::deque<Piece> pieces = {};
  bool ended = false, done = false;

  void take() {
    char chunk[65536];
    const ssize_t n = read(from, chunk, sizeof chunk);
    ended = n <= 0;
    pieces.push_back({Clock::now() + delay, {chunk, static_cast<std::size_t>(n > 0 ? n : 0)}});
  }

  void pass_on() {
    while (!pieces.empty() && pieces.front().due <= Clock::now()) {
      std::string& bytes = pieces.front().bytes;
      const ssize_t n =
          bytes.empty() ? 0 : send(to, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
      if (n < 0 && errno == EAGAIN) return;
      if (n <= 0) {
        shutdown(to, SHUT_WR);
        done = true;
        return;
      }
      bytes.erase(0, static_cast<std::size_t>(n));
      if (bytes.empty()) pieces.pop_front();
    }
  }
};

struct Line {
  Way there, back;
};

void set_no_delay(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int timeout_for(const std::list<Line>& lines) {
  auto wait = std::chrono::milliseconds(1000);
  for (const Line& line : lines) {
    for (const Way* way : {&line.there, &line.back}) {
      if (way->pieces.empty() || way->done) continue;
      wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(way->pieces.front().due -
                                                                         Clock::now()));
    }
  }
  return static_cast<int>(std::max<long>(wait.count(), 0));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return std::fprintf(stderr, "delay_line PORT TARGET_PORT MILLISECONDS\n"), 2;
  delay = std::chrono::milliseconds(std::atoi(argv[3]));
  const sockaddr_in here = loopback(argv[1]), target = loopback(argv[2]);
  const int listener = socket(AF_INET, SOCK_STREAM, 0), on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&here), sizeof here) != 0 ||
      listen(listener, 16) != 0) {
    return std::perror("delay_line"), 1;
  }
  std::list<Line> lines;
  for (;;) {
    std::vector<pollfd> fds{{listener, POLLIN, 0}};
    for (Line& line : lines) {
      for (Way* way : {&line.there, &line.back}) {
        fds.push_back({way->ended ? -1 : way->from, POLLIN, 0});
      }
    }
    poll(fds.data(), fds.size(), timeout_for(lines));
    std::size_t at = 1;
    for (Line& line : lines) {
      for (Way* way : {&line.there, &line.back}) {
        if (fds[at++].revents != 0) way->take();
        if (!way->done) way->pass_on();
      }
    }
    lines.remove_if([](const Line& line) {
      const bool over = line.there.done && line.back.done;
      if (over) close(line.there.from), close(line.there.to);
      return over;
    });
    if (fds[0].revents != 0) {
      const int from = accept(listener, nullptr, nullptr), to = socket(AF_INET, SOCK_STREAM, 0);
      connect(to, reinterpret_cast<const sockaddr*>(&target), sizeof target);
      set_no_delay(from), set_no_delay(to);
      lines.push_back({{from, to}, {to, from}});
    }
  }
}
