// Several hosts in one process. These also run under ThreadSanitizer.
#include <malloc.h>

#include <deque>
#include <optional>

#include "tests/library/library_fixture.h"

namespace fileref {
namespace {

constexpr int kThreads = 8;

// A host, and what it tells.
struct Another {
  explicit Another(HostOptions options) : host(tells(std::move(options))) {}

  HostOptions tells(HostOptions options) {
    options.log = [this](std::string_view line) { log.append(line) += '\n'; };
    options.warn = [this](std::string_view line) { warnings.append(line) += '\n'; };
    return options;
  }
  std::string read(const std::string& fileref) {
    std::string text;
    for (const std::string_view record : host.open(fileref)) text.append(record) += '\n';
    return text;
  }

  std::string log, warnings;
  Host host;
};

// One more is there all the time: the fixture's, which is the first.
class Hosts : public Library {
 protected:
  static std::string text(const std::string& name, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += name + ", line " + std::to_string(i) + '\n';
    return text;
  }
  Target several(const std::vector<std::string>& names) const {
    Target target = this->target("");
    target.names = names;
    return target;
  }
  static void run_each(const std::vector<std::function<void()>>& calls) {
    std::vector<std::thread> threads;
    for (const auto& call : calls) threads.emplace_back(call);
    for (std::thread& thread : threads) thread.join();
  }
};

// What a host does from its beginning to its end, with files of its own. Empty, or what was wrong.
std::string work(Another& another, const Target& file, const Target& files, const std::string& name,
                 const std::string& text) {
  Host& host = another.host;
  host.assign("F", file, {"LRECL=100"});
  Output out = host.create("F");
  std::string_view rest = text;
  for (std::size_t end; (end = rest.find('\n')) != rest.npos; rest.remove_prefix(end + 1)) {
    out.write(rest.substr(0, end));
  }
  std::string wrong;
  try {
    out.write(std::string(101, 'x'));
  } catch (const Failure& failure) {
    if (failure.message().find("is longer") == std::string::npos) wrong += failure.message();
  }
  out.close();
  if (support::read_file(file.path) != text) wrong += "what was sent; ";
  if (another.read("F") != text) wrong += "what was read; ";
  host.assign("S", files);
  if (another.read("S") != text + text) wrong += "what was read of several; ";
  if (another.warnings.find("\"no " + name + "\" was skipped") == std::string::npos) {
    wrong += another.warnings;
  }
  for (int other = 0; other < kThreads; ++other) {
    const bool is_own = name == "host " + std::to_string(other);
    const bool is_told = another.log.find("host " + std::to_string(other)) != std::string::npos;
    if (is_own != is_told) wrong += "what its log tells; ";
  }
  return wrong;
}

TEST_F(Hosts, WorkInAThreadEach) {
  std::vector<std::string> wrong(kThreads);
  std::vector<std::function<void()>> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, i, &wrong] {
      const std::string name = "host " + std::to_string(i);
      for (int round = 0; round < 3; ++round) {
        Another another(options());
        wrong[i] += work(another, target(name), several({"no " + name, name, name}), name,
                         text(name + " " + std::to_string(round), 10'000 + 1000 * i));
      }
    });
  }
  run_each(threads);
  EXPECT_EQ(wrong, std::vector<std::string>(kThreads));
}

TEST_F(Hosts, TakeTurnsInOneThread) {
  std::deque<Another> hosts;
  std::vector<Input> inputs;
  std::vector<std::string> seen(20);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const std::string name = "f" + std::to_string(i);
    for (const char* part : {"a", "b"}) put(name + part, text(name + part, 3));
    hosts.emplace_back(options()).host.assign("F", several({name + "a", "none", name + "b"}));
    inputs.push_back(hosts.back().host.open("F"));
  }
  std::string_view record;
  for (int line = 0; line < 6; ++line) {
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (inputs[i].next(record)) seen[i].append(record) += '\n';
    }
  }
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_FALSE(inputs[i].next(record));
    const std::string name = "f" + std::to_string(i);
    EXPECT_EQ(seen[i], text(name + "a", 3) + text(name + "b", 3));
    EXPECT_EQ(inputs[i].skipped().size(), 1u);
    EXPECT_TRUE(hosts[i].warnings.starts_with("\"none\" was skipped")) << hosts[i].warnings;
  }
  EXPECT_EQ(log_.find("get"), std::string::npos) << "of the first one nothing was wanted";
}

