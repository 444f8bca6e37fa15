// Runs programs the way a shell would, and finds out what they leave behind.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace support {

namespace fs = std::filesystem;

inline std::string read_file(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void write_file(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A directory of its own for one test, removed with it. Others may enter it.
class TestDirectory {
 public:
  TestDirectory() {
    std::string pattern = fs::temp_directory_path() / "fileref-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no test directory");
    path_ = pattern;
    fs::permissions(path_, fs::perms(0755));
  }
  ~TestDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }
  fs::path operator/(const std::string& name) const { return path_ / name; }

 private:
  fs::path path_;
};

struct Outcome {
  int status = -1;  // exit status, or 128 and the number of the signal
  std::string out;
  std::string err;
};

// A program in a session of its own, so without a terminal.
class Program {
 public:
  using Environment = std::map<std::string, std::string>;

  Program(std::vector<std::string> words, const std::string& input, const Environment& changes) {
    // What a program leaves behind becomes our child.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    write_file(directory_ / "in", input);
    pid_ = fork();
    if (pid_ != 0) return;
    setsid();
    redirect("in", O_RDONLY, STDIN_FILENO);
    fs::remove(directory_ / "in");  // so that it is nobody's file any more
    redirect("out", O_WRONLY | O_CREAT, STDOUT_FILENO);
    redirect("err", O_WRONLY | O_CREAT, STDERR_FILENO);
    for (const auto& [name, value] : changes) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }

  pid_t pid() const { return pid_; }
  bool has_said(const std::string& text) const { return read_file(directory_ / "out") == text; }

  Outcome wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
            read_file(directory_ / "out"), read_file(directory_ / "err")};
  }

 private:
  void redirect(const char* name, int flags, int to) {
    const int file = open((directory_ / name).c_str(), flags, 0600);
    dup2(file, to);
    close(file);
  }

  TestDirectory directory_;
  pid_t pid_;
};

inline Outcome run(std::vector<std::string> words, const std::string& input = "",
                   const Program::Environment& changes = {}) {
  return Program(std::move(words), input, changes).wait();
}

// The processes whose parent is `parent`.
inline std::vector<pid_t> children_of(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    const std::string stat = read_file(entry.path() / "stat");
    const std::size_t end_of_name = stat.rfind(')');
    if (end_of_name == std::string::npos) continue;
    std::istringstream fields(stat.substr(end_of_name + 1));
    std::string state;
    pid_t its_parent = 0;
    fields >> state >> its_parent;
    if (its_parent == parent && state != "Z") children.push_back(std::stoi(name));
  }
  return children;
}

// And theirs, and so on: how many processes a program makes of itself is its own affair.
inline std::vector<pid_t> descendants_of(pid_t ancestor) {
  std::vector<pid_t> found = children_of(ancestor);
  for (std::size_t i = 0; i < found.size(); ++i) {
    for (const pid_t child : children_of(found[i])) found.push_back(child);
  }
  return found;
}

// Waits until `condition` holds, at most ten seconds.
template <class Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Reaps what has ended and tells what has not, after a moment for the ends that are under way.
// Processes of `known` do not count.
inline std::vector<pid_t> left_behind(const std::vector<pid_t>& known = {}) {
  std::vector<pid_t> left;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  do {
    left.clear();
    for (const pid_t child : children_of(getpid())) {
      if (std::find(known.begin(), known.end(), child) == known.end()) left.push_back(child);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(left.empty() ? 0 : 10));
  } while (!left.empty() && std::chrono::steady_clock::now() < end);
  return left;
}

}  // namespace support
