// `quorvin check`: sound libraries, damaged ones, and repairs.
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class CheckCommand : public ToolFixture {
 protected:
  Ran check(Words words = {}) {
    words.insert(words.begin(), {"--library", library(), "check"});
    return quorvin(words);
  }
  fs::path anOriginal() {
    for (const auto& entry : fs::recursive_directory_iterator(library() / "originals")) {
      if (entry.is_regular_file()) return entry.path();
    }
    return {};
  }
};

TEST_F(CheckCommand, FindsTheImportedLibrarySound) {
  copyOfImportedLibrary();
  const Ran ran = check();
  EXPECT_EQ(ran.status, 0) << ran.out;
  EXPECT_EQ(ran.out.find("Checked "), 0U) << ran.out;
  EXPECT_NE(ran.out.find(": all is well.\n"), std::string::npos);
  const Json read = Json::parse(check({"--json"}).out);
  EXPECT_TRUE(read["findings"].empty());
  EXPECT_GT(read["originals"], read["assets"]);
  EXPECT_GT(read["bytes"], read["originals"]);
}

TEST_F(CheckCommand, ReportsAMissingOriginalAlsoAfterARepair) {
  copyOfImportedLibrary();
  fs::remove(anOriginal());
  for (const Words& words : {Words{}, Words{"--repair"}}) {
    const Ran ran = check(words);
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find(" is missing.\n"), std::string::npos) << ran.out;
    EXPECT_NE(ran.out.find(": 1 problem.\n"), std::string::npos) << ran.out;
  }
  const Json found = Json::parse(check({"--json"}).out)["findings"];
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0]["kind"], "missingOriginal");
  EXPECT_EQ(found[0]["repaired"], false);
}

TEST_F(CheckCommand, MovesAStrayFileAside) {
  copyOfImportedLibrary();
  write(library() / "originals" / "stray\x1b.jpg", "precious");
  const Ran found = check();
  EXPECT_EQ(found.status, 1);
  EXPECT_NE(found.out.find("stray\\x1B.jpg” belongs to no asset.\n"), std::string::npos)
      << found.out;
  const Ran repaired = check({"--repair"});
  EXPECT_EQ(repaired.status, 0);
  EXPECT_NE(repaired.out.find(": 1 problem repaired, none left.\n"), std::string::npos)
      << repaired.out;
  EXPECT_EQ(contents(library() / "recovered" / "stray\x1b.jpg"), "precious");
  EXPECT_EQ(check().status, 0);
}

TEST_F(CheckCommand, BringsBackALostCatalogue) {
  copyOfImportedLibrary();
  // Without one, the next who changes something makes a snapshot of what there is by then.
  fs::remove_all(library() / "snapshots");
  ASSERT_TRUE(call(library(), "createAlbum", R"({"title": "Newest"})").contains("result"));
  const Json before = Json::parse(check({"--json"}).out);
  const auto galleries = [this] {
    return call(library(), "getGalleryList",
                R"({"withAllPhotos": true, "filterEmptyAsset": false, "withSmartAlbum": true,
                    "mediaType": 0})");
  };
  const Json shown = galleries();
  fs::resize_file(library() / "library.sqlite", 0);
  for (const Words& words : {Words{"info"}, Words{"check"}, Words{"trash", "list"}}) {
    Words all = {"--library", library()};
    all.insert(all.end(), words.begin(), words.end());
    const Ran ran = quorvin(all);
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.err, "quorvin: The catalogue “" + (library() / "library.sqlite").string() +
                           "” is empty. The command “quorvin check --repair” brings back what can "
                           "be.\n");
  }
  const Ran repaired = check({"--repair"});
  EXPECT_EQ(repaired.status, 0) << repaired.out << repaired.err;
  EXPECT_NE(repaired.out.find("Of the old catalogue nothing is left.\nThe snapshot “snapshots/"),
            std::string::npos)
      << repaired.out;
  EXPECT_NE(repaired.out.find("library.sqlite” is empty. Repaired.\n"), std::string::npos);
  EXPECT_EQ(Json::parse(check({"--json"}).out), before);
  EXPECT_EQ(galleries(), shown);
}

TEST_F(CheckCommand, DoesNotMakeAMissingLibrary) {
  const Ran ran = check({"--repair"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.err, "quorvin: There is no photo library at “" + library().string() + "”.\n");
  EXPECT_FALSE(fs::exists(library()));
}

}  // namespace
}  // namespace quorvin
