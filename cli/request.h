// What the user asked for.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct Request {
  std::string target;
  std::vector<std::string> options;  // of -o, in order
  std::string log_path;              // empty: no log
  bool verify = false;               // of write: compare what arrived byte by byte
  std::vector<std::string> names;    // of read: several files of the target's directory
  bool hidden = false;               // of ls: names that begin with a dot, too
  bool nul = false;                  // of ls: a NUL byte behind each name
  std::string batch_file;            // of batch
};

// Exit statuses of the command.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

// Each runs one request and returns 0. They throw fileref::Failure and std::exception, and
// WrongUse.
int read(const Request& request);
int write(const Request& request);
int ls(const Request& request);
int batch(const Request& request);

}  // namespace cli
