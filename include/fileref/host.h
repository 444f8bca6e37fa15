// The host: assign names to remote files, open them, read and write records.
//
//   fileref::Host host;
//   host.assign("IN", fileref::Target::parse("sftp://u@srv/data/in.csv"), {"LRECL=200"});
//   for (std::string_view record : host.open("IN")) ...
//
// There may be many hosts in a process, and they know nothing of each other: one on each thread,
// say. One host, with its files and directories, is used from one thread at a time, which may be
// another one each time, and calls the functions of its HostOptions in that thread; these may use
// other hosts. The environment must not be changed in one thread while another is in a call of a
// host. A host holds two descriptors, and about five for each session; when they run out the call
// fails. A process that is forked off has nothing of it: there every call throws UsageError, and
// what is destroyed there is only forgotten. Filerefs have at most eight characters and are told
// apart without regard to case. Options are written as in an assignment: "USER='u' RECFM=F". Every
// call may throw Failure, and every error derives from Error.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileref/directory.h"
#include "fileref/failure.h"
#include "fileref/file.h"
#include "fileref/file_status.h"
#include "fileref/target.h"

namespace fileref {

/// How far a transfer has come.
struct Progress {
  bool is_upload = false;
  std::string_view file = {};  ///< the remote name; valid during the call
  std::uint64_t bytes = 0;
  std::optional<std::uint64_t> total = {};  ///< bytes; not set: not known
  bool ended = false;                 ///< told a last time, whether or not the transfer succeeded
  std::size_t number = 1, files = 1;  ///< which file of how many, where that is known
};

/// What one of its functions throws ends the call under way as an interruption does, and is then
/// thrown on by that call; where a destructor calls it, it is dropped.
struct HostOptions {
  /// Is told of what went wrong without failing a call: a file of several that was skipped, say, or
  /// data that a killed process left unsent and that is now kept.
  std::function<void(std::string_view warning)> warn;
  /// The access-method module; empty: $FILEREF_MODULE, else beside this library or program, else
  /// where it was installed.
  std::string module_path;
  /// Gets every line of the host log and of the client journal, without a line feed.
  std::function<void(std::string_view line)> log;
  /// Where the private directory for temporary files is made; empty: $TMPDIR, else /tmp.
  std::string temp_directory;
  /// Where data is kept whose upload failed; empty: $XDG_STATE_HOME/fileref/unsent, else
  /// ~/.local/state/fileref/unsent. It is made when it is missing; where that cannot be, the data
  /// stays among the temporary files.
  std::string unsent_directory;
  /// The encoding of records and names in this program: UTF-8 or a single-byte encoding.
  std::string session_encoding = "UTF-8";
  /// False refuses the access method altogether, since it runs an external program.
  bool external_commands = true;
  /// Bytes; not set: 32767, and 256 for RECFM=F.
  std::optional<long> record_length;

