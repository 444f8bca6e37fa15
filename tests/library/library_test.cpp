// The library as a program uses it.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <ranges>
#include <span>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

TEST_F(Library, OneSessionServesManyOpens) {
  put("in", "a\nb\n");
  host_->assign("in", target("in"));
  EXPECT_EQ(read("IN"), "a|b|");
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 10; ++i) {
    put("in", std::to_string(i) + "\n");
    EXPECT_EQ(read("IN"), std::to_string(i) + "|");
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  const std::string attached = "Attached to";
  EXPECT_EQ(log_.find(attached), log_.rfind(attached)) << "one client was started";
}

// How many clients were started so far.
std::ptrdiff_t starts(const std::string& log) {
  return std::ranges::distance(log | std::views::split(std::string_view("[runs "))) - 1;
}

TEST_F(Library, AKeptConnectionServesOneSessionAfterAnother) {
  HostOptions keeping = options();
  keeping.keep_connection = true;
  host_ = std::make_unique<Host>(keeping);
  support::fs::create_directory(directory_ / "sub");
  put("in", "in the one\n");
  put("sub/in", "in the other\n");
  Target relative = target("");
  relative.path = "in";
  struct {
    Target target;
    std::vector<std::string> options;
    std::string read;  // empty: a failure
    std::ptrdiff_t starts;
  } const cases[] = {
      {target("in"), {}, "in the one|", 1},
      {target("sub/in"), {}, "in the other|", 1},
      {target("none/in"), {}, "", 1},
      {relative, {}, "", 1},
      {relative, {"CD='" + (directory_ / "sub").string() + "'"}, "in the other|", 1},
      {target(""), {"LS", "LSFILE=i*"}, "in|", 1},
      {target("in"), {"OPTIONS='-R 20'"}, "in the one|", 2},
      {target("sub/in"), {"RECFM=F LRECL=2"}, "in| t|he| o|th|er|\n |", 3},
  };
  for (const auto& [target, options, text, expected] : cases) {
    host_->assign("F", target, options);
    EXPECT_EQ(failure([&] { EXPECT_EQ(read("F"), text); }).code() != 0, text.empty());
    EXPECT_EQ(starts(log_), expected) << target.path;
  }
  for (const pid_t client : support::descendants_of(getpid())) kill(client, SIGKILL);
  host_->assign("F", target("sub/in"));
  EXPECT_EQ(read("F"), "in the other|") << "one that was lost is no reason to fail";
}

TEST_F(Library, AFileGoesOnWhenItsFilerefStandsForAnother) {
  for (const bool keeps : {false, true}) {
    HostOptions keeping = options();
    keeping.keep_connection = keeps;
    host_ = std::make_unique<Host>(keeping);
    put("large", lines(50'000'000, 99, 7));
    put("two", "2\n");
    host_->assign("F", target("large"));
    Input open = host_->open("F");
    host_->assign("F", target("two"));
    EXPECT_EQ(read("F"), "2|");
    std::size_t bytes = 0;
    for (const std::string_view record : open) bytes += record.size() + 1;
    EXPECT_EQ(bytes, support::fs::file_size(directory_ / "large"));
    open.close();
  }
}

TEST_F(Library, AFilerefIsReassignedAndDeassigned) {
  put("one", "1\n");
  put("two", "2\n");
  host_->assign("F", target("one"));
  Input open = host_->open("F");
  EXPECT_EQ(static_cast<unsigned>(failure([&] { host_->deassign("F"); }).code()), 0x80001024);
  host_->assign("F", target("two"));
  EXPECT_EQ(read("F"), "2|");
  std::string_view record;
  EXPECT_TRUE(open.next(record));
  EXPECT_EQ(record, "1") << "the older file keeps what it was opened on";
  open.close();
  host_->deassign("F");
  const Failure gone = failure([&] { (void)host_->open("F"); });
  EXPECT_EQ(static_cast<unsigned>(gone.code()), 0x80001004);
  EXPECT_EQ(gone.substitutions(), std::vector<std::string>{"F"});
}

