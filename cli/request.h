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
};

// Exit statuses of the command.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

// Each runs one request and returns 0. They throw fileref::Failure and std::exception, and
// WrongUse.
int read(const Request& request);
int write(const Request& request);

}  // namespace cli
