// Every allocation and every service call of the usual requests fails in its turn: the caller is
// told, nothing is left behind, nothing is half done, and another try succeeds.
#include <algorithm>

#include "tests/module/module_host.h"
#include "tests/module/service_watch.h"

namespace fileref {
namespace {

const std::string kAllOptions =
    "HOST='h' USER='u' OPTIONS='-o' OPTIONSX='-x' CD='/c' PATH='sf' LSFILE='l' DEBUG NEW";
const std::string kOpenOptions = "LRECL=70 OPTIONS='-v' LSFILE='m' ENCODING=latin1";

// A host that remembers its open files.
struct World {
  World() : watch(host.runtime) {
    host.client.prompt = "sftp> SFTP> ";  // seen even when upper-casing fails
    host.client.files["f"] = "data\n";
  }
  ~World() {
    close_all();
    if (host.fileref("A") != nullptr) {
      EXPECT_EQ(host.deassign("A"), kSuccess);
    }
    for (const auto& take_back : watch.not_taken_back) take_back();
  }

  rctype assign() { return host.assign("A", "/d/f", kAllOptions); }
  rctype open(int mode) {
    ptr file = nullptr;
    const rctype rc = host.open(&file, "A", mode, kOpenOptions);
    EXPECT_EQ(file != nullptr, rc == kSuccess);
    if (file != nullptr) files.push_back(file);
    return rc;
  }
  rctype write() { return host.write(files.back(), "more"); }
  rctype close() {
    ptr file = files.back();
    const auto* temporary = static_cast<HOST_FILE*>(static_cast<FFCB*>(file)->tempfileptr);
    const rctype rc = host.close(file);
    if (rc == kSuccess || !host.runtime.temp.is_open(temporary)) files.pop_back();
    return rc;
  }
  void close_all() {
    while (!files.empty() && !testing::Test::HasFailure()) EXPECT_EQ(close(), kSuccess);
  }

  // What the fileref says and how many files it counts.
  std::string digest() const {
    const FLCB* flcb = host.fileref("A");
    if (flcb == nullptr) return host.method->data == nullptr ? "none" : "an empty list";
    const auto text = [](ptr start) {
      return start == nullptr ? std::string("-") : static_cast<char*>(start);
    };
    return text(flcb->pn) + " " + text(flcb->member) + " " + text(flcb->cd) + " " +
           (flcb->amb == nullptr ? "no options" : flcb->amb->host) + " " +
           std::to_string(flcb->pathl) + " " + std::to_string(flcb->open);
  }

