#include "cli/status_text.h"

#include <fmt/format.h>

#include <ctime>

namespace cli {
namespace {

using fileref::FileStatus;
using Kind = FileStatus::Kind;

constexpr struct {
  const char* word;
  char letter;
} kKinds[] = {{"unknown", '?'}, {"file", '-'}, {"directory", 'd'}, {"link", 'l'}, {"other", 'o'}};

// As strftime(3) has it, or nothing.
std::string formatted(const char* format, tm* (*convert)(const time_t*, tm*), std::time_t time) {
  char text[64];
  std::tm parts{};
  if (convert(&time, &parts) == nullptr) return {};
  return {text, std::strftime(text, sizeof text, format, &parts)};
}

}  // namespace

const char* word_for(Kind kind) {
  return kKinds[static_cast<int>(kind)].word;
}

std::string mode_in_letters(const FileStatus& status) {
  std::string letters(1, kKinds[static_cast<int>(status.kind)].letter);
  if (!status.mode) return letters + "?????????";
  for (int i = 8; i >= 0; --i) letters += (*status.mode >> i & 1) != 0 ? "xwr"[i % 3] : '-';
  const char* special[] = {"sS", "sS", "tT"};
  for (unsigned i = 0; i < 3; ++i) {
    char& execute = letters[3 * (i + 1)];
    if ((*status.mode & (04000U >> i)) != 0) execute = special[i][execute == 'x' ? 0 : 1];
  }
  return letters;
}

std::string local_time(const FileStatus& status) {
  if (!status.modified) return "?";
  return formatted("%Y-%m-%d %H:%M:%S", &localtime_r, *status.modified);
}

void put_status(Json& object, const FileStatus& status) {
  object["kind"] = word_for(status.kind);
  object["link"] = status.is_link ? Json(*status.is_link) : Json();
  object["size"] = status.size ? Json(*status.size) : Json();
  object["modified"] =
      status.modified ? Json(formatted("%Y-%m-%dT%H:%M:%SZ", &gmtime_r, *status.modified)) : Json();
  object["mode"] = status.mode ? Json(fmt::format("{:04o}", *status.mode)) : Json();
}

}  // namespace cli
