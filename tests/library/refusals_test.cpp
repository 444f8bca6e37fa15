// What a program asks for that cannot be, and is refused before anything happens.
#include <functional>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

using std::string_literals::operator""s;

TEST_F(Library, RefusesWhatCannotWork) {
  host_.reset();
  for (std::string HostOptions::*member :
       {&HostOptions::session_encoding, &HostOptions::temp_directory}) {
    HostOptions wrong = options();
    wrong.*member = "/no/such/thing";
    EXPECT_THROW(Host host(wrong), Error);
  }
  HostOptions no_commands = options();
  no_commands.external_commands = false;
  EXPECT_NE(failure([&] { Host host(no_commands); }).message().find("NOXCMD"), std::string::npos);
  HostOptions no_module = options();
  no_module.module_path = "/no/such/module.so";
  EXPECT_NE(failure([&] { Host host(no_module); }).message().find("/no/such/module.so"),
            std::string::npos);
}

TEST_F(Library, FailuresTellTheirReason) {
  using Reason = Failure::Reason;
  put("file", "");
  const Target mute = Target::parse("sftp://127.0.0.1:1/x");
  const struct {
    const char* client;
    Target target;
    std::vector<std::string> options;
    Reason reason;
  } cases[] = {
      {"", target("no such file"), {}, Reason::kNoSuchFile},
      {"", target("none/x"), {}, Reason::kNoSuchFile},
      {"", target("none*"), {"MGET"}, Reason::kNoSuchFile},
      {"", target("file/x"), {}, Reason::kNotADirectory},
      {"openssh", target("file/x"), {}, Reason::kNotADirectory},
      {"openssh", target("permission denied"), {}, Reason::kNoSuchFile},
      {"openssh", target("none/x"), {}, Reason::kNoSuchFile},
      {"", mute, {}, Reason::kNotConnected},
      {"openssh", mute, {}, Reason::kNotConnected},
      {"", target("slow"), {"OPTIONS='-D \"sleep 9\"'"}, Reason::kTimedOut},
      {"", target("x"), {"RECFM=U"}, Reason::kOther},
  };
  for (const auto& [client, target, given, reason] : cases) {
    SCOPED_TRACE(target.path + client);
    HostOptions with_client = options();
    with_client.client = client;
    with_client.start_limit = std::chrono::milliseconds(2000);
    Host host(with_client);
    EXPECT_EQ(failure([&] {
                host.assign("F", target, given);
                (void)host.open("F");
              }).reason(),
              reason);
  }
}

TEST_F(Library, WhatOnlyReadsIsNotWritten) {
  put("there", "x\n");
  put("batch", "pwd\n");
  const std::string batch = option("BATCHFILE", (directory_ / "batch").string());
  for (const std::string option : {"LS", "lsa", "RECFM=F MGET LRECL=9", batch.c_str()}) {
    SCOPED_TRACE(option);
    const Target any = target(option == batch ? "" : "the*");
    host_->assign("F", option == batch ? Target::parse("local:") : any, {option});
    EXPECT_THROW((void)host_->create("F"), Failure);
    host_->assign("F", any);
    EXPECT_THROW((void)host_->create("F", {"LRECL=9", option}), Failure);
  }
  host_->assign("D", target(""), {"DIR LSA MGET"});
  Output member = host_->open_directory("D").create("member");
  member.write("m");
  member.close();
  EXPECT_EQ(get("member"), "m\n") << "a member is one file, whatever else is asked for";
}

