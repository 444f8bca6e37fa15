// The launch layer, for hosts that load the module themselves: starts the client of a fileref, and
// makes of it the process object of <fileref/host/toolkit.h> that the module drives.
//
// What real clients get wrong is put right in here. An answer is handed out when it is complete, a
// transfer counts as done when all of its bytes are where they belong, and every failure reaches
// the module in a form that it knows.
//
// A process and its functions are used from one thread at a time.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct LSProcess_S;

namespace fileref {

/// How long the client may take; 0 stands for no limit.
struct LaunchLimits {
  std::chrono::milliseconds start{120'000};   ///< until the session is up
  std::chrono::milliseconds command{60'000};  ///< for an exchange that moves no file contents
  std::chrono::milliseconds transfer{0};      ///< for one that does
  /// For a transfer that does not go on; the session counts as lost then.
  std::chrono::milliseconds stall{60'000};
  std::chrono::milliseconds close_grace{2'000};  ///< before TERM, and again before KILL
};

/// Functions are called in the thread that uses the process, and while it is used only.
struct LaunchRequest {
  /// Program, options and host, quoted as for a shell. Without a host it ends in a blank, and the
  /// options must name a server to talk to directly (-D). With -b the client runs a batch file and
  /// ends: its output passes through, and an exit status other than 0 makes the last read fail.
  std::string command_line;
  /// "direct": ssh is run in place of the program, and spoken to in the file transfer protocol.
  /// "openssh", "psftp": the dialogue of that client is spoken. "plain": passes bytes through.
  /// Empty: "direct" in place of the system's own `sftp` where it can do what the words ask for,
  /// else by the file name of the program.
  std::string adapter;
  LaunchLimits limits;
  /// Read every upload back and compare it, else it has failed: OpenSSH clients up to 10.0 can miss
  /// a block that the server refused, while the size comes out right.
  bool verify_uploads = false;
  /// Send uploads under another name, which then replaces the old file: client "direct" only.
  bool atomic_uploads = false;
  /// How often a command is repeated whose client ended under way, in a new session that stands in
  /// the same directory. One whose transfer stalled counts as ended. A session that was lost
  /// between two commands counts as the first of them.
  int retries = 2;
  bool may_ask = false;  ///< there is a terminal on which the client may ask its user
  /// Is asked at least every 100 ms while the client is waited for. True ends the client and fails
  /// the command; it stays true until the command has failed.
  std::function<bool()> interrupted;
  /// Is told each line that is sent ("> " and the line), and of what the client says in answer to
  /// one, or between two, the first 64 KiB and how much was left out.
  std::function<void(std::string_view)> journal;
  /// Texts that must appear in nothing that is told here: values of OPTIONSX.
  std::vector<std::string> secrets;
  /// Is told behind every answer, and behind a command that was refused, what went wrong, as far as
  /// it is known, and what the client itself said last (at most 4 KiB, word for word), unless both
  /// are empty. That may be of no weight: a client that greets its user says something, too. When
  /// an entry of the module fails, what was told last during it is the reason.
  std::function<void(const std::string& explanation, const std::string& words)> trouble;
  /// Is called when an upload failed: keeps that local file and returns where, "" if it could not.
  /// The explanation then tells where the data is, and without this that it could not be kept.
  std::function<std::string(const std::string& local)> keep_unsent;
};

/// Starts the client; its first answer is under way then. Destroying the process
/// (`generic.destroy`) ends it. Null, and why, when there is no host, a quote is not closed, a
/// batch file cannot be read, or the program cannot be run.
LSProcess_S* launch(LaunchRequest request, std::string* why);

/// A remote name in a form that no reader of a client's answers takes for anything but a name: the
/// module reads answers as text, where a blank separates names and some phrases tell of a failure.
/// Names go to the module in this form (physical names, members, lists of names), at most twice as
/// long, and a "/" stays one.
std::string escape_name(std::string_view name);
/// The name itself: for what the module hands out (members, records of a listing, messages,
/// information). `launch` does it for command lines and commands. A text that holds no escaped name
/// and neither of the bytes 0x10 and 0x1F comes back as it is.
std::string unescape_name(std::string_view escaped);

}  // namespace fileref