TEST_F(Library, AFailedAssignmentLeavesTheOldOne) {
  put("one", "1\n");
  host_->assign("F", target("one"));
  const Failure wrong = failure([&] {
    host_->assign("F", target("two"), {"LRECL=80", "NEW RECFM=X"});
  });
  EXPECT_EQ(wrong.option_place().text, "NEW RECFM=X");
  EXPECT_EQ(wrong.option_place().offset, 10u);
  EXPECT_EQ(read("F"), "1|");
  for (const char* name : {"", "too long a name", "a b"}) {
    EXPECT_NE(failure([&] { host_->assign(name, target("one")); }).code(), 0) << name;
  }
}

// Which directory is meant, and which is made, is never a matter of chance.
TEST_F(Library, OptionsThatNameADirectoryFitTheTarget) {
  Target names = target("");
  names.names = {"f"};
  Target only_names;
  only_names.names = {"f"};
  const struct {
    Target where;
    std::vector<std::string> options;
    const char* marked;  // what the failure points at; empty: nothing fails
  } cases[] = {
      {target("d/f"), {"CD='/'"}, "CD"},
      {target("f"), {"LRECL=80 cd = '/' "}, "cd"},
      {Target::parse("local:/f"), {"CD='/'"}, "CD"},
      {Target::parse("local:f"), {"CD='/' DIR"}, "CD"},
      {Target::parse("local:f"), {"CD='/'"}, ""},
      {Target::parse("local:f"), {"OPTIONS='CD=x'", "USER=CD"}, ""},
      {names, {"CD='/'"}, "CD"},
      {only_names, {"CD='/'"}, ""},
      {Target::parse("local:"), {"BATCHFILE='b' CD='/'"}, "CD"},
      {target("d/f"), {"NEW"}, ""},
      {target("d/f"), {"DIR NEW"}, ""},
      {target("d/*"), {"MGET NEW"}, "NEW"},
      {target("d/"), {"NEW"}, "NEW"},
      {target("d/"), {"LSA", "NEW"}, "NEW"},
      {names, {"NEW"}, "NEW"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.options) + " for " + c.where.path);
    const Failure refused = failure([&] { host_->assign("F", c.where, c.options); });
    const Failure::OptionPlace& place = refused.option_place();
    EXPECT_EQ(place.text.substr(place.offset, place.length), c.marked) << refused.message();
    EXPECT_EQ(refused.code() == 0, *c.marked == '\0') << refused.message();
  }
  host_->assign("F", target("d/f"), {"NEW"});
  EXPECT_FALSE(failure([&] { (void)host_->open("F", {"MGET"}); }).option_place().text.empty());
  EXPECT_FALSE(failure([&] { (void)host_->open("F", {"CD='/'"}); }).option_place().text.empty());
  EXPECT_FALSE(support::fs::exists(directory_ / "d"));
  host_->create("F").close();
  EXPECT_EQ(host_->find("F"), "f");
  put("d/F", "2");
  put("d/.h", "3");
  EXPECT_EQ(host_->find("F"), "f");
  support::fs::create_directory(directory_ / "d/g");
  host_->assign("F", target("d/g"), {"NEW"});
  EXPECT_NE(failure([&] { host_->create("F").close(); }).explanation().find("unsent/g."),
            std::string::npos);
  host_->assign("F", target("d"), {"DIR"});
  EXPECT_NE(failure([&] { host_->open_directory("F").create("g").close(); })
                .explanation()
                .find("unsent/g."),
            std::string::npos);
  host_->assign("F", target("d/.H"), {"NEW"});
  EXPECT_EQ(host_->find("F"), ".h");
  host_->assign("F", target("d"), {"DIR"});
  EXPECT_NE(failure([&] { host_->exists("F"); }).code(), 0);
  EXPECT_NE(failure([&] { host_->find("G"); }).message().find("\"G\" is not assigned"),
            std::string::npos);
}

