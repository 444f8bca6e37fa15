// fileref: remote files as records.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/complete.h"
#include "cli/interrupt.h"
#include "cli/manual.h"
#include "cli/record_output.h"
#include "cli/report.h"
#include "cli/request.h"
#include "cli/standard_streams.h"
#include "cli/wrong_words.h"
#include "fileref/printable.h"
#include "fileref/version.h"

namespace {

struct Command {
  const char* name;
  const char* summary;
  const char* help;
  const char* what_failed;
  int (*run)(const cli::Request&);
  void (*add_words)(CLI::App&, cli::Request&);  // its own, besides those of all commands
};

void add_member_words(CLI::App& command, cli::Request& request) {
  command.add_option("--member", request.member, "The member of the directory TARGET")
      ->type_name("NAME");
  command
      .add_option("--type", request.type,
                  "Added to a member's name without a dot, at most eight bytes")
      ->type_name("EXT")
      ->needs("--member");
}

void add_literal(CLI::App& command, cli::Request& request) {
  command.add_flag("--literal", request.literal, "Take *, ? and [ in the last part as they are");
}

void add_read_words(CLI::App& command, cli::Request& request) {
  add_literal(command, request);
  command.add_flag("--whole", request.host.whole,
                   "Print nothing of a file before all of it has arrived and was checked");
  command.add_option("--name", request.names, "A file of the directory TARGET; may be repeated")
      ->type_name("NAME")
      ->allow_extra_args(false);
  add_member_words(command, request);
  command.get_option("--member")->excludes("--name");
  command
      .add_flag("--pattern", request.pattern,
                "Take the last part as a pattern, even if a file has just that name")
      ->excludes("--literal")
      ->excludes("--name")
      ->excludes("--member");
}

void add_write_words(CLI::App& command, cli::Request& request) {
  add_literal(command, request);
  add_member_words(command, request);
  command.add_flag("--verify", request.host.verify_uploads,
                   "Read the sent file back and compare all of it, or fail");
  command.add_flag("--atomic", request.host.atomic_uploads,
                   "Replace the old file by the new one as a whole, or not at all; needs a server "
                   "that can, and no client program");
}

void add_ls_words(CLI::App& command, cli::Request& request) {
  command.add_flag("-a", request.hidden, "Print names that begin with a dot, too");
  command.add_flag("-0", request.nul, "End each name with a NUL byte instead of a line feed");
}

void add_members_words(CLI::App& command, cli::Request& request) {
  command.add_flag("--kind", request.kinds, "Say which members are files and which directories");
  command.add_flag("--split", request.split, "Take names apart at their first dot");
  command.add_flag("--json", request.json, "Print JSON");
}

void add_no_words(CLI::App& /*command*/, cli::Request& /*request*/) {}

void add_batch_words(CLI::App& command, cli::Request& request) {
  command.add_option("FILE", request.batch_file, "The batch file")->required();
}

// Seconds, with a fraction if need be.
void add_limit(CLI::App& command, const char* flag, const char* what,
               std::chrono::milliseconds& limit) {
  constexpr double kMost = 1e9;
  const auto set = [flag, &limit](double seconds) {
    if (!(seconds >= 0 && seconds <= kMost)) {
      throw CLI::ValidationError(flag, "give seconds from 0, no limit, to 1000000000");
    }
    limit = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
  };
  const std::chrono::duration<double> now = limit;
  command.add_option_function<double>(flag, set, fmt::format("{} ({:g})", what, now.count()))
      ->type_name("SECONDS");
}

void add_common_words(CLI::App& command, cli::Request& request) {
  command
      .add_option("-o", request.options, "Options, as in an assignment; @FILE: read them from it")
      ->type_name("TEXT")
      ->allow_extra_args(false);
  command
      .add_option("--log", request.log_path, "Append the host log and every request and reply here")
      ->type_name("FILE");
  command.add_flag("-q,--quiet", request.quiet, "Show no progress");
  command
      .add_option("--client", request.host.client,
                  "How the server is spoken to: over ssh by fileref itself (direct), or through a "
                  "client program")
      ->type_name("NAME")
      ->check(CLI::IsMember({"direct", "openssh", "psftp", "plain"}));
  command
      .add_option("--retries", request.host.retries,
                  fmt::format("How often a command is repeated whose session was lost ({})",
                              request.host.retries))
      ->type_name("N")
      ->check(CLI::Range(0, 1000));
  add_limit(command, "--start-limit", "Wait so long for the session, 0: for ever",
            request.host.start_limit);
  add_limit(command, "--command-limit", "The same for a command that moves no file",
            request.host.command_limit);
  add_limit(command, "--transfer-limit", "The same for one that does", request.host.transfer_limit);
  add_limit(command, "--stall-limit", "The same for one of which no byte moves; it is repeated",
            request.host.stall_limit);
}

constexpr Command kCommands[] = {
    {"read", "Print the records of a remote file, or of several",
     "Fetches a remote file and prints its records, each with a line feed unless the last line has "
     "none; with RECFM=S the bytes as they are. A pattern in the last part of TARGET stands for "
     "every file that it matches, read as one stream, unless a file has just that name. A file "
     "that "
     "cannot be read is told of and left out, and the status is then 1.",
     "cannot read", &cli::read, &add_read_words},
    {"write", "Write standard input to a remote file",
     "Takes each line of standard input as a record, with RECFM=S the bytes as they are, and sends "
     "them as a remote file. A last line without a line feed is sent without one. A name with *, ? "
     "or [ is that of a file that exists, or needs --literal.",
     "cannot write", &cli::write, &add_write_words},
    {"ls", "Print the names in a remote directory",
     "Prints the names in the directory TARGET, or those that the pattern in its last part "
     "matches, "
     "one a line.",
     "cannot list", &cli::ls, &add_ls_words},
    {"members", "Print the members of a remote directory",
     "Prints the members of the directory TARGET: columns on a terminal, else with tabs between.",
     "cannot list the members of", &cli::members, &add_members_words},
    {"exists", "Ask whether a remote file is there",
     "Ends with status 0 when the directory of TARGET shows its name; where the letter case "
     "differs, prints the name as it is (\"yes, as NAME\"). Ends with status 1 and the word no "
     "when it does "
     "not, or there is no such directory; with 3 when that could not be found out.",
     "cannot find out about", &cli::exists, &add_no_words},
    {"info", "Describe a remote file or directory",
     "Prints a short description of the file TARGET, which is opened for it, or of the directory "
     "TARGET, which ends in a slash.",
     "cannot describe", &cli::info, &add_no_words},
    {"batch", "Run a batch file of the client's commands",
     "Has the client run the batch file FILE on the server TARGET, and prints what it says.",
     "cannot run the batch on", &cli::batch, &add_batch_words},
};

constexpr const char* kTargets =
    "\nTargets:\n"
    "  sftp://[USER@]HOST[:PORT]/PATH  a file on a server; /~/PATH starts at the login directory\n"
    "  local:PATH                      a file here, through the file server program, no network\n"
    "\nOptions of -o, several in one text or several -o:\n"
    "  RECFM=V|F|S    records are lines, fixed in length, or a stream of bytes (V)\n"
    "  LRECL=N        longest record in bytes of the remote file (32767; F: 256)\n"
    "  ENCODING=NAME  encoding of the remote text\n"
    "  USER= HOST=    as in the target\n"
    "  CD='DIR'       remote directory to enter first, for a TARGET without one\n"
    "  NEW            makes the directory of TARGET when it is missing\n"
    "  OPTIONS='...'  words for the client's command line; OPTIONSX='...' the same, kept secret\n"
    "                 (with -o @FILE, or -o @/dev/fd/N, it stands in no argument of fileref)\n"
    "  PATH='...'     a client program, which then speaks to the server\n"
    "\nExit status: 0 done, 1 failed (of exists: no), 2 used wrongly, 3 (of exists) failed.\n";

// What an argument of the process shows, everybody may see.
void blot_secret(char* argument) {
  if (char* secret = strcasestr(argument, "OPTIONSX"))
    std::memset(secret, '*', std::strlen(secret));
}

// Everything is cleaned up: end as any filter does whose reader has gone.
void end_without_reader(const std::system_error& error) {
  if (error.code() != std::errc::broken_pipe) return;
  std::signal(SIGPIPE, SIG_DFL);
  std::raise(SIGPIPE);
}

int refuse_use(const std::string& why, const std::string& command = "") {
  cli::complain(cli::without_secrets(why));
  cli::tell(fmt::format("  Try fileref {}--help.\n", command.empty() ? "" : command + " "));
  return cli::kWrongUse;
}

int run(const Command& command, const cli::Request& request) {
  const std::string what = fmt::format("{} {}", command.what_failed, request.target);
  const auto complain_of = [&what](const std::exception& error) {
    cli::complain(what);
    cli::tell("  " + fileref::printable(error.what()) + "\n");
  };
  try {
    return command.run(cli::with_option_files(request));
  } catch (const cli::WrongUse& error) {
    return refuse_use(error.what(), command.name);
  } catch (const cli::Interrupted&) {
    return cli::kFailed;
  } catch (const fileref::Failure& failure) {
    if (cli::interrupted()) {
      cli::complain(failure.explanation());
      return cli::kFailed;
    }
    cli::tell(cli::describe(what, failure));
    if (!failure.option_place().text.empty()) return cli::kWrongUse;
  } catch (const std::system_error& error) {
    end_without_reader(error);
    complain_of(error);
  } catch (const std::bad_alloc&) {
    cli::tell(fmt::format("fileref: {}\n  There is not enough memory. A lower LRECL= takes less.\n",
                          what));
  } catch (const std::exception& error) {
    complain_of(error);
  }
  return command.run == &cli::exists ? cli::kCouldNotAsk : cli::kFailed;
}

void print_lines(std::string_view text) {
  cli::RecordOutput output("\n");
  for (const std::string_view line : cli::lines_of(text)) output.add(line);
  output.flush();
}

// The help, or the version.
int print_message(const CLI::App& app, const CLI::Success& success) {
  std::ostringstream text;
  const int status = app.exit(success, text, text);
  print_lines(text.view());
  return status;
}

// What the shells and the manual page ask for. Whether it is that.
bool is_about_words(const CLI::App& app, const std::vector<std::string>& words) {
  const std::string asked = words.size() > 1 ? words[1] : "";
  if (asked == "__manual") {
    print_lines(cli::manual_of(app));
  } else if (asked == "__complete") {
    print_lines(fmt::format(
        "{}", fmt::join(cli::completions(app, {words.begin() + 2, words.end()}), "\n")));
  }
  return asked == "__manual" || asked == "__complete";
}

}  // namespace