  ModuleHost host;
  ServiceWatch watch;
  std::vector<ptr> files;
  std::string records;  // that were read through
};

struct Scenario {
  const char* name;
  rctype (*prepare)(World& w);
  rctype (*run)(World& w);
  const char* records = "";
  rctype broken_off = kNoMemory;  // what else a lack of memory may be answered with, named
  const char* either_way = "";    // the service whose failure may or may not matter
};

rctype nothing(World& /*w*/) {
  return kSuccess;
}
rctype assigned(World& w) {
  return w.assign();
}
rctype started(World& w) {
  rctype rc = w.assign();
  if (rc == kSuccess) rc = w.open(0);
  return rc == kSuccess ? w.close() : rc;
}
rctype open_input(World& w) {
  return w.open(kOpenInput);
}
rctype reading(World& w) {
  const rctype rc = started(w);
  return rc == kSuccess ? open_input(w) : rc;
}
rctype reassign(World& w) {
  return w.host.assign("A", "(x)", "HOST='other' CD='/e' BATCHFILE='b' BATCHFILE=''");
}
rctype output(World& w) {
  rctype rc = w.open(kOpenOutput);
  if (rc == kSuccess) rc = w.write();
  return rc == kSuccess ? w.close() : rc;
}
rctype listed(World& w) {
  return w.host.assign("A", "", "HOST='h' LS");
}
rctype several(World& w) {
  w.host.client.files["g"] = "";
  w.host.client.files["h"] = "last\n";
  return w.host.assign("A", "(f g h)", "HOST='h' MGET");
}
rctype read_through(World& w) {
  rctype rc = open_input(w);
  std::string record;
  w.records.clear();
  while (rc == kSuccess && (rc = w.host.read(w.files.back(), &record)) == kSuccess) {
    w.records += record + "|";
  }
  return plain_code(rc) == kEndOfFile ? w.close() : rc;
}
rctype batch(World& w) {
  return w.host.assign("A", "f", "HOST='h' BATCHFILE='b'");
}
rctype run_batch(World& w) {
  w.host.client.script = {{"done\n", kEndOfOutput}};
  return read_through(w);
}
rctype library(World& w) {
  w.host.client.files["g"] = "more\n";
  return w.host.assign("A", "/d", "HOST='h' DIR");
}
rctype with_directory(World& w, rctype (*run)(World& w, ptr directory)) {
  runtime::Name8 name = runtime::name8("A");
  ptr directory = nullptr;
  w.host.runtime.begin_entry("A");
  rctype rc = w.host.table().amdopen.entryp(&directory, name.data(), w.host.runtime.request());
  if (rc != kSuccess) return rc;
  rc = run(w, directory);
  EXPECT_EQ(w.host.table().amdclos.entryp(directory), kSuccess);
  return rc;
}
rctype list_members(World& w, ptr directory) {
  char name[512];
  char type[8];
  int length = 0;
  ptr cursor = nullptr;
  WX_INFOPARM info{};
  rctype rc = kSuccess;
  w.records.clear();
  while ((rc = w.host.table().amdnext.entryp(&cursor, directory, name, &length, type, kFindKind,
                                             &info)) == kSuccess) {
    w.records += std::string(name, size_t(length)) + "|";
  }
  return rc == kEndOfMembers ? kSuccess : rc;
}
rctype open_member(World& w, ptr directory) {
  char name[] = "f";
  char type[] = "        ";
  ptr file = nullptr;
  WX_OPENPARM parms{};
  parms.openmode = kOpenInput;
  w.records.clear();
  const rctype rc = w.host.table().ammopen.entryp(&file, directory, name, 1, type, &parms);
  if (rc != kSuccess) return rc;
  w.files.push_back(file);
  w.records = w.host.read_all(file);
  return w.close();
}
rctype list_directory(World& w) {
  return with_directory(w, list_members);
}
rctype read_member(World& w) {
  return with_directory(w, open_member);
}
rctype find_member(World& w) {
  return with_directory(w, [](World& world, ptr directory) {
    char name[] = "f";
    return world.host.table().ammexst.entryp(directory, name, 1, nullptr);
  });
}
rctype find_file(World& w) {
  runtime::Name8 name = runtime::name8("A");
  w.host.runtime.begin_entry("A");
  return w.host.table().amexstp.entryp(name.data(), w.host.runtime.request());
}
rctype deassign(World& w) {
  return w.host.deassign("A");
}
rctype life(World& w) {
  rctype rc = w.assign();
  if (rc == kSuccess) rc = output(w);
  if (rc == kSuccess) rc = open_input(w);
  if (rc == kSuccess) rc = w.close();
  return rc == kSuccess ? deassign(w) : rc;
}

constexpr Scenario kScenarios[] = {
    {"assign", nothing, assigned},
    {"reassign with nothing open", started, reassign},
    {"reassign with a file open", reading, reassign},
    {"first open", assigned, open_input},
    {"open on a running session", started, open_input},
    {"output", started, output},
    {"listing", listed, read_through, "f|", kFailed},
    {"several files", several, read_through, "data|last|", kNoMemory, "yxclose"},
    {"batch", batch, run_batch},
    {"directory", library, list_directory, "f|g|", kFailed},
    {"member", library, read_member, "data|"},
    {"existence of a member", library, find_member, "", kDoesNotExist, "yxclose"},
    {"existence of a file", started, find_file, "", kFailed, "wzstrup"},
    {"deassign", started, deassign},
    {"whole life", nothing, life},
};

enum class Fault { kAllocation, kService };

// What the module cannot do anything about, or need not.
const std::set<std::string> kBenign = {"wmpoold", "wttimer", "wzstrup",
                                       "yhqblot", "yxrdasg", "yyrn6gf"};

void judge(const World& w, const Scenario& scenario, Fault fault, rctype rc) {
  if (fault == Fault::kAllocation) {
    EXPECT_TRUE(rc == kNoMemory || rc == scenario.broken_off) << rc;
    EXPECT_EQ(w.host.attached().empty(), rc == kNoMemory);
    return;
  }
  std::set<std::string> failed = w.watch.failed;
  const bool either_way = failed.erase(scenario.either_way) != 0;
  const bool benign = std::includes(kBenign.begin(), kBenign.end(), failed.begin(), failed.end());
  if (either_way && benign) return;
  if (failed.empty() || !benign) {
    EXPECT_NE(rc, kSuccess) << "nobody was told";
  } else if (!w.watch.for_ever) {
    EXPECT_EQ(rc, kSuccess);
  }
}

// Fails the nth pass. False when there are fewer.
bool fails_cleanly(const Scenario& scenario, Fault fault, long nth, bool for_ever) {
  World w;
  runtime::FaultPoint& faults = fault == Fault::kAllocation
                                    ? w.host.runtime.memory.allocation_faults()
                                    : w.host.runtime.service_faults;
  EXPECT_EQ(scenario.prepare(w), kSuccess);
  const std::string before = w.digest();
  const std::size_t open = w.files.size();
  w.watch.for_ever = for_ever;
  faults.arm(nth, for_ever);
  const rctype rc = scenario.run(w);
  faults.disarm();
  std::string culprits;
  for (const std::string& name : w.watch.failed) culprits += " " + name;
  SCOPED_TRACE(culprits);
  if (!faults.fired()) {
    EXPECT_EQ(rc, kSuccess);
    return false;
  }
  judge(w, scenario, fault, rc);
  EXPECT_LE(w.host.client.alive, 1);
  if (rc == kSuccess) {
    EXPECT_EQ(w.records, scenario.records);
    return true;
  }
  while (w.files.size() > open) EXPECT_EQ(w.close(), kSuccess);
  if (scenario.run != life) {
    EXPECT_EQ(w.digest(), before);
  }
  EXPECT_EQ(scenario.run(w), kSuccess) << "another try";
  EXPECT_EQ(w.records, scenario.records);
  return true;
}

void sweep(Fault fault, long at_least) {
  long points = 0;
  for (const Scenario& scenario : kScenarios) {
    for (const bool for_ever : {false, true}) {
      for (long nth = 1;; ++nth, ++points) {
        SCOPED_TRACE(scenario.name + std::string(for_ever ? ", for ever from " : ", once at ") +
                     std::to_string(nth));
        if (!fails_cleanly(scenario, fault, nth, for_ever)) break;
        if (testing::Test::HasFailure()) return;
      }
    }
  }
  EXPECT_GE(points, at_least);
}

TEST(Sweep, EveryAllocationMayFail) {
  sweep(Fault::kAllocation, 200);
}

TEST(Sweep, EveryServiceCallMayFail) {
  sweep(Fault::kService, 500);
}

}  // namespace
}  // namespace fileref