TEST_F(Library, WritesAreSentByCloseOnly) {
  host_->assign("OUT", target("out"));
  {
    Output forgotten = host_->create("OUT");
    forgotten.write("x");
  }
  EXPECT_FALSE(support::fs::exists(directory_ / "out"));
  EXPECT_NE(log_.find("nothing was sent"), std::string::npos);
  Output abandoned = host_->create("OUT");
  abandoned.write("x");
  abandoned.abandon();
  EXPECT_FALSE(support::fs::exists(directory_ / "out"));
  Output out = host_->create("OUT", {"LRECL=3"});
  EXPECT_EQ(out.record_length(), 3);
  out.write("abc");
  const Failure refused = failure([&] { out.write("abcd"); });
  EXPECT_NE(refused.message().find("Record 2 is longer"), std::string::npos) << refused.message();
  EXPECT_NE(failure([&] { out.write("\n"); }).code(), 0);
  out.write("");
  out.write_last("z");
  out.close();
  EXPECT_EQ(get("out"), "abc\n\nz");
  EXPECT_NE(failure([&] { out.write("late"); }).code(), 0);
}

// One call for many lines is as many for one.
TEST_F(Library, WritesLinesTogetherAsItWouldSingly) {
  const std::string many = fileref::lines(1'000'000, 70, 10);
  const struct {
    std::vector<std::string> options;
    std::string lines, written;
    const char* refusal = "";
  } rows[] = {
      {{"LRECL=80"}, many, many},
      {{"LRECL=80"}, "\n\nlast", "\n\nlast\n"},
      {{"LRECL=80"}, "a\n" + many + std::string(81, 'x') + "\nb\n", "a\n" + many, "Record 1"},
      {{"LRECL=3"}, "abcd\n", "", "Record 1"},
      {{"LRECL=3", "RECFM=F"}, "a\nbcd\n", "a  bcd"},
      {{"LRECL=3", "RECFM=F"}, "a\nabcd\n", "a  ", "Record 2"},
      {{"RECFM=S"}, "a\nbcd\n", "abcd"},
      {{"ENCODING='UTF-16LE'"}, "a\nb\n", std::string("a\0\n\0b\0\n\0", 8)}};
  host_->assign("OUT", target("out"));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options.front() + " " + row.lines.substr(0, 10));
    Output out = host_->create("OUT", row.options);
    const Failure refused = failure([&] { out.write_lines(row.lines); });
    EXPECT_NE(refused.message().find(row.refusal), std::string::npos) << refused.message();
    EXPECT_EQ(refused.code() == 0, *row.refusal == '\0') << refused.message();
    out.close();
    EXPECT_TRUE(get("out") == row.written) << get("out").substr(0, 100);
    EXPECT_NE(failure([&] { out.write_lines("late\n"); }).code(), 0);
  }
}

TEST_F(Library, AFailedUploadKeepsTheDataAndTheFilerefUsable) {
  support::fs::create_directory(directory_ / "folder");
  host_->assign("OUT", target("folder"));
  Output out = host_->create("OUT");
  out.write("precious");
  const Failure failed = failure([&] { out.close(); });
  EXPECT_EQ(static_cast<unsigned>(failed.code()), 0x80000805);
  const auto kept = support::fs::directory_iterator(directory_ / "unsent")->path();
  EXPECT_EQ(support::read_file(kept), "precious\n");
  EXPECT_NE(failed.explanation().find(kept.string()), std::string::npos) << failed.explanation();
  EXPECT_TRUE(support::fs::is_empty(directory_ / "folder"));
  host_->deassign("OUT");
}

// Data that not even a command could be sent for.
TEST_F(Library, AFailedCloseKeepsTheData) {
  host_->assign("OUT", target(std::string(4060 - directory_.path().string().size(), 'x')));
  Output output = host_->create("OUT");
  output.write("precious");
  const Failure failed = failure([&] { output.close(); });
  ASSERT_NE(failed.code(), 0);
  EXPECT_NE(failed.message().find("4095 bytes"), std::string::npos) << failed.message();
  const auto kept = support::fs::directory_iterator(directory_ / "unsent")->path();
  EXPECT_EQ(support::read_file(kept), "precious\n");
  EXPECT_EQ(failed.explanation(), "the data is kept in " + kept.string());
}

