#include "cli/login.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "cli/report.h"

namespace cli {
namespace {

struct Flag {
  const char* name;
  std::string Login::*value;
};

constexpr Flag kFlags[] = {
    {"-i", &Login::key}, {"-P", &Login::port}, {"-J", &Login::jump_host}, {"-F", &Login::config}};

void check_port(const std::string& text) {
  unsigned port = 0;
  const char* end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, port);
  const bool good = error == std::errc{} && parsed == end && port >= 1 && port <= 65535;
  if (!good) throw WrongUse(fmt::format("-P {}: a port is a number from 1 to 65535", text));
}

void check(const Flag& flag, const std::string& value, const Request& request,
           const fileref::Target& target) {
  if (target.host.empty()) {
    throw WrongUse(
        fmt::format("{} goes with a server, and \"{}\" names none", flag.name, request.target));
  }
  if (value.starts_with('-')) {
    throw WrongUse(fmt::format("{} \"{}\" looks like a flag: write a file as \"./{}\"", flag.name,
                               value, value));
  }
}

// Of a target that has one itself.
std::string port_of(const fileref::Target& target) {
  const auto& words = target.client_arguments;
  const auto flag = std::find(words.begin(), words.end(), "-P");
  return flag == words.end() ? "" : *(flag + 1);
}

void check_one_port(const Request& request, const fileref::Target& target) {
  check_port(request.login.port);
  const std::string own = port_of(target);
  if (own.empty() || std::stoi(own) == std::stoi(request.login.port)) return;
  throw WrongUse(fmt::format("\"{}\" has port {}, and -P says {}: give one of them", request.target,
                             own, request.login.port));
}

}  // namespace

void add_login(const Request& request, fileref::Target* target) {
  std::vector<std::string> words;
  for (const Flag& flag : kFlags) {
    const std::string& value = request.login.*flag.value;
    if (value.empty()) continue;
    check(flag, value, request, *target);
    if (flag.value == &Login::port) {
      check_one_port(request, *target);
      if (!port_of(*target).empty()) continue;
    }
    words.insert(words.end(), {flag.name, value});
  }
  target->client_arguments.insert(target->client_arguments.end(), words.begin(), words.end());
}

}  // namespace cli
