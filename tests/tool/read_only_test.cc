// The program on a library that can only be read.
#include "testing/engine/tool_fixture.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

class ReadOnlyLibraryCommand : public ToolFixture {
 protected:
  void SetUp() override {
    if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
    fs::copy(kImportedLibrary, path(), fs::copy_options::recursive);
    volume.makeReadOnly();
    before_ = stateBelow(volume.path());
  }
  void TearDown() override { EXPECT_EQ(stateBelow(volume.path()), before_); }

  std::string path() const { return volume / "library"; }
  Ran on(const std::string& library, Words words) {
    words.insert(words.begin(), {"--library", library});
    return quorvin(words);
  }

  SmallVolume volume{"size=64m"};

 private:
  std::vector<std::string> before_;
};

TEST_F(ReadOnlyLibraryCommand, WhatReadsPrintsTheSameAsOfOneThatCanBeWrittenTo) {
  const std::string writable = copyOfImportedLibrary();
  const Words galleries = {"call", "getGalleryList",
                           R"({"withAllPhotos": true, "filterEmptyAsset": true,
                               "withSmartAlbum": true, "mediaType": 0})"};
  for (const Words& words :
       {Words{"check"}, Words{"check", "--content"}, Words{"trash", "list"}, galleries}) {
    const Ran expected = on(writable, words);
    const Ran ran = on(path(), words);
    EXPECT_EQ(expected.status, 0) << expected.err;
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, expected.out);
    EXPECT_EQ(ran.err, "");
  }
  Json expected = Json::parse(on(writable, {"info", "--json"}).out);
  expected["path"] = path();
  EXPECT_EQ(Json::parse(on(path(), {"info", "--json"}).out), expected);
  EXPECT_EQ(on(path(), {"info"}).status, 0);
}

TEST_F(ReadOnlyLibraryCommand, WhatChangesSaysWhyItCannot) {
  const fs::path photo = kGoodMedia / "NO_DATE.jpg";
  for (const Words& words :
       {Words{"import", photo}, Words{"authorize", "denied"}, Words{"trash", "empty"},
        Words{"trash", "restore", "0/L0/001"}, Words{"check", "--repair"}}) {
    const Ran ran = on(path(), words);
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "quorvin: The library “" + path() +
                           "” can only be read because its volume is read-only.\n");
  }
}

TEST_F(ReadOnlyLibraryCommand, ABackupOfItIsALibraryThatCanBeWrittenTo) {
  const fs::path backup = folder() / "backup";
  const Ran ran = on(path(), {"backup", backup});
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(ran.out.find("Backed up "), 0U) << ran.out;
  EXPECT_EQ(on(backup, {"check", "--content"}).status, 0);
  EXPECT_EQ(on(backup, {"authorize", "denied"}).status, 0);
}

}  // namespace
}  // namespace quorvin
