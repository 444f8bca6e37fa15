// The library as a program uses it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "fileref/fileref.h"
#include "tests/support/process.h"

namespace fileref {
namespace {

class Library : public testing::Test {
 protected:
  HostOptions options() {
    HostOptions options;
    options.temp_directory = directory_ / "temporary";
    options.unsent_directory = directory_ / "unsent";
    options.log = [this](std::string_view line) { log_ += std::string(line) + "\n"; };
    return options;
  }
  void SetUp() override {
    support::fs::create_directory(directory_ / "temporary");
    host_ = std::make_unique<Host>(options());
  }
  void TearDown() override {
    host_.reset();
    EXPECT_TRUE(support::fs::is_empty(directory_ / "temporary"));
    EXPECT_TRUE(support::left_behind().empty());
  }

  Target target(const std::string& name) const {
    return Target::parse("local:" + (directory_ / name).string());
  }
  void put(const std::string& name, const std::string& text) const {
    support::write_file(directory_ / name, text);
  }
  std::string get(const std::string& name) const { return support::read_file(directory_ / name); }
  std::string read(const std::string& fileref, const std::vector<std::string>& with = {}) {
    std::string text;
    for (const std::string_view record : host_->open(fileref, with)) {
      text += std::string(record) + "|";
    }
    return text;
  }
  // The failure of a call, or code 0.
  template <class Call>
  static Failure failure(Call call) {
    try {
      call();
    } catch (const Failure& failure) {
      return failure;
    }
    return {0, "nothing failed"};
  }

  support::TestDirectory directory_;
  std::string log_;
  std::unique_ptr<Host> host_;
};

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
  EXPECT_NE(refused.message().find("4 bytes"), std::string::npos) << refused.message();
  EXPECT_NE(failure([&] { out.write("\n"); }).code(), 0);
  out.write("");
  out.close();
  EXPECT_EQ(get("out"), "abc\n\n");
  EXPECT_NE(failure([&] { out.write("late"); }).code(), 0);
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
  for (const auto& [text, message, marked] : cases) {
    const Failure wrong = failure([&] { host_->assign("F", target("f"), {text}); });
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

// Lines of `step` bytes up to `bytes`, and behind them one of `length`.
std::string lines(std::size_t bytes, std::size_t step, std::size_t length) {
  std::string text;
  for (; text.size() + step < bytes; text += '\n') text.append(step, 'a');
  if (text.size() < bytes) text += std::string(bytes - text.size() - 1, 'b') + "\n";
  return text + std::string(length, 'c') + "\n";
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
    const Failure read = failure([&] {
      Input input = host_->open("F");
      for (const std::string_view record : input) {
        wanted.append(record).append(input.is_stream() ? "" : "\n");
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
  EXPECT_THROW(host_->open("F").copy_to(full), std::system_error);
  ::close(full);
}

TEST_F(Library, RefusesWhatCannotWork) {
  EXPECT_THROW(Host second, std::logic_error);
  host_.reset();
  HostOptions no_commands = options();
  no_commands.external_commands = false;
  EXPECT_NE(failure([&] { Host host(no_commands); }).message().find("NOXCMD"), std::string::npos);
  HostOptions no_module = options();
  no_module.module_path = "/no/such/module.so";
  EXPECT_NE(failure([&] { Host host(no_module); }).message().find("/no/such/module.so"),
            std::string::npos);
}

TEST_F(Library, InstalledItBuildsAndRunsAProgramOfItsOwn) {
#ifdef FILEREF_SANITIZED
  GTEST_SKIP() << "a program without sanitizers cannot load a library with them";
#endif
  const std::string prefix = directory_ / "prefix";
  const std::string build = directory_ / "build";
  put("numbers", "1\n20\n300\n");
  const std::vector<std::vector<std::string>> steps = {
      {"cmake", "--install", FILEREF_BUILD_DIRECTORY, "--prefix", prefix},
      {"cmake", "-G", "Ninja", "-S", FILEREF_SOURCE_DIRECTORY "/examples/sum", "-B", build,
       "-DCMAKE_PREFIX_PATH=" + prefix},
      {"cmake", "--build", build},
      {build + "/sum", "local:" + (directory_ / "numbers").string(),
       "local:" + (directory_ / "sum").string()},
      {prefix + "/bin/fileref", "read", "local:" + (directory_ / "sum").string()},
  };
  support::Outcome outcome;
  for (const auto& step : steps) {
    outcome = support::run(step, "", {{"TMPDIR", directory_ / "temporary"}});
    ASSERT_EQ(outcome.status, 0) << testing::PrintToString(step) << outcome.err << outcome.out;
  }
  EXPECT_EQ(outcome.out, "321\n");
}

TEST(Targets, AreTakenApart) {
  const struct {
    const char* text;
    const char* parts;  // user, host, path, client arguments
  } cases[] = {
      {"sftp://h/f", "|h|/f|"},
      {"sftp://u@h:2222/a/b", "u|h|/a/b|-P 2222 "},
      {"sftp://u@h/~/a%20b", "u|h|a b|"},
      {"sftp://u@[::1]:22/f", "u|[::1]|/f|-P 22 "},
      {"sftp://[::1]/f", "|[::1]|/f|"},
      {"sftp://do%40main@h/f", "do@main|h|/f|"},
      {"local:/f%20", "||/f%20|-B 131072 -R 8 -D /usr/lib/openssh/sftp-server "},
  };
  for (const auto& c : cases) {
    const Target target = Target::parse(c.text);
    std::string words;
    for (const std::string& word : target.client_arguments) words += word + " ";
    EXPECT_EQ(target.user + "|" + target.host + "|" + target.path + "|" + words, c.parts) << c.text;
  }
}

}  // namespace
}  // namespace fileref