TEST_F(Library, ABatchHasNoPath) {
  put("batch", "pwd\n");
  const std::string batch = option("BATCHFILE", (directory_ / "batch").string());
  Target names = Target::parse("local:");
  names.names = {"a"};
  for (const Target& wrong : {target(""), Target::parse("local:a"), names}) {
    EXPECT_THROW(host_->assign("B", wrong, {batch}), Failure) << wrong.path;
  }
  EXPECT_THROW(host_->assign("B", Target::parse("local:"), {batch, "CD='/'"}), Failure);
  EXPECT_FALSE(host_->is_assigned("B"));
  for (const char* text : {"local:", "local:/"}) {
    host_->assign("B", Target::parse(text), {batch});
    std::string said;
    host_->run_batch("B", [&](std::string_view line) { said += line; });
    EXPECT_NE(said.find("Remote working directory"), std::string::npos) << said;
  }
  host_->assign("F", target("batch"));
  EXPECT_THROW(host_->run_batch("F"), UsageError);
  EXPECT_THROW((void)host_->open("F", {batch}), Failure);
}

// With these the module would read nothing, and call it success.
TEST_F(Library, WordsMakeNoBatch) {
  put("in", "x\n");
  for (const std::string words : {"OPTIONS='-b x'", "OPTIONSX='-i key-b -v' OPTIONS='-v'"}) {
    EXPECT_THROW(host_->assign("F", target("in"), {words, "LRECL=9"}), Failure) << words;
    host_->assign("F", target("in"));
    EXPECT_THROW((void)host_->open("F", {words}), Failure) << words;
  }
  host_->assign("F", target("in"), {"OPTIONS='-o IdentityFile=\"key-b\" -v'"});
  EXPECT_EQ(read("F"), "x|");
}

TEST_F(Library, AMemberIsOneName) {
  support::fs::create_directory(directory_ / "sub");
  put("sub/in", "x\n");
  put("outside", "x\n");
  host_->assign("D", target("sub"), {"DIR FILEEXT"});
  Directory directory = host_->open_directory("D");
  const struct {
    std::string name, type;
  } wrong[] = {{"../outside", ""}, {"", ""},          {".", ""},    {"..", ""},
               {"/in", ""},        {"in/", ""},       {"a\0"s, ""}, {"n", "/../../x"},
               {"n", "a b"},       {"n", "ninebytes"}};
  for (const auto& [name, type] : wrong) {
    SCOPED_TRACE(name + " " + type);
    EXPECT_THROW((void)directory.open(name, type), UsageError);
    EXPECT_THROW((void)directory.create(name, type), UsageError);
    EXPECT_THROW((void)directory.has(name, type), UsageError);
  }
  EXPECT_TRUE(directory.has("in"));
  EXPECT_FALSE(directory.has("in", "txt"));
  host_->assign("D", target("sub"), {"DIR", option("PATH", "/bin/false")});
  EXPECT_NE(failure([&] { host_->open_directory("D").has("in"); }).code(), 0)
      << "what could not be asked is no answer";
}

TEST_F(Library, WhatWasMovedFromStandsForNothing) {
  put("in", "1\n");
  host_->assign("F", target("in"));
  host_->assign("O", target("out"));
  host_->assign("D", target(""), {"DIR"});
  Input input = host_->open("F");
  Output output = host_->create("O");
  Directory directory = host_->open_directory("D");
  output.write("given up");
  const Input other_input = std::move(input);
  const Output other_output = std::move(output);
  const Directory other_directory = std::move(directory);
  std::string_view record;
  Member member;
  const std::function<void()> calls[] = {
      [&] { input.next(record); },
      [&] { input.copy_to(1); },
      [&] { (void)input.skipped(); },
      [&] { (void)input.line_ended(); },
      [&] { (void)input.is_stream(); },
      [&] { (void)input.info(); },
      [&] { input.close(); },
      [&] { output.write("x"); },
      [&] { output.write_lines("x"); },
      [&] { output.write_last("x"); },
      [&] { (void)output.is_converted(); },
      [&] { output.close(); },
      [&] { output.abandon(); },
      [&] { (void)output.record_length(); },
      [&] { directory.next(member); },
      [&] { (void)directory.open("in"); },
      [&] { (void)directory.create("in"); },
      [&] { (void)directory.has("in"); },
      [&] { directory.close(); },
  };
  for (const auto& call : calls) EXPECT_THROW(call(), UsageError);
}

}  // namespace
}  // namespace fileref
