// What the host can show about open files and directories.
#include "tests/module/module_host.h"

namespace fileref {
namespace {

class Information : public testing::Test {
 protected:
  AMENT& table() { return host_.table(); }

  static std::string text(const tchar* start, int length) {
    return {start == nullptr ? "" : start, static_cast<size_t>(length)};
  }
  // "label=value", and how many pairs there are.
  static std::string shown(const W_INFSTR* list) {
    const W_PAIRS& pair = list->wpairs[0];
    EXPECT_EQ(list->nextinfo, nullptr);
    EXPECT_EQ(list->lvldesc, nullptr);
    EXPECT_EQ(list->lvldlen + list->pairlen, 0);
    return text(pair.nameptr, pair.namelen) + "=" + text(pair.valueptr, pair.valuelen) + "/" +
           std::to_string(list->pairnum);
  }
  // Shown, and given back at once.
  std::string of_file(ptr file) {
    W_INFSTR* list = nullptr;
    EXPECT_EQ(table().aminfsy.entryp(file, &list), kSuccess);
    EXPECT_EQ(list->wpairs[1].nameptr, nullptr) << "the second pair is empty";
    std::string all = shown(list);
    EXPECT_EQ(table().aminfsr.entryp(file, list), kSuccess);
    return all;
  }
  ptr open_directory() {
    ptr directory = nullptr;
    runtime::Name8 logical = runtime::name8("F");
    EXPECT_EQ(table().amdopen.entryp(&directory, logical.data(), host_.runtime.request()),
              kSuccess);
    return directory;
  }

  ModuleHost host_;
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
      {"", "MGET LS", kOpenInput, "Filename=LS generated list of files/2"},
      {"/d", "DIR LS", kOpenInput, "Filename=LS generated list of files/2"},
  };
  for (const auto& c : cases) {
    ptr file = nullptr;
    host_.client.files["f"] = "1\n";
    host_.assign("F", c.physical, std::string("HOST='h' ") + c.options);
    ASSERT_EQ(host_.open(&file, "F", c.mode), kSuccess) << c.options;
    EXPECT_EQ(of_file(file), c.shown);
    host_.close(file);
    host_.deassign("F");
  }
}

TEST_F(Information, IsReleasedOnce) {
  ptr file = nullptr;
  W_INFSTR* first = nullptr;
  W_INFSTR* second = nullptr;
  host_.assign("F", "f");
  host_.open(&file, "F", 0);
  const long before = host_.runtime.outstanding();
  EXPECT_EQ(table().aminfsy.entryp(file, &first), kSuccess);
  EXPECT_EQ(table().aminfsy.entryp(file, &second), kSuccess);
  EXPECT_EQ(host_.runtime.outstanding(), before + 3) << "two lists and one scratch block";
  EXPECT_EQ(table().aminfsr.entryp(file, nullptr), kSuccess);
  EXPECT_EQ(table().aminfsr.entryp(file, first), kSuccess);
  EXPECT_EQ(host_.runtime.outstanding(), before + 1);
  EXPECT_EQ(host_.close(file), kSuccess) << "takes the latest list along";
  host_.deassign("F");
}

}  // namespace
}  // namespace fileref
