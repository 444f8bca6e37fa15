// A dialogue with a client as a string of bytes: what the module sent, and what the client said.
//
// The first byte chooses the client: 1 and 3 for psftp, else OpenSSH; with 2 and 3 uploads are
// verified. What follows is the client's standard output, but for these:
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "runtime/launch/openssh/openssh.h"
#include "runtime/launch/psftp/psftp.h"

namespace fuzz {

inline constexpr char kSentinel = 1;   // the sentinel of the exchange under way
inline constexpr char kErrors = 2;     // here standard error begins,
inline constexpr char kOutput = 3;     // and here standard output again
inline constexpr char kLocalFile = 4;  // the client makes a local file; the next byte is its size
inline constexpr char kCommand = 5;    // the module's next command, up to a line feed

// Stands for the local file of a transfer in a command.
inline constexpr char kLocal[] = "LOCAL";

inline std::unique_ptr<fileref::runtime::Dialect> dialect_of(char client) {
  using namespace fileref::runtime;
  if (client == '1' || client == '3') return std::make_unique<psftp::PsftpDialect>();
  return std::make_unique<openssh::OpensshDialect>();
}

inline bool verifies(char client) {
  return client == '2' || client == '3';
}

// What an upload sends; the local files that the client makes hold the same letter.
inline const std::string kSent(12, 'x');

inline std::string with_local(std::string command, const std::string& local) {
  const std::size_t at = command.find(kLocal);
  if (at != std::string::npos) command.replace(at, sizeof kLocal - 1, local);
  return command;
}

}  // namespace fuzz