TEST_F(Hosts, WorkWhileOneIsWaitedFor) {
  put("outer", text("outer", 100'000));
  put("inner", text("inner", 10));
  int asked = 0;
  std::string inner;
  HostOptions asking = options();
  asking.interrupted = [&] {
    if (++asked % 4 != 1) return false;
    Another another(options());
    another.host.assign("I", several({"inner", "none"}));
    inner += another.read("I");
    return false;
  };
  Another outer(asking);
  outer.host.assign("F", several({"outer", "nobody", "outer"}));
  EXPECT_TRUE(outer.read("F") == get("outer") + get("outer"));
  EXPECT_TRUE(outer.warnings.starts_with("\"nobody\" was skipped")) << outer.warnings;
  ASSERT_GT(asked, 1);
  EXPECT_EQ(inner.substr(0, get("inner").size()), get("inner"));
  outer.host.assign("F", target("missing"));
  const Failure missing = failure([&] { (void)outer.host.open("F"); });
  EXPECT_NE(missing.message().find("\"missing\""), std::string::npos) << missing.message();
}

TEST_F(Hosts, GoFromThreadToThread) {
  put("in", text("in", 100'000));
  std::unique_ptr<Another> another;
  std::optional<Input> input;
  std::string seen;
  const std::function<void()> stages[] = {
      [&] { another = std::make_unique<Another>(options()); },
      [&] {
        another->host.assign("F", target("in"));
        input = another->host.open("F");
      },
      [&] {
        std::string_view record;
        while (input->next(record)) seen.append(record) += '\n';
      },
      [&] { input.reset(); },
      [&] { another.reset(); },
  };
  for (const auto& stage : stages) run_each({stage});
  EXPECT_TRUE(seen == get("in"));
}

// Entries of a directory that the system keeps about this process, or lines of such a file.
std::size_t count_of(const std::string& what) {
  if (what == "fd") {
    const support::fs::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
  }
  const std::string lines = support::read_file("/proc/self/" + what);
  return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
}

// A sanitizer's own memory grows.
#ifdef FILEREF_SANITIZED
constexpr int kHosts = 10;
constexpr bool kCountsMemory = false;
#else
constexpr int kHosts = 100;
constexpr bool kCountsMemory = true;
#endif

// Whether the first one is there, so that the others have copies of the module, or not.
TEST_F(Hosts, LeaveNothingOfThemselves) {
  put("in", "1\n");
  const auto use_one = [this] {
    Another another(options());
    another.host.assign("F", target("in"));
    EXPECT_EQ(another.read("F"), "1\n");
  };
  for (const bool is_first : {false, true}) {
    SCOPED_TRACE(is_first);
    if (is_first) host_.reset();
    for (int i = 0; i < 20; ++i) use_one();
    const std::size_t descriptors = count_of("fd");
    const std::size_t mappings = count_of("maps");
    const std::size_t bytes = mallinfo2().uordblks;
    for (int i = 0; i < kHosts; ++i) use_one();
    EXPECT_EQ(count_of("fd"), descriptors);
    if (!kCountsMemory) continue;
    EXPECT_LE(count_of("maps"), mappings + 2);
    EXPECT_LT(mallinfo2().uordblks, bytes + 100 * kHosts);
  }
}

// Clients that several threads are about to start when the process is killed.
TEST_F(Hosts, LeaveNothingWhenTheyAreKilled) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  put("in", "1\n");
  for (int milliseconds = 5; milliseconds < 125; milliseconds += 3) {
    const pid_t killed = fork();
    if (killed == 0) {
      run_each(std::vector<std::function<void()>>(12, [this] {
        for (;;) {
          Another another(options());
          another.host.assign("F", target("in"));
          another.read("F");
        }
      }));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(killed, SIGKILL);
    waitpid(killed, nullptr, 0);
    ASSERT_TRUE(support::left_behind().empty()) << "killed after " << milliseconds << " ms";
  }
  Host sweeps(options());
}

}  // namespace
}  // namespace fileref
