// Listings: what the client prints becomes records, wherever its output is cut.
#include "sup/src/yxsftp/listing.h"

#include "tests/module/module_host.h"

namespace fileref {
namespace {

const std::string kEcho = "sftp> ls \n";
const std::string kEnd = "sftp> ";

std::string times(int count, const std::string& text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

class Listings : public testing::Test {
 protected:
  // Opens a listing that is answered so. The names are left in `names`.
  rctype list(const std::string& options, Answer answer, const std::string& physical = "") {
    ptr file = nullptr;
    EXPECT_EQ(host_.assign("DIRREF", physical, "HOST='h' " + options), kSuccess);
    host_.client.script = {kEnd.c_str(), std::move(answer)};
    const rctype rc = host_.open(&file, "DIRREF", kOpenInput);
    attached_ = host_.attached();
    EXPECT_EQ(file == nullptr, rc != kSuccess);
    EXPECT_EQ(host_.fileref("DIRREF")->open, 0) << "a listing is not counted";
    names_ = rc == kSuccess ? host_.read_all(file) : "";
    EXPECT_EQ(host_.close(file), rc == kSuccess ? kSuccess : kNullPointer);
    EXPECT_EQ(host_.deassign("DIRREF"), kSuccess);
    EXPECT_EQ(host_.runtime.outstanding(), 0);
    host_.client.script.clear();
    host_.client.started = 0;
    return rc;
  }

  // The names in a text of which the first `whole` bytes come in one piece, for every way to cut
  // the rest once, and for one byte at a time.
  void expect_names_wherever_cut(const std::string& options, const std::string& text, size_t whole,
                                 const std::string& names) {
    for (size_t cut = whole; cut < text.size(); ++cut) {
      EXPECT_EQ(list(options, {text.substr(0, cut), text.substr(cut)}), kSuccess);
      EXPECT_EQ(names_, names) << options << ": " << text << " cut at " << cut;
    }
    Answer bytes{text.substr(0, whole)};
    for (size_t i = whole; i < text.size(); ++i) bytes.chunks.emplace_back(text.substr(i, 1));
    EXPECT_EQ(list(options, std::move(bytes)), kSuccess);
    EXPECT_EQ(names_, names) << options << ": " << text << " in single bytes";
  }

  ModuleHost host_;
  std::string names_, attached_;
};

TEST_F(Listings, AskForWhatIsWanted) {
  const struct {
    const char* options;
    const char* physical;
    const char* command;
  } cases[] = {{"LS", "", "ls \n"},
               {"LSA", "x", "ls -a \n"},
               {"LS LSFILE='a b*'", "x", "ls a b*\n"},
               {"LSA LSFILE='z'", "x", "ls z\n"},
               {"LS MGET LSFILE='z'", "*.csv", "ls *.csv\n"},
               {"LS MGET LSFILE='z'", "", "ls z\n"}};
  for (const auto& c : cases) {
    EXPECT_EQ(list(c.options, kEnd.c_str(), c.physical), kSuccess);
    EXPECT_EQ(host_.client.dialogue(), std::string("sftp   h\n") + c.command) << c.options;
  }
}

TEST_F(Listings, RefuseCommandsThatDoNotFit) {
  const std::string fits = times(4095 - 4, "x");
  EXPECT_EQ(list("LS MGET", kEnd.c_str(), fits), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\nls " + fits + "\n");
  EXPECT_EQ(list("LS MGET", kEnd.c_str(), fits + "x"), kFailed);
  EXPECT_EQ(attached_, message_text<message::RemoteNameFailed>(fits.c_str()));
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\n") << "nothing is sent";
}

TEST_F(Listings, InColumns) {
  const std::string dots = ".            ..           ";
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
      {"LS", {kEcho + "a unfinished"}, "a|"},
      {"LS", {kEcho + "a unfinished", Chunk(kEndOfOutput)}, "a|"},
      {"LS", {Chunk(kEndOfOutput)}, ""},
      {"LS", {kEcho + "a\n" + kEnd + "b\nc\n"}, "a|"},
      {"LS", {"one.file\n" + kEcho + "b\n" + kEnd}, "one.file|"},
      {"LS", {kEcho + ".x a .y\n" + kEnd}, "a|"},
      {"LSA", {kEcho + ".x a .y\n" + kEnd}, ".x|a|.y|"},
      {"LSA", {dots + "\n.x\na\n" + kEnd}, ".x|a|"},
      {"LSA", {dots + ".x a\n" + kEnd}, ".x|a|"},
      {"LSA", {".\n..\na\n" + kEnd}, "a|"},
      {"LS", {"x..yz\n" + kEnd}, "z|"},
      {"LS", {kEcho + "x..", "yz\n" + kEnd}, "yz|"},
      {"LS", {kEcho + "ends.\nx..yz\n" + kEnd}, "ends.|x..yz|"},
      {"LS", {kEcho + "a\n", "x..yz\n" + kEnd}, "a|x..yz|"},
      {"LS", {kEcho + "Invalid flag\n" + kEnd}, "Invalid|flag|"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(list(c.options, c.answer), kSuccess) << attached_;
    EXPECT_EQ(names_, c.names) << c.options << ": " << c.answer.chunks.front().text;
  }
}

TEST_F(Listings, OfOneNameALine) {
  const std::string head = kEcho + "drwx 2 u .\ndrwx 9 u ..\n";
  const struct {
    const char* options;
    Answer answer;
    const char* names;
  } cases[] = {
      {"LSA", {head + "-rw a\n-rw .b\n" + kEnd}, "a|.b|"},
      {"LS", {head + "-rw a\n-rw .b\n-rw c\n" + kEnd}, "a|c|"},
      {"LS", {head + "-rw .b\n-rw .c\n" + kEnd}, ""},
      {"LS", {head + "-rw .b"}, ""},
      {"LS", {head + "-rw .b", "c\n-rw d\n" + kEnd}, "d|"},
      {"LSA", {head + "-rw two words\n\n\r\n -rw c\n" + kEnd}, "words|c|"},
      {"LSA", {head + "-rw empty \n" + kEnd}, ""},
      {"LSA", {"dr .\n-rw first\n" + kEnd}, "first|"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(list(c.options, c.answer), kSuccess) << attached_;
    EXPECT_EQ(names_, c.names) << c.options << ": " << c.answer.chunks.front().text;
  }
}

TEST_F(Listings, MayBeCutAnywhere) {
  const std::string columns = "alpha  .beta  g.d\nepsilon   ..zeta\n\n  eta\r\n";
  const std::string all = kEcho + ".   ..   " + columns + kEnd;
  expect_names_wherever_cut("LS", kEcho + ".   .. " + columns + kEnd, kEcho.size(),
                            "alpha|g.d|epsilon|eta\r|");
  expect_names_wherever_cut("LSA", all, kEcho.size(), "alpha|.beta|g.d|epsilon|..zeta|eta\r|");
  const std::string head = kEcho + "drwx 2 u .\n";
  const std::string lines =
      head + "drwx 9 u ..\n-rw 1 u a.b\n-rw 1 u .c\n-rw 1 u .c.d\n-rw 1 u e\n-rw 1 u .f\n" + kEnd;
  expect_names_wherever_cut("LSA", lines, head.size(), "a.b|.c|.c.d|e|.f|");
  expect_names_wherever_cut("LS", lines, head.size(), "a.b|e|");
}

TEST_F(Listings, SkipWhatIsTooLongAsAWhole) {
  const std::string longest = times(512, "n");
  const std::string head = kEcho + "d .\nd ..\n";
  for (const int length : {512, 513, 1023, 1024, 1025, 5000, 12300, 20000}) {
    const std::string name = times(length, "n");
    const std::string kept = length == 512 ? name + "|" : "";
    for (const size_t cut : {1u, 511u, 512u, 513u, 1022u, 1023u, 1024u, 4000u}) {
      if (cut >= name.size()) break;
      const std::string end = name.substr(cut) + " c\n" + kEnd;
      EXPECT_EQ(list("LS", {kEcho + "b " + name.substr(0, cut), end}), kSuccess);
      EXPECT_EQ(names_, "b|" + kept + "c|") << length << " cut at " << cut;
      const std::string line_end = name.substr(cut) + "\n-rw c\n" + kEnd;
      EXPECT_EQ(list("LSA", {head + "-rw b\n-rw " + name.substr(0, cut), line_end}), kSuccess);
      EXPECT_EQ(names_, "b|" + kept + "c|") << length << " cut at " << cut;
    }
  }
  for (const size_t length : {1023u, 1024u}) {
    const std::string line = "-rw " + times(static_cast<int>(length) - 9, "x") + " name";
    EXPECT_EQ(list("LSA", {head + line, "\n-rw c\n" + kEnd}), kSuccess);
    EXPECT_EQ(names_, length == 1023 ? "name|c|" : "c|") << "a line of " << line.size();
  }
  // Hidden lines that do not fit into what is carried do not take the name behind them along.
  const std::string hidden = times(100, "-rw .hidden.file\n");
  EXPECT_EQ(list("LS", {head + "-rw a\n" + hidden + "-rw " + longest, "\n-rw b\n" + kEnd}),
            kSuccess);
  EXPECT_EQ(names_, "a|" + longest + "|b|");
}

TEST_F(Listings, FallBackWhenTheClientCannotListAll) {
  ptr file = nullptr;
  host_.assign("DIRREF", "", "HOST='h' LSA");
  host_.client.script = {
      kEnd.c_str(), {"sftp> ls -a \nInvalid flag -a\n", kEnd}, {kEcho + "a Invalid flag\n" + kEnd}};
  EXPECT_EQ(host_.open(&file, "DIRREF", kOpenInput), kSuccess);
  EXPECT_EQ(host_.client.dialogue(), "sftp   h\nls -a \nls \n");
  EXPECT_EQ(host_.read_all(file), "a|Invalid|flag|");
  host_.close(file);
  host_.client.script = {"Invalid flag -a\n", kRefused};
  EXPECT_EQ(host_.open(&file, "DIRREF", kOpenInput), kFailed);
  EXPECT_EQ(host_.attached(), message_text<message::RemoteNameFailed>("ls "));
  EXPECT_EQ(host_.logged(), "note: ls |");
  host_.deassign("DIRREF");
}

TEST_F(Listings, ReportWhatFails) {
  const std::string missing = "Can't ls: no such file or directory\n" + kEnd;
  const auto failed = [](const char* name) {
    return message_text<message::RemoteNameFailed>(name);
  };
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
      {"LS", Chunk(kProcessFailed), failed("ls "), ""},
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
  for (const int lines : {5799, 5801}) {
    Answer answer{kEcho};
    for (int i = 0; i < lines; ++i) answer.chunks.emplace_back("012345678\n");
    answer.chunks.emplace_back(kNoAnswerInTime);
    host_.pauses.clear();
    EXPECT_EQ(list("LS WAIT_MILLISECONDS=7", std::move(answer)), kSuccess);
    EXPECT_EQ(names_, times(lines, "012345678|"));
    EXPECT_EQ(host_.pauses, std::vector<long>(static_cast<size_t>(lines) + 3, 7));
    const auto warning = "warning: " + message_text<message::ListingMayBeCut>() + "|";
    EXPECT_EQ(host_.logged(), lines == 5801 ? warning : "");
  }
}

TEST_F(Listings, AreLoggedOnDemand) {
  EXPECT_EQ(list("LS DEBUG", {kEcho + "a .b", "c d\n" + kEnd}), kSuccess);
  EXPECT_EQ(host_.logged(), "note: sftp> |note: a .b|note: a|note: .bc d\\x0asftp> |note: d|");
}

}  // namespace
}  // namespace fileref
