#include "runtime/library/failure_reason.h"

#include <algorithm>
#include <string>

#include "runtime/launch/line_buffer.h"

namespace fileref {
namespace {

using Reason = Failure::Reason;

enum class Where { kAtBegin, kAnywhere, kAtEnd };

struct Sign {
  const char* text;
  Where where;  // in a line
  Reason reason;
};

// Those of a session stand first: what its client says may read like what is said of a file.
constexpr Sign kSigns[] = {
    {"-limit raises it)", Where::kAnywhere, Reason::kTimedOut},
    {"the host does not answer", Where::kAtBegin, Reason::kTimedOut},
    {"the login was refused", Where::kAtBegin, Reason::kNotAllowed},
    {"no session could be started", Where::kAtBegin, Reason::kNotConnected},
    {"the sftp session was not established", Where::kAtBegin, Reason::kNotConnected},
    {"the client ended (", Where::kAnywhere, Reason::kNotConnected},
    {"the session was lost", Where::kAnywhere, Reason::kNotConnected},
    {": no such file or directory", Where::kAtEnd, Reason::kNoSuchFile},
    {": no such file or directory; ", Where::kAnywhere, Reason::kNoSuchFile},
    {": no such file", Where::kAtEnd, Reason::kNoSuchFile},
    {"\" not found.", Where::kAtEnd, Reason::kNoSuchFile},
    {"\" is not a directory", Where::kAtEnd, Reason::kNotADirectory},
    {"no name matches ", Where::kAtBegin, Reason::kNoSuchFile},
    {": permission denied", Where::kAnywhere, Reason::kNotAllowed},
};

bool is_in(const Sign& sign, std::string_view line) {
  switch (sign.where) {
    case Where::kAtBegin:
      return line.starts_with(sign.text);
    case Where::kAtEnd:
      return line.ends_with(sign.text);
    case Where::kAnywhere:
      break;
  }
  return line.find(sign.text) != std::string_view::npos;
}

bool is_in_a_line(const Sign& sign, std::string_view text) {
  while (!text.empty()) {
    if (is_in(sign, runtime::take_line(&text))) return true;
  }
  return false;
}

}  // namespace

Failure::Reason reason_of(std::string_view message, std::string_view explanation,
                          std::string_view client_words) {
  std::string text(message);
  for (const std::string_view more : {explanation, client_words}) text.append("\n").append(more);
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
  for (const Sign& sign : kSigns) {
    if (is_in_a_line(sign, text)) return sign.reason;
  }
  return Reason::kOther;
}

}  // namespace fileref
