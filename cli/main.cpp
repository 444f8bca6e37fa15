// fileref: remote files as records.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/command_line.h"
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

int run(const cli::Command& command, cli::Request request) {
  if (request.targets.empty()) request.targets = {request.target};
  const std::string what =
      fmt::format("{} {}", command.what_failed, fmt::join(request.targets, " "));
  request.target = request.targets.front();
  request.what_failed = command.what_failed;
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
    cli::tell(cli::describe(what, error));
  } catch (const std::bad_alloc&) {
    cli::tell(fmt::format("fileref: {}\n  There is not enough memory. A lower LRECL= takes less.\n",
                          what));
  } catch (const std::exception& error) {
    cli::tell(cli::describe(what, error));
  }
  return command.run == &cli::exists ? cli::kCouldNotAsk : cli::kFailed;
}

// With no more than one empty line between two others.
void print_lines(std::string_view text) {
  cli::RecordOutput output("\n");
  bool after_blank = false;
  for (const std::string_view line : cli::lines_of(text)) {
    if (!line.empty() || !after_blank) output.add(line);
    after_blank = line.empty();
  }
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
  cli::Request request;
  const cli::Command* chosen = nullptr;
  cli::add_commands(app, request, &chosen);
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
  const int status = run(*chosen, request);
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
