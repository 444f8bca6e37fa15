// What the host can show about open files and directories.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Information : public testing::Test {
 protected:
  void assign(const std::string& physical, const std::string& options) {
    ASSERT_EQ(host_.assign("F", physical, "HOST='h' " + options), kSuccess);
  }
  ptr open(int mode = 0) {
    ptr file = nullptr;
    EXPECT_EQ(host_.open(&file, "F", mode), kSuccess);
    return file;
  }
  ptr open_directory() {
    ptr directory = nullptr;
    runtime::Name8 logical = runtime::name8("F");
    EXPECT_EQ(table_.amdopen.entryp(&directory, logical.data(), host_.runtime.request()), kSuccess);
    return directory;
  }
  // "label=value/number of pairs"
  static std::string shown(const W_INFSTR* list) {
    const W_PAIRS& pair = list->wpairs[0];
    EXPECT_TRUE(list->nextinfo == nullptr && list->lvldesc == nullptr && list->lvldlen == 0);
    EXPECT_TRUE(list->pairnum == 1 || list->wpairs[1].nameptr == nullptr);
    return std::string(pair.nameptr, size_t(pair.namelen)) + "=" +
           std::string(pair.valueptr, size_t(pair.valuelen)) + "/" + std::to_string(list->pairnum);
  }
  std::string of_file(ptr file) {
    W_INFSTR* list = nullptr;
    EXPECT_EQ(table_.aminfsy.entryp(file, &list), kSuccess);
    std::string all = shown(list);
    EXPECT_EQ(table_.aminfsr.entryp(file, list), kSuccess);
    return all;
  }

  ModuleHost host_;
  AMENT& table_ = host_.table();
};

TEST_F(Information, NamesWhatIsOpen) {
  const struct {
    const char* physical;
    const char* options;
    int mode;
    const char* shown;
  } cases[] = {
      {"f", "", kOpenInput, "Filename=f/2"},
      {"f", "", 0, "Filename=f/2"},
      {"(f g)", "MGET", kOpenInput, "Filename=(f g)/2"},
      {"f", "LS", kOpenInput, "Filename=LS generated list of files/2"},
      {"f", "LSA", kOpenInput, "Filename=f/2"},
      {"/d", "DIR LS", kOpenInput, "Filename=LS generated list of files/2"},
  };
  for (const auto& c : cases) {
    host_.client.files["f"] = "1\n";
    assign(c.physical, c.options);
    ptr file = open(c.mode);
    EXPECT_EQ(of_file(file), c.shown);
    host_.close(file);
    host_.deassign("F");
  }
}

// The length of the name is then that of the file being read.
TEST_F(Information, OfAMultipleGetEndsWithItsText) {
  assign("/d/*", "");
  host_.client.script = {"sftp> ", "sftp> ", "sftp> ls *\na-much-longer-name\nsftp> ", "sftp> "};
  host_.client.files["a-much-longer-name"] = "1\n";
  ptr file = nullptr;
  ASSERT_EQ(host_.open(&file, "F", kOpenInput, "MGET DIR"), kSuccess);
  EXPECT_EQ(of_file(file), "Filename=*/2");
  host_.close(file);
  host_.deassign("F");
}

TEST_F(Information, NamesDirectoriesAndTheirMembers) {
  host_.client.files["m.CSV"] = "1\n";
  assign("/d", "DIR");
  ptr directory = open_directory(), file = nullptr;
  W_INFSTR* list = nullptr;
  EXPECT_EQ(table_.amdinfs.entryp(directory, &list), kSuccess);
  EXPECT_EQ(shown(list), "Directory=/d/1");
  WX_OPENPARM parms{};
  parms.openmode = kOpenInput;
  parms.hostptr = host_.options("DEBUG FILEEXT");
  char name[] = "m", type[] = "CSV     ";
  EXPECT_EQ(table_.ammopen.entryp(&file, directory, name, 1, type, &parms), kSuccess);
  EXPECT_EQ(of_file(file), "Filename=m.CSV/2");
  table_.ammclos.entryp(file);
  table_.amdclos.entryp(directory);
  EXPECT_EQ(table_.amdinfr.entryp(nullptr, list), kSuccess) << "it outlives its directory";
  EXPECT_EQ(table_.amdinfr.entryp(nullptr, nullptr), kSuccess);
  host_.deassign("F");
}

TEST_F(Information, IsReleasedOnceAndNeedsMemory) {
  assign("/d", "DIR");
  ptr file = open(), directory = open_directory();
  W_INFSTR *first = nullptr, *second = nullptr, *none = nullptr;
  EXPECT_EQ(table_.aminfsy.entryp(nullptr, &none), kNullPointer);
  EXPECT_EQ(table_.aminfsr.entryp(nullptr, nullptr), kNullPointer);
  EXPECT_EQ(table_.amdinfs.entryp(nullptr, &none), kNullPointer);
  const long before = host_.runtime.outstanding();
  runtime::FaultPoint& faults = host_.runtime.memory.allocation_faults();
  for (const long nth : {1, 2}) {
    faults.arm(nth);
    EXPECT_EQ(table_.aminfsy.entryp(file, &none), kNoMemory);
    EXPECT_EQ(host_.runtime.outstanding(), before) << nth;
  }
  faults.arm(1);
  EXPECT_EQ(table_.amdinfs.entryp(directory, &none), kNoMemory);
  faults.disarm();
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(table_.aminfsy.entryp(file, &first), kSuccess);
  EXPECT_EQ(table_.aminfsy.entryp(file, &second), kSuccess);
  EXPECT_EQ(host_.runtime.outstanding(), before + 3) << "two lists and one scratch block";
  EXPECT_EQ(table_.aminfsr.entryp(file, nullptr), kSuccess);
  EXPECT_EQ(table_.aminfsr.entryp(file, first), kSuccess);
  EXPECT_EQ(host_.runtime.outstanding(), before + 1);
  table_.amdclos.entryp(directory);
  EXPECT_EQ(host_.close(file), kSuccess) << "takes the latest list along";
  host_.deassign("F");
}

}  // namespace
}  // namespace fileref
