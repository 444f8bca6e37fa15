// What the user asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fileref/host.h"

namespace cli {

// How the server is reached: flags of the client program, as `sftp` has them. Empty: not given.
struct Login {
  std::string key;        // -i
  std::string port;       // -P
  std::string jump_host;  // -J
  std::string config;     // -F
};

struct Request {
  std::string target;                // the one that is dealt with
  std::vector<std::string> targets;  // all of them, in order
  std::size_t number = 1;            // of the one among them
  const char* what_failed = "";      // "cannot read", should it fail
  Login login;
  std::vector<std::string> options;   // of -o, in order
  std::string log_path;               // empty: no log
  bool quiet = false;                 // tell of failures only
  fileref::HostOptions host;          // as far as flags set them
  std::vector<std::string> names;     // of read: several files of the target's directory
  std::optional<std::string> member;  // of read and write: a file of the target's directory
  std::string type;                   // of the member; empty: none is added
  bool literal = false;               // of read, write and copy: wildcards stand for themselves
  bool pattern = false;               // of read: they never do
  bool details = false;               // of ls
  bool hidden = false;                // of ls: names that begin with a dot, too
  bool nul = false;                   // of ls: a NUL byte behind each name
  std::string batch_file;             // of batch
  bool kinds = false;                 // of members
  bool split = false;
  bool json = false;
};

// Exit statuses of the command.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr int kCouldNotAsk = 3;  // of exists

// The same request with the texts of the files that options @FILE name. Throws WrongUse for one
// that cannot be read, is larger than 64 KiB or holds a NUL byte.
Request with_option_files(Request request);

// Each runs one request and returns an exit status. They throw fileref::Failure, std::exception,
// WrongUse and Interrupted. Those that take several targets tell of a failure of one themselves.
int read(const Request& request);
int write(const Request& request);
int copy(const Request& request);
int ls(const Request& request);
int batch(const Request& request);
int members(const Request& request);
int exists(const Request& request);
int info(const Request& request);
int stat(const Request& request);

}  // namespace cli