TEST_F(Library, NamesAreThemselvesOutside) {
  for (const std::string name : {"a b", "c\rd", "it's", "Sftp>x.T pe", "CANONICALISE", ".s\x1f",
                                 "m\x10\x31.\x1f\x10tension"}) {
    support::fs::create_directory(directory_ / "d");
    put("d/" + name, "1\n");
    host_->assign("F", target("d/" + name));
    EXPECT_TRUE(host_->exists("F")) << name;
    EXPECT_EQ(read("F"), "1|");
    EXPECT_EQ(host_->open("F").info().front().value, (directory_ / "d" / name).string());
    host_->assign("D", target("d"), {"DIR LSA"});
    Directory directory = host_->open_directory("D", {.split = true});
    Member member;
    ASSERT_TRUE(directory.next(member));
    const std::size_t dot = name.find('.', 1);
    EXPECT_EQ(member.name, name.substr(0, dot));
    EXPECT_EQ(member.type, dot == name.npos ? "" : name.substr(dot + 1, 8));
    directory.close();
    host_->assign("P", target("d"), {"DIR", option("LSFILE", "*" + name.substr(1))});
    EXPECT_EQ(name[0] == '.' ? name + "|" : read("P", {"LS"}), name + "|");
    support::fs::remove_all(directory_ / "d");
  }
}

TEST_F(Library, ANameHasItsCaseFromTheSession) {
  host_->assign("gr\xC3\xB6\xC3\x9F", target("f"));
  EXPECT_TRUE(host_->is_assigned("GR\xC3\x96\xC3\x9F"));
  put("f", "1\n");
  EXPECT_EQ(read("Gr\xC3\x96\xC3\x9F"), "1|");
  host_->deassign("gR\xC3\xB6\xC3\x9F");
}

TEST_F(Library, TellsWhatAnOptionTakes) {
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"LRECL=0", "1 to 2147483647", "0"},
      {"LRECL=9223372036854775807", "1 to 2147483647", "9223372036854775807"},
      {"WAIT_MILLISECONDS=-1", "from 0", "-1"},
      {"NEW RECFM=U", "V (lines)", "U"},
      {"ENCODING=none", "iconv -l", "none"},
      {"CD '/x'", "CD takes the name of a directory behind an equals sign.", "'/x'"},
      {"CD=", "missing", ""},
      {"USER='" + std::string(128, 'u') + "'", "127 bytes", nullptr},
      {"OPTIONS='" + std::string(40000, 'u') + "'", "too long", nullptr}};
  Target in_no_directory;
  in_no_directory.path = "f";
  for (const auto& [text, message, marked] : cases) {
    const Failure wrong = failure([&] { host_->assign("F", in_no_directory, {text}); });
    EXPECT_NE(wrong.message().find(message), std::string::npos) << wrong.message();
    const Failure::OptionPlace& place = wrong.option_place();
    EXPECT_EQ(place.text, text);
    EXPECT_EQ(place.text.substr(place.offset, place.length),
              marked != nullptr ? marked : text.substr(text.find('\'')));
  }
}

TEST_F(Library, StreamReadsAreMeasuredByAVariable) {
  put("in", "abcdefghij");
  host_->assign("IN", target("in"), {"RECFM=S LRECL=6"});
  EXPECT_EQ(static_cast<unsigned>(failure([&] { (void)host_->open("IN"); }).code()), 0x8000100F);
  EXPECT_EQ(read("IN", {"NONBYTE"}), "abcdef|ghij|");
  EXPECT_NE(failure([&] { (void)host_->open("IN", {"NBYTE=NOBODY"}); }).code(), 0);
  double& count = host_->variable("N");
  count = 3.9;
  Input in = host_->open("IN", {"NBYTE=N"});
  std::string_view record;
  EXPECT_TRUE(in.next(record));
  EXPECT_EQ(record, "abc");
  count = 0;
  EXPECT_TRUE(in.next(record));
  EXPECT_EQ(record, "defghi");
  for (const double wrong : {7.0, -1.0}) {
    count = wrong;
    EXPECT_NE(failure([&] { in.next(record); }).code(), 0);
  }
  count = 6;
  EXPECT_TRUE(in.next(record));
  EXPECT_EQ(record, "j");
  EXPECT_FALSE(in.next(record));
}