int main(int argc, char** argv) try {
  cli::hold_standard_streams();
  const std::vector<std::string> words(argv, argv + argc);
  std::for_each(argv, argv + argc, &blot_secret);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // what is too large for the limit on files fails to be written
  CLI::App app{"Remote files as records, over the SSH that you already trust."};
  app.name("fileref");
  app.set_version_flag("--version", "fileref " FILEREF_VERSION);
  app.require_subcommand(1);
  app.footer(kTargets);

  cli::Request request;
  std::function<int()> chosen;
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->footer(fmt::format("\n{}\n{}", command.help, kTargets));
    if (command.run == &cli::batch) command.add_words(*sub, request);
    sub->add_option("TARGET", request.target, "The remote side, see below")->required();
    if (command.run != &cli::batch) command.add_words(*sub, request);
    add_common_words(*sub, request);
    sub->callback([&chosen, &command, &request] {
      chosen = [&command, &request] { return run(command, request); };
    });
  }
  if (is_about_words(app, words)) return cli::kDone;
  const std::string fault = argc > 1 ? cli::fault_of_first_word(app, words[1]) : "";
  if (!fault.empty()) return refuse_use(fault);
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend() - 1));
  } catch (const CLI::Success& success) {
    return print_message(app, success);
  } catch (const CLI::ParseError& error) {
    const auto used = app.get_subcommands();
    return refuse_use(cli::fault_of(app, error), used.empty() ? "" : used.front()->get_name());
  }
  cli::catch_interrupts();
  const int status = chosen();
  cli::end_if_interrupted();
  return status;
} catch (const std::system_error& error) {
  end_without_reader(error);
  cli::complain(error.what());
  return cli::kFailed;
} catch (const std::exception& error) {
  cli::complain(error.what());
  return cli::kFailed;
}
