#include "runtime/launch/dialogue/framing.h"

#include <gtest/gtest.h>

namespace fileref::runtime {
namespace {

const Sentinel kSentinel{"#0123", "sftp> #0123\n"};

TEST(Exchange, EndsAtTheSentinelHoweverTheReplyIsCut) {
  const std::string before =
      "sftp> ls\nsftp> #0124\nsftp> #0123x\nsftp> \nname sftp> #0123\nlast\n";
  const std::string reply = before + kSentinel.mark;
  for (std::size_t cut = 0; cut <= reply.size(); ++cut) {
    for (std::size_t second = cut; second <= reply.size(); second += 7) {
      Exchange exchange({{"ls"}}, kSentinel);
      bool complete = exchange.take_output(reply.substr(0, cut));
      EXPECT_EQ(complete, cut == reply.size()) << cut;
      complete = exchange.take_output(reply.substr(cut, second - cut));
      EXPECT_EQ(complete, second == reply.size()) << cut << ' ' << second;
      EXPECT_TRUE(exchange.take_output(reply.substr(second)));
      EXPECT_EQ(exchange.reply().out, before);
    }
  }
}

TEST(Exchange, SendsItsLinesAndTheSentinel) {
  EXPECT_EQ(Exchange({{"cd \"x\"", "pwd"}}, kSentinel).input(), "cd \"x\"\npwd\n#0123\n");
  EXPECT_EQ(Exchange(Request{}, kSentinel).input(), "#0123\n");
}

TEST(Exchange, IgnoresWhatFollowsTheSentinel) {
  Exchange exchange(Request{}, kSentinel);
  EXPECT_TRUE(exchange.take_output("a\n" + kSentinel.mark + "b\n"));
  EXPECT_TRUE(exchange.take_output("c\n"));
  EXPECT_EQ(exchange.reply().out, "a\n");
}

TEST(Exchange, SearchesALongReplyOnce) {
  Exchange exchange(Request{}, kSentinel);
  const std::string chunk(4096, 's');
  for (int i = 0; i < 8192; ++i) ASSERT_FALSE(exchange.take_output(chunk));
  EXPECT_TRUE(exchange.take_output("\n" + kSentinel.mark));
}

}  // namespace
}  // namespace fileref::runtime
