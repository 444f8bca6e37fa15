#include "runtime/launch/direct/ssh_command.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string_view>

#include "runtime/launch/child/spawn.h"
#include "runtime/launch/command_line.h"

namespace fileref::runtime::direct {
namespace {

// What becomes of a flag of `sftp`.
enum class Use {
  kPass,     // the same for ssh
  kIgnore,   // without effect here
  kPort,     // ssh spells it otherwise
  kProgram,  // in place of ssh
  kServer,   // a server program in place of ssh
  kSubsystem,
  kBlock,     // bytes in one request
  kRequests,  // under way at once
  kNamed,     // one of the last two, by name
};

struct Flag {
  char letter;
  bool has_value;
  Use use;
};

// The flags that are not here, -b and -l among them, only the program itself can carry out.
constexpr Flag kFlags[] = {
    {'2', false, Use::kIgnore},  {'4', false, Use::kPass},     {'6', false, Use::kPass},
    {'A', false, Use::kPass},    {'a', false, Use::kPass},     {'B', true, Use::kBlock},
    {'C', false, Use::kPass},    {'D', true, Use::kServer},    {'F', true, Use::kPass},
    {'J', true, Use::kPass},     {'N', false, Use::kIgnore},   {'P', true, Use::kPort},
    {'R', true, Use::kRequests}, {'S', true, Use::kProgram},   {'X', true, Use::kNamed},
    {'c', true, Use::kPass},     {'f', false, Use::kIgnore},   {'i', true, Use::kPass},
    {'o', true, Use::kPass},     {'p', false, Use::kIgnore},   {'q', false, Use::kPass},
    {'r', false, Use::kIgnore},  {'s', true, Use::kSubsystem}, {'v', false, Use::kPass},
};

// The one beside `sftp`, as `sftp` itself would have it.
std::string ssh_beside(const std::string& sftp) {
  const std::string path = find_program(sftp);
  const std::string ssh = path.substr(0, path.rfind('/') + 1) + "ssh";
  return !path.empty() && ::access(ssh.c_str(), X_OK) == 0 ? ssh : "";
}

class Translator {
 public:
  explicit Translator(const std::vector<std::string>& words)
      : words_(words), ssh_(ssh_beside(words.front())) {
    if (ssh_.empty()) ssh_ = "ssh";
    program_ = ssh_;
  }

  std::optional<ServerCommand> translate(std::string* why) {
    while (at_ < words_.size() && words_[at_].size() > 1 && words_[at_].front() == '-') {
      if (words_[at_++] == "--") break;
      if (!take_flags(words_[at_ - 1], why)) return std::nullopt;
    }
    std::optional<std::vector<std::string>> words = words_to_run(why);
    if (!words) return std::nullopt;
    sftp::Settings settings;
    if (block_ > 0) settings.longest_block = std::min(block_, settings.longest_block);
    if (requests_ > 0) {
      settings.most_ahead = std::min<std::uint64_t>(
          settings.most_ahead, std::uint64_t{requests_} * settings.longest_block);
    }
    return ServerCommand{*std::move(words), settings, server_.empty() && program_ == ssh_};
  }

 private:
  std::optional<std::vector<std::string>> words_to_run(std::string* why) const {
    if (!server_.empty()) return split_words(server_, why);
    if (at_ + 1 == words_.size()) return ssh_words(words_[at_]);
    *why = at_ == words_.size() ? "no host" : "more words stand behind the host";
    return std::nullopt;
  }

  // One word may hold several flags, and the value of the last.
  bool take_flags(const std::string& word, std::string* why) {
    for (std::size_t i = 1; i < word.size(); ++i) {
      const Flag* flag = std::find_if(std::begin(kFlags), std::end(kFlags),
                                      [&](const Flag& each) { return each.letter == word[i]; });
      if (flag == std::end(kFlags) || (flag->has_value && is_last(word, i))) {
        *why = std::string("only the program sftp knows what to do with \"-") + word[i] + '"';
        return false;
      }
      const std::string value = !flag->has_value      ? ""
                                : i + 1 < word.size() ? word.substr(i + 1)
                                                      : words_[at_++];
      if (!apply(*flag, value, why)) return false;
      if (flag->has_value) break;
    }
    return true;
  }

  bool is_last(const std::string& word, std::size_t i) const {
    return i + 1 == word.size() && at_ == words_.size();
  }

  bool apply(const Flag& flag, const std::string& value, std::string* why) {
    forwards_agent_ = forwards_agent_ || flag.letter == 'A';
    switch (flag.use) {
      case Use::kPass:
        options_.push_back(std::string{'-', flag.letter});
        if (flag.has_value) options_.push_back(value);
        break;
      case Use::kIgnore:
        break;
      case Use::kPort:
        options_.push_back("-oPort=" + value);
        break;
      case Use::kProgram:
        program_ = value;
        break;
      case Use::kServer:
        server_ = value;
        break;
      case Use::kSubsystem:
        subsystem_ = value;
        break;
      case Use::kBlock:
        return take_number(value, &block_, why);
      case Use::kRequests:
        return take_number(value, &requests_, why);
      case Use::kNamed:
        return take_named(value, why);
    }
    return true;
  }

  bool take_named(const std::string& value, std::string* why) {
    const std::string name = value.substr(0, value.find('='));
    const std::string number = value.substr(std::min(name.size() + 1, value.size()));
    if (name == "buffer") return take_number(number, &block_, why);
    if (name == "nrequests") return take_number(number, &requests_, why);
    *why = "only the program sftp knows what to do with \"-X " + value + '"';
    return false;
  }

  static bool take_number(const std::string& text, std::uint32_t* number, std::string* why) {
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, *number);
    if (error == std::errc{} && parsed == end && *number > 0) return true;
    *why = '"' + text + "\" is no number of bytes or requests";
    return false;
  }

  // A subsystem that is a path is a command.
  std::vector<std::string> ssh_words(const std::string& destination) const {
    std::vector<std::string> words{program_, "-oForwardX11=no", "-oPermitLocalCommand=no",
                                   "-oClearAllForwardings=yes"};
    if (!forwards_agent_) words.emplace_back("-oForwardAgent=no");
    words.insert(words.end(), options_.begin(), options_.end());
    const std::size_t at = destination.rfind('@');
    if (at != destination.npos) words.insert(words.end(), {"-l", destination.substr(0, at)});
    if (subsystem_.find('/') == subsystem_.npos) words.emplace_back("-s");
    words.insert(words.end(), {"--", host_of(destination), subsystem_});
    return words;
  }

  // Without the brackets around an address.
  static std::string host_of(const std::string& destination) {
    std::string host = destination.substr(destination.rfind('@') + 1);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    return host;
  }

  const std::vector<std::string>& words_;
  std::size_t at_ = 1;
  std::string ssh_, program_, server_, subsystem_ = "sftp";
  std::vector<std::string> options_;
  bool forwards_agent_ = false;
  std::uint32_t block_ = 0, requests_ = 0;
};

}  // namespace

std::optional<ServerCommand> server_command(const std::vector<std::string>& words,
                                            std::string* why) {
  return Translator(words).translate(why);
}

bool is_systems_own(const std::string& program) {
  if (program != "sftp" || ssh_beside(program).empty()) return false;
  std::array<char, 2> begin{};
  std::ifstream(find_program(program)).read(begin.data(), begin.size());
  return std::string_view(begin.data(), begin.size()) != "#!";
}

}  // namespace fileref::runtime::direct
