// What is read and written is what was there, byte for byte.
#include <chrono>

#include "tests/end_to_end/command_fixture.h"

namespace fileref {

using namespace std::string_literals;

std::unique_ptr<support::SshServer> CommandTest::server_;

namespace {

std::string lines_of_text(std::size_t bytes) {
  std::mt19937_64 random(7);
  std::string text;
  text.reserve(bytes + 200);
  while (text.size() < bytes) {
    text.append(random() % 160, static_cast<char>('a' + random() % 26));
    text += '\n';
  }
  return text;
}

class Transfer : public CommandTest {};

struct Case {
  const char* name;
  std::string content;
  std::vector<std::string> options;
  std::string printed;  // by a read
  std::string sent;     // by a write of `content`
};

std::vector<Case> cases() {
  const std::string binary = random_bytes(300'000, 1);
  const std::string odd = "a\0b\rc\r\n\r\n\n\0\0\nlast\n"s;
  return {
      {"text", "one\ntwo\n\nthree\n", {}, "one\ntwo\n\nthree\n", "one\ntwo\n\nthree\n"},
      {"empty", "", {}, "", ""},
      {"nul and cr are data", odd, {}, odd, odd},
      {"no last line feed", "a\nb", {}, "a\nb", "a\nb"},
      {"any bytes in lines", binary + "\n\n\0x"s, {}, binary + "\n\n\0x"s, binary + "\n\n\0x"s},
      {"long lines",
       std::string(32767, 'x') + "\ny\n",
       {},
       std::string(32767, 'x') + "\ny\n",
       std::string(32767, 'x') + "\ny\n"},
      {"stream", binary, {"-o", "RECFM=S"}, binary, binary},
      {"short stream records", binary, {"-o", "RECFM=S LRECL=7"}, binary, binary},
      {"empty stream", "", {"-o", "RECFM=S"}, "", ""},
      {"fixed", "abcdefgh", {"-o", "LRECL=3", "-o", "RECFM=F"}, "abc\ndef\ngh \n", ""},
      {"fixed from lines", "ab\ncde\n\n", {"-o", "LRECL=3 RECFM=F"}, "", "ab cde   "},
      {"other encoding",
       "gr\xFC\xDF\n",
       {"-o", "ENCODING='ISO-8859-1'"},
       "gr\xC3\xBC\xC3\x9F\n",
       ""},
      {"to another encoding",
       "gr\xC3\xBC\xC3\x9F\n",
       {"-o", "ENCODING='ISO-8859-1'"},
       "",
       "gr\xFC\xDF\n"},
      {"fixed in another encoding",
       "M\xFCll01J\xF6rg",
       {"-o", "RECFM=F LRECL=6 ENCODING='ISO-8859-1'"},
       "M\xC3\xBCll01\nJ\xC3\xB6rg  \n",
       ""},
      {"fixed to another encoding",
       "M\xC3\xBCll01\nJ\xC3\xB6rg",
       {"-o", "RECFM=F LRECL=12 ENCODING='UTF-16BE'"},
       "",
       "\0M\0\xFC\0l\0l\0\x30\0\x31\0J\0\xF6\0r\0g\0 \0 "s},
      {"lines of EBCDIC", "\x81\x15\x82\x25\x83", {"-o", "ENCODING='IBM1047'"}, "a\nb\nc", ""},
  };
}

TEST_F(Transfer, ReadsAndWritesEveryKindOfFile) {
  const std::string ways[] = {"", server_->options(), server_->options_for_psftp()};
  for (const std::string& options : ways) {
    const bool over_ssh = !options.empty();
    for (const Case& c : cases()) {
      SCOPED_TRACE(c.name + (" " + options));
      const std::string file = "file " + std::string(c.name);
      const path place = over_ssh ? server_->root() / file : remote(file);
      std::string url = over_ssh ? server_->url(file) : local(file);
      if (over_ssh) {
        for (std::size_t blank; (blank = url.find(' ')) != std::string::npos;) {
          url.replace(blank, 1, "%20");
        }
      }
      std::vector<std::string> words = {"read", url};
      words.insert(words.end(), c.options.begin(), c.options.end());
      if (over_ssh) words.insert(words.end(), {"-o", options});
      const bool is_read = !c.printed.empty() || c.content.empty();
      const bool is_written = !c.sent.empty() || c.content.empty();
      if (is_read) {
        support::write_file(place, c.content);
        const support::Outcome outcome = fileref(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(outcome.out == c.printed) << outcome.out.substr(0, 200);
        EXPECT_EQ(outcome.err, "");
        support::fs::remove(place);
      }
      if (is_written) {
        words[0] = "write";
        const support::Outcome outcome = fileref(words, c.content);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        ASSERT_TRUE(support::fs::exists(place));
        EXPECT_TRUE(support::read_file(place) == c.sent);
        // A new remote file is as open to others as one that the client itself would send.
        EXPECT_EQ(support::fs::status(place).permissions(), support::fs::perms(0644));
      }
    }
  }
}

TEST_F(Transfer, LargeFileOverSshIsEqualToTheOriginal) {
  const std::string text = lines_of_text(200u << 20);
  support::write_file(server_->root() / "large", text);
  const support::Outcome read = fileref({"read", server_->url("large"), "-o", server_->options()});
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_TRUE(read.out == text);
  support::fs::remove(server_->root() / "large");
  const support::Outcome write =
      fileref({"write", server_->url("sent"), "-o", server_->options()}, text);
  EXPECT_EQ(write.status, 0) << write.err;
  EXPECT_TRUE(support::read_file(server_->root() / "sent") == text);
}

// As `sftp` has them, with any name for a file.
TEST_F(Transfer, FlagsSayHowTheServerIsReached) {
  support::write_file(server_->root() / "f", "x\n");
  server_->give_to_user(server_->root() / "f");
  const std::string key = directory_ / "a \"key\"", config = directory_ / "config";
  support::fs::copy_file(server_->file("user_key"), key);
  const std::string port = std::to_string(server_->port());
  support::write_file(config, "IdentitiesOnly yes\nIdentityAgent none\nUserKnownHostsFile " +
                                  server_->file("known_hosts") + "\nHost localhost\nIdentityFile " +
                                  server_->file("user_key") + "\nHostKeyAlias [127.0.0.1]:" + port +
                                  "\n");
  std::string url = server_->url("f");
  const std::string login = url.substr(7, url.find("@") - 7) + "@localhost";
  url.replace(url.find(':' + port), 1 + port.size(), "");
  const std::vector<std::string> both = {"read", url, "-P", port, "-i", key, "-F", config};
  const std::string psftp = server_->options_for_psftp();  // makes the key
  const struct {
    std::vector<std::string> more;
    int status;
    const char* said;
  } cases[] = {{{}, 0, ""},
               {{"--client", "openssh"}, 0, ""},
               {{"-J", login + ":" + port}, 0, ""},
               {{"--client", "psftp"}, 1, "psftp has no -F"},
               {{"-o", "PATH='psftp'"}, 1, "psftp has no -F"}};
  for (const auto& c : cases) {
    std::vector<std::string> words = both;
    words.insert(words.end(), c.more.begin(), c.more.end());
    const support::Outcome outcome = fileref(words);
    EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.more) << outcome.err;
    EXPECT_EQ(outcome.out, c.status == 0 ? "x\n" : "") << outcome.err;
    EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
  }
}

TEST_F(Transfer, OverwritesAFileAndMakesAMissingDirectoryOnlyWithNew) {
  support::write_file(remote("there"), std::string(5000, 'x'));
  EXPECT_EQ(fileref({"write", local("there")}, "short\n").status, 0);
  EXPECT_EQ(support::read_file(remote("there")), "short\n");
  const std::string cd = "CD='" + remote("made").string() + "'";
  EXPECT_EQ(fileref({"write", "local:file", "-o", cd}, "x\n").status, 1);
  EXPECT_FALSE(support::fs::exists(remote("made")));
}

// The module asks for a pause before every read of the client's output; nobody has to sit it out.
TEST_F(Transfer, NobodyWaitsForThePause) {
  support::write_file(remote("small"), std::string(1024, 'x'));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(fileref({"read", local("small"), "-o", "WAIT_MILLISECONDS=20000"}).status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// The pause bounds one look at the client's output, not its answer.
TEST_F(Transfer, ASlowDownloadIsReadWhole) {
  const std::string text = lines_of_text(3'000'000);
  support::write_file(remote("slow"), text);
  const support::Outcome outcome = fileref(
      {"read", local("slow"), "-o",
       "WAIT_MILLISECONDS=1 OPTIONS='-D \"" FILEREF_BUILD_DIRECTORY "/faulty_server delay 40\"'"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(outcome.out == text);
}

// Names that the method splits, or takes for a list, unless they are put rightly.
TEST_F(Transfer, NamesWithoutADirectory) {
  for (const std::string name : {"plain", "-dash", "(list", "a\\b", "\"q\"", "it's", "*"}) {
    const std::string url =
        server_->url("").substr(0, server_->url("").find("/tmp")) + "/~/" + name;
    const support::Outcome write =
        fileref({"write", "--literal", url, "-o", server_->options()}, "to " + name + "\n");
    EXPECT_EQ(write.status, 0) << name << write.err;
    EXPECT_EQ(support::read_file(server_->root() / name), "to " + name + "\n");
    const support::Outcome read = fileref({"read", url, "-o", server_->options()});
    EXPECT_EQ(read.out, "to " + name + "\n") << read.err;
  }
}

// Pipes that do not wait: neither ours, which are given on, nor a reader's that is slow.
TEST_F(Transfer, StandardStreamsThatDoNotWaitAreWaitedFor) {
  const std::string text = lines_of_text(3u << 20) + "open";
  for (const std::string options : {"RECFM=V", "RECFM=S", "ENCODING='UTF-8'"}) {
    SCOPED_TRACE(options);
    int in[2];
    int out[2];
    ASSERT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC), 0);
    fcntl(in[0], F_SETFL, O_NONBLOCK);
    fcntl(out[1], F_SETFL, O_NONBLOCK);
    const auto run = [&](const char* verb, const char* direction, int end) {
      fcntl(end, F_SETFD, 0);
      support::Program program({"sh", "-c",
                                "exec " + command() + " " + verb + " " + local("f") + " -o \"" +
                                    options + "\" " + direction + "&" + std::to_string(end)},
                               "", environment());
      close(end);
      return program;
    };
    support::Program write = run("write", "<", in[0]);
    for (std::size_t at = 0; at < text.size(); at += 500'000) {
      const std::string piece = text.substr(at, 500'000);
      EXPECT_EQ(::write(in[1], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    close(in[1]);
    EXPECT_EQ(write.wait().status, 0);
    EXPECT_TRUE(support::read_file(remote("f")) == text);
    support::Program read = run("read", ">", out[1]);
    std::string arrived;
    std::vector<char> piece(1 << 20);
    for (ssize_t count; (count = ::read(out[0], piece.data(), piece.size())) > 0;) {
      arrived.append(piece.data(), static_cast<std::size_t>(count));
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    close(out[0]);
    const support::Outcome outcome = read.wait();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(arrived == text);
  }
}

TEST_F(Transfer, ClosedStandardOutputEndsItLikeAnyFilter) {
  support::write_file(remote("much"), lines_of_text(8u << 20));
  const support::Outcome outcome = support::run({"bash", "-c",
                                                 command() + " read " + local("much") +
                                                     " | head -n 1 >/dev/null; "
                                                     "echo ${PIPESTATUS[0]}"},
                                                "", environment());
  EXPECT_EQ(outcome.out, "141\n");
  EXPECT_EQ(outcome.err, "");
}

}  // namespace
}  // namespace fileref