  /// Past these a command fails and its client is ended; the failure names the limit as the command
  /// does (--start-limit). Zero: no limit. Until the session is up:
  std::chrono::milliseconds start_limit{120'000};
  /// For a command that moves no file contents:
  std::chrono::milliseconds command_limit{60'000};
  /// For one that does:
  std::chrono::milliseconds transfer_limit{0};
  /// A transfer of which no byte moves for so long ends its session, which then counts as lost: see
  /// `retries`. Zero: never. A batch and an unknown client are not watched.
  std::chrono::milliseconds stall_limit{60'000};
  /// How often a command is repeated that broke off because its session was lost.
  int retries = 2;
  /// Keeps the connection of a session that has ended, until the host goes or another session ends,
  /// for the next one that is begun with the same words: that takes no login. "direct" only.
  bool keep_connection = false;

  /// Is asked at least every 100 ms while the client is waited for, and whenever a signal came in.
  /// True ends the client and fails the call, and must stay true until the call has failed.
  std::function<bool()> interrupted;

  /// Is told about five times a second how far a transfer has come; of a shorter one nothing.
  std::function<void(const Progress&)> progress;

  /// Whether the client may ask on the terminal (for a password, say) if there is one. Clients of
  /// several hosts that ask at the same time are in each other's way there.
  bool may_ask = true;
  /// Hands out no record of a file before all of it has arrived and was checked, in a temporary
  /// file. Without it the client "direct" hands records out while they come, at most 16 MiB ahead
  /// of the reader; a transfer that breaks off for good then fails a read in the middle. Other
  /// clients always fetch a file whole.
  bool whole = false;
  /// Reads every sent file back and compares all of it; one that cannot be read back whole has
  /// failed. Without it the number of bytes that arrived is compared. Through OpenSSH's `sftp` up
  /// to 10.0 that misses a block that the server refused in the middle.
  bool verify_uploads = false;
  /// Sends every file under a name of its own in the same directory, which takes the place of the
  /// old file once it is whole: nobody sees half a file, and a failure leaves the old one as it
  /// was. Fails before any data is sent where the server cannot do that, and with a client other
  /// than "direct".
  bool atomic_uploads = false;
  /// How the server is spoken to: "direct" by this library itself, over the system's own ssh;
  /// "openssh", "psftp", "plain" through a client program. Empty: "direct" where the program would
  /// be the system's own `sftp` and its words can be carried out without it, else by the name of
  /// the program. With "psftp" that is the program unless an option PATH names another.
  std::string client;
};

class Host {
 public:
  /// Throws Failure when the module cannot be loaded, UsageError when the session's encoding is
  /// none, SystemError without a place for temporary files.
  explicit Host(HostOptions options = {});
  /// Ends every session. Files must have been closed or destroyed before.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Lets `fileref` stand for `target`; a name that is assigned already stands for the new target
  /// from then on. Starts nothing. The later of two equal options counts, and any counts over what
  /// `target` says. After a failure everything is as it was. CD is refused for a target that has a
  /// directory. With NEW the directory is made that the target, a file, is in, or the one that it
  /// is, with DIR; any other target is refused. A batch (BATCHFILE) names its directories and files
  /// itself: with it a path and CD are refused.
  void assign(std::string_view fileref, const Target& target,
              const std::vector<std::string>& options = {});
  /// Ends the fileref and its session. Fails while files of it are open.
  void deassign(std::string_view fileref);

  /// Fetches the file. The first open of a fileref starts its session. `options` count over those
  /// of the assignment. With LS or LSA the records are the names in the target's directory, LSA's
  /// the hidden ones too, with LSFILE those that match; with MGET they are those of every file that
  /// the target's last part matches, one file after the other.
  [[nodiscard]] Input open(std::string_view fileref, const std::vector<std::string>& options = {});
  /// Begins a new remote file, which is sent when the output is closed. Refused with LS, LSA, MGET
  /// and BATCHFILE, which only read.
  [[nodiscard]] Output create(std::string_view fileref,
                              const std::vector<std::string>& options = {});

  /// Opens the directory that a fileref stands for; it must have been assigned with DIR.
  [[nodiscard]] Directory open_directory(std::string_view fileref, MemberOptions options = {});

  /// Whether the name is assigned.
  bool is_assigned(std::string_view fileref);
  /// The name of a fileref's remote file as its directory shows it: the same name, or else the
  /// first that differs in letter case only. Nothing when there is none, or no such directory. The
  /// fileref stands for one file.
  std::optional<std::string> find(std::string_view fileref);
  /// Whether `find` finds it.
  bool exists(std::string_view fileref);

  /// What is there under the path that a fileref stands for, a file or a directory; links are
  /// followed, and nothing is fetched. Nothing when there is no such file or directory.
  std::optional<FileStatus> stat(std::string_view fileref);
  /// A short description of the file that a fileref stands for, whether or not it is there; nothing
  /// is fetched.
  std::vector<InfoLine> info(std::string_view fileref);

  /// Runs the user's own batch of client commands, for a fileref that was assigned with BATCHFILE,
  /// and tells every line that the client says. Throws Failure when a command fails. What `said`
  /// throws is treated like what a function of HostOptions throws.
  void run_batch(std::string_view fileref,
                 const std::function<void(std::string_view line)>& said = {});

  /// A variable for the option NBYTE=NAME. Lives as long as the host.
  double& variable(std::string_view name);

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace fileref
