// Listings: what the client prints becomes records, wherever its output is cut.
#include "sup/src/yxsftp/listing.h"

#include "sup/src/yxsftp/entries.h"
#include "tests/module/module_host.h"

namespace fileref {
namespace {

const std::string kEcho = "sftp> ls \n";
const std::string kEnd = "sftp> ";
constexpr auto* failed = message_text<message::RemoteNameFailed>;

std::string times(size_t count, const std::string& text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

class Listings : public testing::Test {
 protected:
  // Opens a listing that is answered so, and reads its names. Nothing of it stays.
  rctype list(const std::string& options, Answer answer, const std::string& physical = "") {
    ptr file = nullptr;
    EXPECT_EQ(host_.assign("L", physical, "HOST='h' " + options), kSuccess);
    host_.client.script = {kEnd.c_str(), std::move(answer)};
    const rctype rc = host_.open(&file, "L", kOpenInput);
    attached_ = host_.attached();
    EXPECT_EQ(host_.fileref("L")->open, 0) << "a listing is not counted";
    names_ = rc == kSuccess ? host_.read_all(file) : "";
    EXPECT_EQ(host_.close(file), rc == kSuccess ? kSuccess : kNullPointer);
    EXPECT_EQ(host_.deassign("L"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
    host_.client.script.clear();
    host_.client.started = 0;
    return rc;
  }
  void expect_names(const std::string& options, const Answer& answer, const std::string& names) {
    EXPECT_EQ(list(options, answer), kSuccess) << attached_;
    EXPECT_EQ(names_, names) << options << ": " << answer.chunks.front().text;
  }
  // Cuts the text behind its first `whole` bytes once, everywhere, and then between all bytes.
  void expect_names_wherever_cut(const std::string& options, const std::string& text, size_t whole,
                                 const std::string& names) {
    Answer bytes{text.substr(0, whole)};
    for (size_t cut = whole; cut < text.size(); ++cut) {
      expect_names(options, {text.substr(0, cut), text.substr(cut)}, names);
      bytes.chunks.emplace_back(text.substr(cut, 1));
    }
    expect_names(options, bytes, names);
  }

  ModuleHost host_;
  std::string names_, attached_;
};

TEST_F(Listings, AskForWhatIsWanted) {
  const std::string fits = times(4095 - 4, "x");
  const struct {
    const char* options;
    std::string physical;
    std::string command;
  } cases[] = {{"LS", "", "ls \n"},
               {"LSA", "x", "ls -a \n"},
               {"LS LSFILE='a b*'", "x", "ls a b*\n"},
               {"LSA LSFILE='z'", "x", "ls z\n"},
               {"LS MGET LSFILE='z'", "*.csv", "ls *.csv\n"},
               {"LS MGET LSFILE='z'", "", "ls z\n"},
               {"LS MGET", fits, "ls " + fits + "\n"},
               {"LS MGET", fits + "x", ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(list(c.options, kEnd.c_str(), c.physical), c.command.empty() ? kFailed : kSuccess);
    EXPECT_EQ(host_.client.dialogue(), "sftp   h\n" + c.command) << c.options;
    EXPECT_EQ(attached_, c.command.empty() ? failed(fits.c_str()) + kTooLong : "");
  }
}

TEST_F(Listings, BecomeNames) {
  const std::string dots = ".            ..           ";
  const std::string head = kEcho + "drwx 2 u .\ndrwx 9 u ..\n";
  const struct {
    const char* options;
    Answer answer;
    const char* names;
  } cases[] = {
      {"LS", {kEcho + kEnd}, ""},
      {"LS", {kEcho}, ""},
      {"LS", {kEnd}, ""},
      {"LS", {kEnd, "a b\n" + kEnd}, "a|b|"},
      {"LS", {"abc\n" + kEcho + "a\n" + kEnd}, "a|"},
      {"LS", {"\n" + kEnd}, ""},
      {"LS", {kEcho, "", kEnd}, ""},
      {"LS", {kEcho + "a\n" + kEnd}, "a|"},
      {"LS", {kEcho + "a\nsftp>"}, "a|"},
      {"LS", {"a\n" + kEnd}, "a|"},
      {"LS", {"a   b  \nc  \nsftp > "}, "a|b|c|"},
      {"LS", {"the line of an echo\na b\n", "c\n" + kEnd}, "a|b|c|"},
      {"LS", {"report_20", "24.csv   next.txt\n" + kEnd}, "report_2024.csv|next.txt|"},
      {"LS", {kEcho + "a\n", "   \n", "  b\n" + kEnd}, "a|b|"},
      {"LS", {kEcho + "a\r\n\r\nb\n" + kEnd}, "a\r|b|"},
      {"LS", {kEcho + "a unfinished", Chunk(kEndOfOutput)}, "a|"},
      {"LS", {Chunk(kEndOfOutput)}, ""},
      {"LS", {kEcho + "a\n" + kEnd + "b\nc\n"}, "a|"},
      {"LS", {"one.file\n" + kEcho + "b\n" + kEnd}, "one.file|"},
      {"LS", {kEcho + ".x a .y\n" + kEnd}, "a|"},
      {"LSA", {kEcho + ".x a .y\n" + kEnd}, ".x|a|.y|"},
      {"LSA", {dots + "\n.x\na\n" + kEnd}, ".x|a|"},
      {"LSA", {".\n..\na\n" + kEnd}, "a|"},
      {"LS", {"x..yz\n" + kEnd}, "z|"},
      {"LS", {kEcho + "x..", "yz\n" + kEnd}, "yz|"},
      {"LS", {kEcho + "ends.\nx..yz\n" + kEnd}, "ends.|x..yz|"},
      {"LS", {kEcho + "a\n", "x..yz\n" + kEnd}, "a|x..yz|"},
      {"LS", {kEcho + "Invalid flag\n" + kEnd}, "Invalid|flag|"},
      {"LSA", {kEcho, "Invalid flag -a\n", kEnd}, "asked.again|"},
      // Each name at the end of a line of its own.
      {"LSA", {head + "-rw a\n-rw .b\n" + kEnd}, "a|.b|"},
      {"LS", {head + "-rw a\n-rw .b\n-rw c\n" + kEnd}, "a|c|"},
      {"LS", {head + "-rw .b\n-rw .c\n" + kEnd}, ""},
      {"LS", {head + "-rw .b"}, ""},
      {"LS", {head + "-rw .b", "c\n-rw d\n" + kEnd}, "d|"},
      {"LSA", {head + "-rw two words\n\n\r\n -rw c\n-rw \n" + kEnd}, "words|c|"},
      {"LSA", {"dr .\n-rw first\n" + kEnd}, "first|"},
  };
  host_.client.files["asked.again"] = "";
  for (const auto& c : cases) expect_names(c.options, c.answer, c.names);
}

TEST_F(Listings, MayBeCutAnywhere) {
  const std::string columns = "alpha  .beta  g.d\nepsilon   ..zeta\n\n  eta\r\n" + kEnd;
  expect_names_wherever_cut("LS", kEcho + ".   .. " + columns, kEcho.size(),
                            "alpha|g.d|epsilon|eta\r|");
  expect_names_wherever_cut("LSA", kEcho + ".   ..   " + columns, kEcho.size(),
                            "alpha|.beta|g.d|epsilon|..zeta|eta\r|");
  const std::string head = kEcho + "drwx 2 u .\n";
  const std::string lines =
      head + "drwx 9 u ..\n-rw 1 u a.b\n-rw 1 u .c\n-rw 1 u .c.d\n-rw 1 u e\n-rw 1 u .f\n" + kEnd;
  expect_names_wherever_cut("LSA", lines, head.size(), "a.b|.c|.c.d|e|.f|");
  expect_names_wherever_cut("LS", lines, head.size(), "a.b|e|");
}

TEST_F(Listings, SkipWhatIsTooLongAsAWhole) {
  const std::string head = kEcho + "d .\nd ..\n";
  for (const size_t length : {512, 513, 1023, 1024, 1025, 5000, 12300, 20000}) {
    const std::string name = times(length, "n");
    const std::string names = length == 512 ? "b|" + name + "|c|" : "b|c|";
    for (const size_t cut : {1u, 511u, 512u, 513u, 1022u, 1023u, 1024u, 4000u}) {
      if (cut >= length) break;
      const std::string start = name.substr(0, cut), end = name.substr(cut);
      expect_names("LS", {kEcho + "b " + start, end + " c\n" + kEnd}, names);
      expect_names("LSA", {head + "-rw b\n-rw " + start, end + "\n-rw c\n" + kEnd}, names);
    }
  }
  for (const size_t length : {1023u, 1024u}) {
    expect_names("LSA", {head + "-rw " + times(length - 9, "x") + " name", "\n-rw c\n" + kEnd},
                 length == 1023 ? "name|c|" : "c|");
  }
  // Hidden lines that do not fit into what is carried do not take the name behind them along.
  const std::string longest = times(512, "n"), hidden = times(100, "-rw .hidden.file\n");
  expect_names("LS", {head + "-rw a\n" + hidden + "-rw " + longest, "\n-rw b\n" + kEnd},
               "a|" + longest + "|b|");
}

TEST_F(Listings, ReportWhatFails) {
  const std::string missing = "Can't ls: no such file or directory\n" + kEnd;
  const auto late = message_text<message::NoAnswerInTime>();
  const auto pattern = "note: " + message_text<message::PatternListed>("*.x") + "|";
  const auto nothing = "error: " + message_text<message::NothingListed>() + "|";
  const struct {
    const char* options;
    Answer answer;
    std::string attached;
    std::string logged;
  } cases[] = {
      {"LS", kRefused, failed("ls "), "note: ls |"},
      {"LSA", kRefused, failed("ls -a "), "note: ls -a |"},
      {"LS", Chunk(kNoAnswerInTime), late, ""},
      {"LS", {"", Chunk(kNoAnswerInTime)}, late, ""},
      {"LS", {kEcho + "a\n", Chunk(kProcessFailed)}, failed("ls "), ""},
      {"LS DEBUG", Chunk(kProcessFailed, "words"), failed("ls "), "note: sftp> |note: words|"},
      {"LS", Chunk(kLaunchNotice), failed("ls "), ""},
      {"LS", {missing}, failed("x"), ""},
      {"LS", {"couldn't canonicalise\n" + kEnd}, failed("x"), ""},
      {"LS LSFILE='y'", {missing}, failed("y"), ""},
      {"LS LSFILE='*.x'", {missing}, failed("*.x"), pattern},
      {"LS MGET", {missing}, failed("ls x"), nothing},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(list(c.options, c.answer, "x"), kFailed) << c.options;
    EXPECT_EQ(attached_, c.attached) << c.options;
    EXPECT_EQ(host_.logged(), c.logged) << c.options;
  }
}

TEST_F(Listings, EndInSilence) {
  for (const size_t lines : {5799, 5801}) {
    Answer answer{kEcho};
    answer.chunks.insert(answer.chunks.end(), lines, "012345678\n");
    answer.chunks.emplace_back(kNoAnswerInTime);
    host_.pauses.clear();
    expect_names("LS WAIT_MILLISECONDS=7", answer, times(lines, "012345678|"));
    EXPECT_EQ(host_.pauses, std::vector<long>(lines + 3, 7));
    const auto warning = "warning: " + message_text<message::ListingMayBeCut>() + "|";
    EXPECT_EQ(host_.logged(), lines == 5801 ? warning : "") << "58000 bytes are many";
  }
}

TEST_F(Listings, AreLoggedOnDemand) {
  EXPECT_EQ(list("LS DEBUG", {kEcho + "a .b", "c d\n" + kEnd}), kSuccess);
  EXPECT_EQ(host_.logged(), "note: sftp> |note: a .b|note: a|note: .bc d\\x0asftp> |note: d|");
}

// A fileref that is gone takes nothing along that a listing needs.
TEST_F(Listings, StayReadable) {
  ptr file = nullptr, start = nullptr;
  long length = 0;
  host_.assign("L", "", "HOST='h' LSA RECFM=S NONBYTE");
  host_.client.files = {{"a", ""}, {"b", ""}};
  EXPECT_EQ(host_.open(&file, "L", kOpenInput), kSuccess);
  EXPECT_EQ(yxsrds(file, &start, &length, nullptr), kSuccess);
  EXPECT_EQ(std::string(static_cast<char*>(start), size_t(length)), "a");
  EXPECT_EQ(host_.write(file, "x"), kFailed);
  EXPECT_EQ(host_.deassign("L"), kSuccess);
  EXPECT_EQ(host_.client.alive, 0);
  EXPECT_EQ(host_.read_all(file) + host_.read_all(file), "b|");
  EXPECT_EQ(host_.close(file), kSuccess);
}

}  // namespace
}  // namespace fileref
