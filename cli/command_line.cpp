#include "cli/command_line.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cli {
namespace {

constexpr const char* kCommonGroup = "Options of every command";

// What every command takes is told once, in the help of the program; but for what is needed daily.
class CommandHelp : public CLI::Formatter {
  std::string make_group(std::string group, bool is_positional,
                         std::vector<const CLI::Option*> words) const override {
    if (group == kCommonGroup) return {};
    return Formatter::make_group(std::move(group), is_positional, std::move(words));
  }
  std::string make_option_usage(const CLI::Option* word) const override {
    return words_of_positional(*word);
  }
};

void add_target(CLI::App& command, Request& request) {
  command.add_option("TARGET", request.target, "sftp://[USER@]HOST[:PORT]/PATH, or local:PATH")
      ->option_text(" ")
      ->required();
}

void add_targets(CLI::App& command, Request& request) {
  command.add_option("TARGET", request.targets, "sftp://[USER@]HOST[:PORT]/PATH, or local:PATH")
      ->option_text(" ")
      ->required();
}

void add_member_words(CLI::App& command, Request& request) {
  command.add_option("--member", request.member, "The member of the directory TARGET")
      ->option_text("NAME");
  command
      .add_option("--type", request.type,
                  "Added to that name if it has no dot, at most eight bytes")
      ->option_text("EXT")
      ->needs("--member");
}

void add_literal(CLI::App& command, Request& request) {
  command.add_flag("--literal", request.literal, "Take *, ? and [ in the last part as they are")
      ->option_text(" ");
}

void add_upload_words(CLI::App& command, Request& request) {
  command.add_flag("--atomic", request.host.atomic_uploads,
                   "Replace the old file as a whole, or not at all");
  command.add_flag("--verify", request.host.verify_uploads,
                   "Read the sent file back and compare all of it, or fail");
}

void add_read_words(CLI::App& command, Request& request) {
  add_targets(command, request);
  command.add_flag("--whole", request.host.whole,
                   "Print nothing of a file before all of it has arrived and was checked");
  command.add_option("--name", request.names, "A file of the directory TARGET; may be repeated")
      ->option_text("NAME")
      ->allow_extra_args(false);
  add_member_words(command, request);
  command.get_option("--member")->excludes("--name");
  add_literal(command, request);
  command
      .add_flag("--pattern", request.pattern,
                "Take it as a pattern, even if a file has just that name")
      ->option_text(" ")
      ->excludes("--literal")
      ->excludes("--name")
      ->excludes("--member");
}

void add_write_words(CLI::App& command, Request& request) {
  add_target(command, request);
  add_upload_words(command, request);
  add_member_words(command, request);
  add_literal(command, request);
}

void add_copy_words(CLI::App& command, Request& request) {
  command
      .add_option("SOURCE", request.targets,
                  "sftp://[USER@]HOST[:PORT]/PATH, local:PATH, or a path here; as is TARGET")
      ->option_text(" ")
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->required();
  command.add_flag("--atomic", request.host.atomic_uploads,
                   "Replace old files on a server as a whole, or not at all");
  command.add_flag("--verify", request.host.verify_uploads,
                   "Read sent files back and compare all of them, or fail");
  add_literal(command, request);
}

void add_members_words(CLI::App& command, Request& request) {
  add_target(command, request);
  command.add_flag("--kind", request.kinds, "Say which members are files and which directories");
  command.add_flag("--split", request.split, "Take names apart at their first dot");
  command.add_flag("--json", request.json, "Print JSON");
}

void add_ls_words(CLI::App& command, Request& request) {
  add_targets(command, request);
  command.add_flag("-l", request.details, "Print kind, mode, size and time, too");
  command.add_flag("-a", request.hidden, "Print names that begin with a dot, too");
  command.add_flag("-0", request.nul, "End each name with a NUL byte instead of a line feed");
  command.add_flag("--json", request.json, "Print JSON, with kind, size, time and mode")
      ->option_text(" ")
      ->excludes("-l")
      ->excludes("-0");
}

void add_stat_words(CLI::App& command, Request& request) {
  add_targets(command, request);
  command.add_flag("--json", request.json, "Print JSON; what is not known is null");
}

void add_batch_words(CLI::App& command, Request& request) {
  command.add_option("FILE", request.batch_file, "The batch file")->option_text(" ")->required();
  add_target(command, request);
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
      ->type_name("SECONDS")
      ->group(kCommonGroup);
}

void add_login_words(CLI::App& command, Request& request) {
  const CLI::Validator not_empty(
      [](const std::string& value) { return value.empty() ? std::string("it is empty") : ""; }, "");
  const struct {
    const char* flag;
    std::string* value;
    const char* what;
    const char* type;
  } words[] = {{"-i", &request.login.key, "The key to log in with", "KEY"},
               {"-P", &request.login.port, "The port of the server", "PORT"},
               {"-J", &request.login.jump_host, "Go by way of this host", "HOST"},
               {"-F", &request.login.config, "The SSH configuration to use", "CONFIG"}};
  for (const auto& word : words) {
    command.add_option(word.flag, *word.value, word.what)->type_name(word.type)->check(not_empty);
  }
  command
      .add_option("-o", request.options, "Options, as in an assignment; @FILE: read them from it")
      ->option_text("TEXT")
      ->allow_extra_args(false);
}

void add_common_words(CLI::App& command, Request& request) {
  add_login_words(command, request);
  command.add_flag("-q,--quiet", request.quiet, "Show no progress");
  command
      .add_option("--log", request.log_path, "Append the host log and every request and reply here")
      ->type_name("FILE")
      ->group(kCommonGroup);
  command
      .add_option("--client", request.host.client,
                  "How the server is spoken to: direct, openssh, psftp or plain")
      ->check(CLI::IsMember({"direct", "openssh", "psftp", "plain"}))
      ->option_text("NAME")
      ->group(kCommonGroup);
  command
      .add_option("--retries", request.host.retries,
                  fmt::format("How often a command is repeated whose session was lost ({})",
                              request.host.retries))
      ->check(CLI::Range(0, 1000))
      ->option_text("N")
      ->group(kCommonGroup);
  add_limit(command, "--start-limit", "Wait so long for the session, 0: for ever",
            request.host.start_limit);
  add_limit(command, "--command-limit", "The same for a command that moves no file",
            request.host.command_limit);
  add_limit(command, "--transfer-limit", "The same for one that does", request.host.transfer_limit);
  add_limit(command, "--stall-limit", "The same for one of which no byte moves; it is repeated",
            request.host.stall_limit);
}

constexpr Command kCommands[] = {
    {"read", "Print the records of remote files",
     "Fetches each remote file and prints its records, each with a line feed unless the last line "
     "has none; with RECFM=S the bytes as they are. A pattern in the last part of TARGET stands "
     "for every file that it matches, read as one stream, unless a file has just that name. A file "
     "that cannot be read is told of and left out, and the status is then 1.",
     "  fileref read sftp://u@srv/data/in.csv | sort\n"
     "  fileref read -i ~/.ssh/key 'sftp://srv/data/2024-*.csv' sftp://srv/data/last.csv\n",
     "cannot read", &read, &add_read_words},
    {"write", "Write standard input to a remote file",
     "Takes each line of standard input as a record, with RECFM=S the bytes as they are, and sends "
     "them as a remote file. A last line without a line feed is sent without one. A name with *, ? "
     "or [ is that of a file that exists, or needs --literal.",
     "  sort list.txt | fileref write sftp://srv/data/list.txt\n"
     "  fileref write --atomic local:/tmp/copy.txt < list.txt\n",
     "cannot write", &write, &add_write_words},
    {"copy", "Copy files, bytes as they are",
     "Copies files between servers and this machine, in any direction: into the directory TARGET, "
     "or, one, onto the file TARGET. A pattern in the last part of a remote SOURCE stands for all "
     "that it matches. Here a file appears when it is whole; on a server it is sent when all of it "
     "was read. A file that cannot be copied is told of, the others are copied, and the status is "
     "then 1.",
     "  fileref copy 'sftp://srv/data/*.csv' backup/\n"
     "  fileref copy --atomic list.txt sftp://one/etc/hosts sftp://u@two/~/in/\n",
     "cannot copy", &copy, &add_copy_words},
    {"ls", "Print the names in remote directories",
     "Prints the names in the directory TARGET, or those that the pattern in its last part "
     "matches, one a line. Nothing is fetched for -l: what is shown is what the server's listing "
     "says, of a link itself, and \"?\" where it says nothing.",
     "  fileref ls -l sftp://srv/data/\n"
     "  fileref ls --json 'sftp://srv/data/*.csv'\n",
     "cannot list", &ls, &add_ls_words},
    {"stat", "Print kind, size, time and mode of remote files",
     "Prints what the server says of each TARGET, a file or a directory, without fetching it. "
     "Links "
     "are followed. What is not said is shown as \"?\".",
     "  fileref stat sftp://srv/data/in.csv sftp://srv/data\n"
     "  fileref stat --json local:/etc/hostname\n",
     "cannot find out about", &stat, &add_stat_words},
    {"members", "Print the members of a remote directory",
     "Prints the members of the directory TARGET: columns on a terminal, else with tabs between.",
     "  fileref members --kind sftp://srv/data\n"
     "  fileref members --split --json local:/tmp\n",
     "cannot list the members of", &members, &add_members_words},
    {"exists", "Ask whether a remote file is there",
     "Ends with status 0 when the directory of TARGET shows its name; where the letter case "
     "differs, prints the name as it is (\"yes, as NAME\"). Ends with status 1 and the word no "
     "when it does not, or there is no such directory; with 3 when that could not be found out.",
     "  fileref exists sftp://srv/data/in.csv && echo it is there\n"
     "  fileref exists -P 2022 sftp://srv/~/report.txt\n",
     "cannot find out about", &exists, &add_target},
    {"info", "Describe a remote file or directory",
     "Prints a short description of the file TARGET, which is not fetched, or of the directory "
     "TARGET, which ends in a slash.",
     "  fileref info sftp://srv/data/in.csv\n"
     "  fileref info local:/tmp/\n",
     "cannot describe", &info, &add_target},
    {"batch", "Run a batch file of the client's commands",
     "Has the client run the batch file FILE on the server TARGET, and prints what it says.",
     "  fileref batch commands.txt sftp://srv\n"
     "  fileref batch --client psftp -i key.ppk commands.txt sftp://srv -o \"OPTIONS='-batch'\"\n",
     "cannot run the batch on", &batch, &add_batch_words},
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

// A paragraph in lines of a width that every terminal has.
std::string in_lines(std::string_view paragraph) {
  constexpr std::size_t kWidth = 79;
  std::string lines;
  while (paragraph.size() > kWidth) {
    const std::size_t blank = paragraph.rfind(' ', kWidth);
    lines.append(paragraph.substr(0, blank)).append("\n");
    paragraph.remove_prefix(blank + 1);
  }
  return lines.append(paragraph);
}

// Of every command, as the help of the program tells them.
std::string common_words() {
  CLI::App any;
  any.set_help_flag();
  Request request;
  add_common_words(any, request);
  for (CLI::Option* word : any.get_options({})) word->group(kCommonGroup);
  return CLI::Formatter().make_groups(&any, CLI::AppFormatMode::Normal);
}

void add_command(CLI::App& app, const Command& command, Request& request, const Command** chosen) {
  CLI::App* sub = app.add_subcommand(command.name, command.summary);
  sub->footer(
      fmt::format("{}\n\nExamples:\n{}\nMore options, targets, exit status: fileref --help\n",
                  in_lines(command.help), command.examples));
  sub->formatter(std::make_shared<CommandHelp>());
  command.add_words(*sub, request);
  add_common_words(*sub, request);
  sub->callback([&command, chosen] { *chosen = &command; });
}

}  // namespace

std::string words_of_positional(const CLI::Option& word) {
  const std::string name = word.get_name(true);
  if (name == "SOURCE") return "SOURCE... TARGET";
  return name + (word.get_items_expected_max() > 1 ? "..." : "");
}

void add_commands(CLI::App& app, Request& request, const Command** chosen) {
  app.require_subcommand(1);
  app.footer(common_words() + kTargets);
  for (const Command& command : kCommands) add_command(app, command, request, chosen);
}

}  // namespace cli