TEST_F(Library, StreamsOfSeveralFilesGoOn) {
  Target several = target("");
  several.names = {"a", "missing", "empty", "b", "directory", "c"};
  put("a", "abcdefgh");
  put("empty", "");
  put("b", "ij");
  put("c", "klmnop");
  support::fs::create_directory(directory_ / "directory");
  host_->assign("F", several, {"RECFM=S LRECL=5"});
  EXPECT_EQ(read("F", {"NONBYTE"}), "abcde|fgh|ij|klmno|p|");
  double& count = host_->variable("N");
  count = 3;
  EXPECT_EQ(read("F", {"NBYTE=N"}), "abc|def|gh|ij|klm|nop|");
}

TEST_F(Library, FilesThatWereSkippedAreNamed) {
  host_.reset();
  std::vector<std::string> warnings;
  HostOptions warning = options();
  warning.warn = [&](std::string_view text) { warnings.emplace_back(text); };
  host_ = std::make_unique<Host>(warning);
  put("a", "1\n");
  put("b", "2\n");
  Target several = target("");
  several.names = {"none", "a", "directory", "b", "last"};
  support::fs::create_directory(directory_ / "directory");
  host_->assign("F", several);
  std::vector<std::string> skipped;
  for (const bool copied : {false, true}) {
    SCOPED_TRACE(copied);
    warnings.clear();
    Input input = host_->open("F");
    ASSERT_EQ(input.skipped().size(), 1u);
    std::string_view record;
    while (!copied && input.next(record)) {
    }
    const int out = ::open((directory_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (copied) input.copy_to(out);
    ::close(out);
    EXPECT_EQ(input.skipped(), warnings);
    skipped = input.skipped();
    ASSERT_EQ(skipped.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_TRUE(skipped[i].starts_with("\"" + several.names[2 * i] + "\" ")) << skipped[i];
    }
  }
  EXPECT_EQ(get("out"), "1\n2\n");
  several.names = {"none", "nobody"};
  host_->assign("F", several);
  warnings.clear();
  const Failure none = failure([&] { (void)host_->open("F"); });
  EXPECT_NE(none.explanation().find("nobody"), std::string::npos) << none.explanation();
  EXPECT_EQ(warnings.size(), 1u);
}

TEST_F(Library, WhatIsAssignedToIsClosed) {
  put("in", "1\n");
  host_->assign("F", target("in"));
  host_->assign("O", target("out"));
  Input input = host_->open("F");
  input = host_->open("F");
  input.close();
  Output output = host_->create("O");
  output.write("given up");
  output = host_->create("O");
  output.abandon();
  for (const std::string name : {"F", "O"}) host_->deassign(name);
  EXPECT_FALSE(support::fs::exists(directory_ / "out"));
}

// Whatever is copied, and wherever that ends, is what record after record would have given.
TEST_F(Library, CopiesWhatItWouldRead) {
  constexpr std::size_t kWindow = 1024 * 1024;
  const std::string more = lines(500'000, 70, 0);
  std::string sparse = more;
  for (std::size_t at = 0; at < sparse.size(); at += 3) sparse[at] = "\n\0\r"[at % 9 / 3];
  struct Files {
    std::string name;
    std::vector<std::string> texts;
    std::vector<std::string> options;
  };
  std::vector<Files> cases = {
      {"short", {"a\n\nb"}, {}},
      {"empty lines, NUL and CR", {sparse + sparse + sparse + "open"}, {}},
      {"only empty lines", {std::string(3 * kWindow, '\n')}, {}},
      {"every line full", {lines(3 * kWindow, 64, 64)}, {"LRECL=64"}},
      {"one of them longer", {lines(3 * kWindow, 64, 65) + more}, {"LRECL=64"}},
      {"last one longer and open", {more + std::string(32768, 'x')}, {}},
      {"longer than a window", {more + lines(0, 1, 2 * kWindow) + more}, {"LRECL=2097152"}},
      {"stream", {sparse + sparse + sparse}, {"RECFM=S"}},
      {"fixed", {more + "x"}, {"RECFM=F LRECL=80"}},
      {"converted", {more + "\xFC\n"}, {"ENCODING='ISO-8859-1'"}},
      {"several", {more, "", "a", more + "open", more}, {}},
      {"several, last one open", {"a", "b\n", more + "open", ""}, {}},
      {"streams", {sparse, "", "a", sparse + sparse}, {"RECFM=S"}},
      {"several, one too long", {more, more + lines(70'000, 70, 32768) + more, more}, {}},
  };
  for (const std::size_t length : {32766, 32767, 32768}) {
    for (const std::size_t before : {0, 1, 2, 32767, 32768, 32769}) {
      cases.push_back({std::to_string(length) + " bytes, " + std::to_string(before) + " before",
                       {"x\n" + lines(kWindow - before, 70, length) + more},
                       {}});
    }
  }
  for (const Files& files : cases) {
    SCOPED_TRACE(files.name);
    Target these = target("");
    for (const std::string& text : files.texts) {
      these.names.push_back("f" + std::to_string(these.names.size()));
      put(these.names.back(), text);
    }
    host_->assign("F", files.texts.size() > 1 ? these : target("f0"), files.options);
    std::string wanted;
    bool open = false;  // the line before: records never run together
    const Failure read = failure([&] {
      Input input = host_->open("F");
      for (const std::string_view record : input) {
        if (open) wanted += '\n';
        open = !input.line_ended();
        wanted.append(record).append(input.is_stream() || open ? "" : "\n");
      }
    });
    for (const int appending : {0, O_APPEND}) {
      const int out =
          ::open((directory_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | appending, 0600);
      const Failure copy = failure([&] { host_->open("F").copy_to(out); });
      ::close(out);
      EXPECT_TRUE(get("out") == wanted);
      EXPECT_EQ(copy.message(), read.message());
    }
  }
  const int full = ::open("/dev/full", O_WRONLY);
  put("f0", more);
  host_->assign("F", target("f0"));
  EXPECT_THROW(host_->open("F").copy_to(full), SystemError);
  ::close(full);
}

// Whatever stands in them, HOST, USER, PATH and BATCHFILE are one word of the client's command
// line, or refused before anything runs.
TEST_F(Library, NoValueBecomesAnotherWordOrAnOption) {
  put("sftp", "#!/bin/sh\nprintf '<%s>' \"$@\" >> " + (directory_ / "words").string());
  support::fs::permissions(directory_ / "sftp", support::fs::perms::all);
  put("-batch's file", "");
  const std::string program = option("PATH", (directory_ / "sftp").string());
  const std::string batch = (directory_ / "-batch's file").string();
  const struct {
    std::string keyword, value, last_words;  // none: refused
  } cases[] = {
      {"HOST", "-oProxyCommand=x b", ""},
      {"HOST", "-oProxyCommand=x", ""},
      {"HOST", "b c", ""},
      {"HOST", "b\tc", ""},
      {"HOST", "b\nc", ""},
      {"HOST", "h:/etc/passwd", ""},
      {"HOST", "u@h", ""},
      {"HOST", "@h", ""},
      {"HOST", "h/x", ""},
      {"HOST", "sftp://h", ""},
      {"HOST", "evil:x]", ""},
      {"HOST", "[::1]:x", ""},
      {"HOST", "[]", ""},
      {"HOST", "[-oProxyCommand=x]", ""},
      {"HOST", "'h'", ""},
      {"HOST", "\"h", ""},
      {"HOST", "h\\", ""},
      {"HOST", "$(x)", ""},
      {"HOST", "`x`", ""},
      {"HOST", "h;x", ""},
      {"HOST", "h\x7f", ""},
      {"HOST", "[fe80::1%eth0]", "<u@[fe80::1%eth0]>"},
      {"HOST", "srv-1.example.com", "<u@srv-1.example.com>"},
      {"USER", "-oProxyCommand=x", ""},
      {"USER", "u -oProxyCommand=x", ""},
      {"USER", "h:x", ""},
      {"USER", "do\\main", ""},
      {"USER", "u|x", ""},
      {"USER", "u'", ""},
      {"USER", "u\x01", ""},
      {"USER", "u@realm", "<u@realm@h>"},
      {"USER", "pc$", "<pc$@h>"},
      {"PATH", "/bin/sh -c", ""},
      {"PATH", "sftp\n-v", ""},
      {"BATCHFILE", "x\" -oProxyCommand=x \"y", ""},
      {"BATCHFILE", "x\\", ""},
      {"BATCHFILE", "x\ny", ""},
      {"BATCHFILE", "-", ""},
      {"BATCHFILE", "no such file", ""},
      {"BATCHFILE", batch, "<-b><" + batch + "><u@h>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keyword + "=" + c.value);
    const bool is_login = c.keyword == "HOST" || c.keyword == "USER";
    const std::string given = option(c.keyword, c.value);
    Target plain, by_hand;
    plain.host = by_hand.host = "h";
    plain.user = by_hand.user = "u";
    if (is_login) (c.keyword == "HOST" ? by_hand.host : by_hand.user) = c.value;
    const auto run = [&](const Target& target, const std::vector<std::string>& assigned,
                         const std::vector<std::string>& opened) {
      host_->assign("X", target, assigned);
      host_->open("X", opened).close();
    };
    const std::function<void()> ways[] = {
        [&] {
          run(plain, {program, given}, {});
        },
        [&] { run(plain, {program}, {given}); },
        [&] { run(by_hand, {program}, {}); },
    };
    for (const auto& way : std::span(ways).first(is_login ? 3 : 1)) {
      EXPECT_THROW(way(), Error);
      const std::string words = get("words");
      EXPECT_TRUE(c.last_words.empty() ? words.empty() : words.ends_with(c.last_words)) << words;
      EXPECT_EQ(words.find("ProxyCommand"), std::string::npos);
      support::fs::remove(directory_ / "words");
    }
  }
}

// What is looked at is what the fileref stands for now, while its files are read as before.
TEST_F(Library, StatusIsThatOfWhatAFilerefStandsFor) {
  put("large", std::string(40 << 20, 'x') + "\n");
  put("small", "12\n");
  const std::string long_lines = "LRECL=50000000";
  host_->assign("A", target("large"), {long_lines});
  std::string_view record;
  Input large = host_->open("A");
  EXPECT_EQ(host_->stat("A")->size, (40U << 20) + 1) << "while its records come";
  EXPECT_TRUE(large.next(record));
  EXPECT_EQ(record.size(), 40U << 20);
  Input listed = [&] {
    host_->assign("L", Target::parse("local:" + directory_.path().string() + "/"), {"LS"});
    return host_->open("L", {option("LSFILE", "*e")});
  }();
  EXPECT_THROW((void)listed.status(), UsageError) << "no name was read";
  EXPECT_TRUE(listed.next(record));
  EXPECT_EQ(record, "large");
  EXPECT_EQ(listed.status().size, (40U << 20) + 1);
  EXPECT_EQ(failure([&] { host_->stat("L"); }).code(), static_cast<int>(0x8000100F));
  host_->assign("L", target("small"));
  EXPECT_EQ(host_->stat("L")->size, 3U);
  EXPECT_EQ(host_->stat("L")->kind, FileStatus::Kind::kFile);
  host_->assign("L", target("none"));
  EXPECT_FALSE(host_->stat("L"));
  EXPECT_EQ(host_->info("L").front().value, (directory_ / "none").string());
  host_->assign("L", Target::parse("local:" + directory_.path().string()), {"DIR"});
  EXPECT_EQ(host_->stat("L")->kind, FileStatus::Kind::kDirectory);
  EXPECT_NE(failure([&] { host_->stat("X"); }).code(), 0);
  large.close();
  EXPECT_THROW((void)host_->open("A").status(), UsageError) << "records are no names";
}

TEST_F(Library, DirectoriesAreAskedForNamesAndWhatTheyAre) {
  for (const char* name : {"b.x", "a.x", ".h.x", "[a].x", "c"}) put(name, name);
  const Target here = Target::parse("local:" + directory_.path().string());
  host_->assign("D", here, {"DIR"});
  Directory directory = host_->open_directory("D");
  directory.enter();
  using Names = std::vector<std::string>;
  EXPECT_EQ(directory.names("*.x"), (Names{"[a].x", "a.x", "b.x"}));
  EXPECT_EQ(directory.names(".*"), (Names{".h.x"}));
  EXPECT_EQ(directory.names("*.none"), Names{});
  EXPECT_EQ(directory.stat("[a].x")->size, 5U);
  EXPECT_FALSE(directory.stat("none"));
  EXPECT_THROW((void)directory.stat("a/b"), UsageError);
  EXPECT_THROW((void)directory.names("*/b"), UsageError);
  host_->assign("N", Target::parse("local:" + (directory_ / "none").string()), {"DIR"});
  EXPECT_NE(failure([&] { host_->open_directory("N").enter(); }).code(), 0);
}

// As a program has it: with a count, which file of how many it is, and the first failure thrown
// where nobody is told.
TEST_F(Library, CopiesFiles) {
  support::fs::create_directory(directory_ / "from");
  support::fs::create_directory(directory_ / "to");
  for (const char* name : {"from/a", "from/b", "from/c"}) put(name, name);
  const std::vector<Place> sources = {Place::parse((directory_ / "none").string()),
                                      Place::parse("local:" + (directory_ / "from/[ab]").string()),
                                      Place::parse((directory_ / "from/c").string())};
  const Place target = Place::parse((directory_ / "to").string());
  std::string failed, numbers;
  CopyOptions copying{.host = options(),
                      .failed = [&](const std::string& source, const Error&) { failed += source; }};
  copying.host.progress = [&](const Progress& progress) {
    if (progress.bytes == 0) numbers += std::to_string(progress.number);
    EXPECT_EQ(progress.files, 4U);
  };
  EXPECT_EQ(copy(sources, target, copying), 3U);
  EXPECT_EQ(failed, directory_ / "none");
  EXPECT_EQ(numbers, "12344");
  EXPECT_EQ(get("to/a") + get("to/b") + get("to/c"), "from/afrom/bfrom/c");
  EXPECT_THROW(copy(sources, target, {.host = options()}), Error);
  copying.failed = [](const std::string&, const Error&) { throw std::domain_error("stop"); };
  EXPECT_THROW(copy(sources, target, copying), std::domain_error);
  // What comes short takes no file's place, and is not sent.
  put("from/long", std::string(1'000'000, 'x'));
  Place broken = Place::parse("local:" + (directory_ / "from/long").string());
  broken.target->client_arguments = {"-D", FILEREF_BUILD_DIRECTORY "/faulty_server drop 100000"};
  HostOptions once = options();
  once.retries = 0;
  const std::string c = directory_ / "to/c";
  for (const std::string& onto : {c, "local:" + c}) {
    EXPECT_THROW(copy({broken}, Place::parse(onto), {.host = once}), Failure) << onto;
    EXPECT_EQ(get("to/c"), "from/c") << onto;
  }
  EXPECT_EQ(std::distance(support::fs::directory_iterator(directory_ / "to"), {}), 3);
  copying.host.progress = {};
  copying.host.interrupted = [] { return true; };
  EXPECT_THROW(copy({sources[2]}, target, copying), SystemError);
  EXPECT_EQ(get("to/c"), "from/c");
}

}  // namespace
}  // namespace fileref
