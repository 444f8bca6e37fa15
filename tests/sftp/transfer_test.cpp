#include "runtime/sftp/download.h"
#include "runtime/sftp/upload.h"
#include "tests/sftp/memory_server.h"

namespace fileref::sftp {
namespace {

std::string contents_of(std::size_t size) {
  std::string contents(size, '\0');
  for (std::size_t i = 0; i < size; ++i) contents[i] = static_cast<char>(i * 7 + i / 251);
  return contents;
}

const std::size_t kSizes[] = {0, 1, 999, 1000, 1001, 8000, 123456, 2'000'000};

struct Row {
  const char* what;
  Faults faults;
  std::string failure = {};  // a part of it
  std::optional<std::uint64_t> expected_size = {};
};

TEST(Download, TakesEveryByteInItsPlace) {
  const Row rows[] = {
      {"in order", {}},
      {"any order", {.shuffles = true}},
      {"short data", {.longest = 7}},
      {"short data in any order", {.shuffles = true, .longest = 333}},
      {"no sizes", {.states_sizes = false}},
      {"no sizes, any order", {.shuffles = true, .states_sizes = false}},
      {"size 0", {.stated_size = 0}},
      {"attributes refused", {.refused = Type::kHandleAttributes}},
      {"expected too large", {}, "", 200000},
      {"expected too small", {.shuffles = true}, "", 500},
      {"no limits", {.extensions = {}}},
  };
  for (const Row& row : rows) {
    for (const std::size_t size : kSizes) {
      if (row.faults.longest == 7 && size > 10000) continue;  // takes long
      for (const std::uint64_t from : {std::size_t{0}, size / 2}) {
        SCOPED_TRACE(row.what + std::string(" ") + std::to_string(size));
        Wire wire(row.faults);
        const std::string contents = wire.server.files["/f"].contents = contents_of(size);
        std::string taken;
        {
          Download download(wire.connection, "/f", {row.expected_size, from},
                            [&](std::string_view bytes) { return taken += bytes, true; });
          wire.run({}, 1 + size / 50);
          ASSERT_TRUE(download.has_ended()) << wire.connection.fault();
          EXPECT_EQ(download.failure(), "");
          EXPECT_EQ(download.position(), size);
        }
        EXPECT_TRUE(taken == contents.substr(from));
        wire.run();
        EXPECT_TRUE(wire.server.open.empty());
      }
    }
  }
}

TEST(Download, NothingThatIsLackingPassesForAFile) {
  const Row rows[] = {
      {"missing", {.refused = Type::kOpen}, "failure"},
      {"shrunk", {.stated_size = 60000}, "50000 of 60000 bytes arrived"},
      {"ends early", {.early_end = 20000}, "20000 of 50000 bytes arrived"},
      {"ends early, any order", {.shuffles = true, .early_end = 20500}, "20500 of 50000 bytes"},
      {"unreadable block", {.refused_offset = 30000}, "at byte 30000 the server says: failure"},
      {"empty data", {.empty_data = true}, "a READ of 1000 bytes with 0"},
      {"long data", {.long_data = true}, "a READ of 1000 bytes with 1001"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Wire wire(row.faults);
    wire.server.files["/f"].contents = contents_of(50000);
    std::string taken;
    Download download(wire.connection, "/f", {},
                      [&](std::string_view bytes) { return taken += bytes, true; });
    wire.run();
    const std::string told = download.failure() + wire.connection.fault();
    EXPECT_NE(told.find(row.failure), std::string::npos) << told;
    EXPECT_TRUE(taken == contents_of(50000).substr(0, taken.size()));
    EXPECT_EQ(download.was_refused(), row.faults.refused == Type::kOpen);
  }
  for (const std::uint32_t mode : {0040755U, 0010644U, 0020644U}) {
    Wire wire;
    wire.server.files["/f"] = {"x", mode};
    Download download(wire.connection, "/f", {}, [](std::string_view) { return true; });
    wire.run();
    EXPECT_EQ(download.failure(), "not a regular file") << mode;
  }
}

TEST(Download, SeesWhatBecomesOfTheFileMeanwhile) {
  const std::string whole = contents_of(50000);
  using File = MemoryServer::File;
  const struct {
    const char* what;
    std::function<void(File&)> change;
    std::string failure = {};
    std::size_t taken = 50000;
  } rows[] = {
      {"nothing", [](File&) {}},
      {"grows",
       [](File& file) {
         file = {file.contents + "more", file.mode, 2};
       }},
      {"is written over", [](File& file) { file.modified = 2; }, "the file was changed"},
      {"shrinks", [](File& file) { file.contents.resize(30500); }, "30500 of 50000", 30500},
  };
  for (const auto& row : rows) {
    for (const bool shuffles : {false, true}) {
      SCOPED_TRACE(row.what);
      Wire wire({.shuffles = shuffles});
      wire.server.files["/f"].contents = whole;
      std::string taken;
      Download download(wire.connection, "/f", {}, [&](std::string_view bytes) {
        if (taken.empty()) row.change(wire.server.files["/f"]);
        return taken += bytes, true;
      });
      wire.run();
      ASSERT_TRUE(download.has_ended());
      EXPECT_EQ(download.failure().empty(), row.failure.empty()) << download.failure();
      EXPECT_EQ(download.failure().find(row.failure), 0u) << download.failure();
      EXPECT_TRUE(taken == whole.substr(0, row.taken)) << taken.size();
    }
  }
}

TEST(Download, AsksAheadWithinBounds) {
  Wire wire;
  wire.server.files["/f"].contents = contents_of(1'000'000);
  std::uint64_t taken = 0, allowed = 20000;
  Download download(wire.connection, "/f", {}, [&](std::string_view bytes) {
    taken += bytes.size();
    EXPECT_LT(wire.server.furthest_read, allowed + 1000);
    return taken < 500'000;
  });
  for (; !download.has_ended(); allowed = taken + 20000) {
    download.allow_up_to(allowed);
    const std::uint64_t before = taken;
    wire.run();
    ASSERT_TRUE(taken > before || download.has_ended());
  }
  EXPECT_EQ(download.failure(), "the data cannot be put away");
  EXPECT_GT(wire.server.most_waiting, 10u);
  EXPECT_LE(wire.server.furthest_read, 521'000u);
}

TEST(Download, OneThatIsGivenUpLeavesNothingBehind) {
  for (int replies = 0; replies < 12; ++replies) {
    Wire wire;
    wire.server.files["/f"].contents = contents_of(50000);
    int left = replies;
    {
      Download download(wire.connection, "/f", {}, [](std::string_view) { return true; });
      wire.run([&] { return left-- == 0; });
    }
    wire.run();
    EXPECT_TRUE(wire.server.open.empty()) << replies;
    EXPECT_EQ(wire.connection.under_way(), 0u);
    EXPECT_EQ(wire.connection.fault(), "");
  }
}

// Sends `contents` and returns what the server then has.
struct Sent {
  Sent(Wire& wire, Upload::Options options, std::string_view contents) {
    Upload upload(wire.connection, "/f", std::move(options), [&](char* buffer, std::size_t most) {
      const std::size_t count = contents.copy(buffer, most);
      contents.remove_prefix(count);
      return static_cast<long>(count);
    });
    wire.run();
    EXPECT_TRUE(upload.has_ended());
    EXPECT_LE(wire.most_sent, std::size_t{600} << 10);
    failure = upload.failure();
    touched = upload.has_touched();
    EXPECT_TRUE(wire.server.open.empty());
    EXPECT_FALSE(wire.server.files.contains("/.f.new"));
  }
  std::string failure;
  bool touched;
};

TEST(Upload, ArrivesWholeOrFails) {
  struct Fault {
    const char* what;
    Faults faults;
    std::string failure, failure_by_way;
    bool may_touch = true;  // the old file, when nothing replaces it
  };
  const Fault rows[] = {
      {"in order", {}, "", ""},
      {"any order", {.shuffles = true}, "", ""},
      {"no sizes", {.states_sizes = false}, "", ""},
      {"no attributes", {.refused = Type::kHandleAttributes}, "", ""},
      {"no limits, no renaming", {.extensions = {}}, "", "cannot replace a file by renaming"},
      {"not opened", {.refused = Type::kOpen}, "failure", "failure", false},
      {"a hole", {.refused_offset = 40000}, "refuses to write: failure", "refuses to write"},
      {"a hole, any order", {.shuffles = true, .refused_offset = 10}, "refuses", "refuses"},
      {"a failing close", {.refused = Type::kClose}, "closes the file with a", "closes the file"},
      {"another size", {.stated_size = 5}, "5 of 123456 bytes arrived", "5 of 123456 bytes"},
      {"no renaming", {.refused = Type::kExtended}, "", "cannot be synced: failure"},
  };
  for (const Fault& row : rows) {
    for (const bool by_way : {false, true}) {
      SCOPED_TRACE(row.what + std::string(by_way ? " by another name" : ""));
      Wire wire(row.faults);
      wire.server.files["/f"] = {"old", 0100604};
      const std::string contents = contents_of(123456);
      Upload::Options options;
      if (by_way) options = {0600, "/.f.new", 0604};
      const Sent sent(wire, options, contents);
      const std::string& failure = by_way ? row.failure_by_way : row.failure;
      EXPECT_NE(sent.failure.find(failure), std::string::npos) << sent.failure;
      EXPECT_EQ(sent.failure.empty(), failure.empty()) << sent.failure;
      const MemoryServer::File& file = wire.server.files["/f"];
      EXPECT_TRUE(!failure.empty() || file.contents == contents);
      EXPECT_TRUE(failure.empty() || !by_way || file.contents == "old");
      EXPECT_EQ(sent.touched, !by_way && row.may_touch);
      EXPECT_EQ(file.mode, 0100604u);
    }
  }
}

TEST(Upload, OfEverySizeIsByteForByteTheSame) {
  for (const std::size_t size : kSizes) {
    for (const char* by_way_of : {"", "/.f.new"}) {
      Wire wire({.shuffles = true});
      const std::string contents = contents_of(size);
      EXPECT_EQ(Sent(wire, {0640, by_way_of}, contents).failure, "");
      EXPECT_TRUE(wire.server.files["/f"].contents == contents) << size;
      EXPECT_EQ(wire.server.files["/f"].mode, 0100640u);
    }
  }
}

TEST(Upload, ARefusedRenamingLeavesTheOldFileAlone) {
  Wire wire;
  wire.server.files["/f"] = {"old", 0};
  const Sent sent(wire, {0640, "/.f.new"}, "new");
  EXPECT_EQ(sent.failure, "the new file cannot take its place: permission denied");
  EXPECT_EQ(wire.server.files["/f"].contents, "old");
}

}  // namespace
}  // namespace fileref::sftp
