// Files whose names alone do not tell what they belong to.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform_linux/library/originals/original_record.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

constexpr const char* kOld = "1577836800000000000";  // 2020
constexpr const char* kNew = "1640995200000000000";  // 2022

struct ImportChoices : testing::Test, ImportFixture {
  /// Resources of each asset that is seen, by the content that they have.
  Texts contents() const {
    const auto library = open();
    Texts found;
    Gardener gardener(libraryPath());
    const std::string all = gardener.text(
        "SELECT group_concat(line, '|') FROM (SELECT (SELECT group_concat(r.type || ':' || r.path,"
        " ' ') FROM (SELECT * FROM resources WHERE asset = a.id ORDER BY pos) AS r) AS line"
        " FROM assets AS a WHERE a.trashed_ns IS NULL ORDER BY a.id)");
    std::string text;
    for (std::size_t at = 0; at < all.size();) {
      const std::size_t colon = all.find(':', at);
      const std::size_t end = std::min(all.find_first_of(" |", colon), all.size());
      text += all.substr(at, colon - at) + "=" +
              readFile(libraryPath() + "/originals/" + all.substr(colon + 1, end - colon - 1));
      if (end == all.size() || all[end] == '|') {
        found.push_back(text);
        text.clear();
      } else {
        text += "; ";
      }
      at = end + 1;
    }
    std::ranges::sort(found);
    return found;
  }
  void expectCheckClean() const {
    const auto report = checkLibrary(libraryPath(), {.content = true});
    ASSERT_TRUE(report);
    for (const LibraryFinding& finding : report->findings) ADD_FAILURE() << finding.sentence;
  }
  std::string old(const std::string& what) const { return what + " old date=" + kOld; }
  std::string fresh(const std::string& what) const { return what + " new date=" + kNew; }
  /// What was there before came in long ago.
  void letYearsPass() const {
    // The records of the originals tell when they came.
    for (const auto& entry : fs::recursive_directory_iterator(folder / "library/originals")) {
      if (!entry.is_regular_file()) continue;
      const auto record = readRecord(*libraryFolderAt(libraryPath()),
                                     fs::relative(entry, folder / "library/originals"));
      ASSERT_TRUE(record);
      OriginalRecord earlier = *record;
      earlier.asset.added -= 86'400'000'000'000;
      ASSERT_EQ(::chmod(entry.path().c_str(), 0600), 0);
      const FileDescriptor file(::open(entry.path().c_str(), O_RDWR));
      ASSERT_TRUE(writeRecord(*libraryFolderAt(libraryPath()), file.get(), earlier));
      ASSERT_EQ(::chmod(entry.path().c_str(), 0400), 0);
    }
  }
};

class ImportOfManyContents : public ImportChoices, public testing::WithParamInterface<int> {
 protected:
  /// So that every order of checksums is met.
  std::string number() const { return " " + std::to_string(GetParam()); }
};

TEST_P(ImportOfManyContents, AnAdjustmentGivesWayOnlyToOneThatBelongsThere) {
  put("IMG_1.MOV", "video");
  put("IMG_1.AAE", "side kind=adjustment" + number());
  importAll();
  put("IMG_1.JPG", "image");
  put("IMG_1.AAE", "side kind=adjustment other" + number());
  EXPECT_EQ(importAll().refusedFiles, 0U);
  EXPECT_EQ(contents(), (Texts{"1=image; 9=video; 7=side kind=adjustment" + number()}));
  expectSound();
  expectCheckClean();
}

TEST_P(ImportOfManyContents, ACounterThatBeginsAnewMixesNothing) {
  put("IMG_1.JPG", old("image" + number()));
  importAll();
  letYearsPass();
  put("IMG_1.JPG", fresh("image" + number()));
  put("IMG_1.AAE", "side kind=adjustment" + number());
  put("IMG_E1.JPG", "image edited" + number());
  put("IMG_1.MOV", "video" + number());
  importAll();
  EXPECT_EQ(contents(),
            (Texts{"1=" + fresh("image" + number()) + "; 9=video" + number() + "; 5=image edited" +
                       number() + "; 7=side kind=adjustment" + number(),
                   "1=" + old("image" + number())}));
}

TEST_P(ImportOfManyContents, ARescueKeepsPairsOfOneNameApart) {
  for (const char* date : {kOld, kNew}) {
    put("IMG_1.JPG", "image date=" + std::string(date) + number());
    put("IMG_1.MOV", "video date=" + std::string(date) + number());
    importAll();
  }
  const Texts before = contents();
  ASSERT_EQ(before.size(), 2U);
  for (const auto& entry : fs::directory_iterator(libraryPath())) {
    const std::string name = entry.path().filename();
    if (name.starts_with("library.sqlite") || name == "snapshots") fs::remove_all(entry);
  }
  ASSERT_TRUE(checkLibrary(libraryPath(), {.repair = true}));
  EXPECT_EQ(contents(), before);
}

INSTANTIATE_TEST_SUITE_P(OfFiles, ImportOfManyContents, testing::Range(0, 8));

TEST_F(ImportChoices, ABurstByNamesGrowsWithEveryRun) {
  for (int i = 0; i < 4; ++i) {
    import({put(std::to_string(i) + "_BURST99.jpg", "image " + std::to_string(i))});
  }
  Gardener gardener(libraryPath());
  EXPECT_EQ(gardener.integer("SELECT count(DISTINCT burst_id) FROM assets"), 1);
  EXPECT_EQ(gardener.integer("SELECT count(*) FROM assets WHERE burst_id IS NOT NULL"), 4);
  EXPECT_EQ(gardener.integer("SELECT sum(represents) FROM assets"), 1);
  // One that an earlier version made goes by another identifier.
  gardener.run("UPDATE assets SET burst_id = 'of an earlier version'");
  import({put("9_BURST99.jpg", "image 9")});
  EXPECT_EQ(gardener.text("SELECT group_concat(DISTINCT burst_id) FROM assets"),
            "of an earlier version");
}

TEST_F(ImportChoices, ALargeBurstByNamesIsOne) {
  for (int i = 0; i < 129; ++i) {
    put(std::to_string(1000 + i) + "_BURST7.jpg", "image " + std::to_string(i));
  }
  importAll();
  EXPECT_EQ(
      Gardener(libraryPath())
          .integer("SELECT count(*) FROM assets WHERE burst_id IS NOT NULL AND represents = 0"),
      128);
}

TEST_F(ImportChoices, NotesThatCannotBeTrueTakeNothing) {
  const auto photos = [&](const std::string& parts) {
    ImportFixture test;
    test.put("P1.JPG", "image 1");
    test.put("P2.JPG", "image 2");
    test.put("P1.JPG.xmp", "side kind=xmp " + parts);
    EXPECT_EQ(test.importAll().refusedFiles, 0U) << parts;
    test.expectSound();
    return test.assets();
  };
  const Texts both = {"1 1:P1.JPG", "1 1:P2.JPG"};
  for (const char* type : {"1", "7", "9", "2", "55", "1001", "1002", "4294967297"}) {
    EXPECT_EQ(photos("part=1:P1.JPG part=" + std::string(type) + ":P2.JPG"), both) << type;
  }
  EXPECT_EQ(photos("part=9:P1.JPG part=1:P2.JPG"), both);
  EXPECT_EQ(photos("part=77:P1.JPG part=78:P2.JPG"), both);
  EXPECT_EQ(photos("part=1:P1.JPG part=5:P2.JPG"), (Texts{"1 1:P1.JPG 5:FullSizeRender.jpg"}));
}

TEST_F(ImportChoices, WhatTurnsUpAgainJoinsWhatLiesThere) {
  put("x/IMG_5.MOV", "video");
  put("y/IMG_5.JPG", "image");
  importAll();
  EXPECT_EQ(assets().size(), 2U);
  import({put("x/IMG_5.JPG", "image")});
  EXPECT_EQ(assets(), (Texts{"1 1:IMG_5.JPG 9:IMG_5.MOV live"}));
  put("z/IMG_5.JPG.json", "side kind=takeout favorite");
  import({folder / "in/z"});
  import({put("z/IMG_5.JPG", "image")});
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT sum(favorite) FROM assets"), 1);
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT count(*) FROM assets"), 1);
  expectSound();
}

TEST_F(ImportChoices, SideFilesThatSayTheSameWaitInEachFolder) {
  put("a/IMG_3.JPG.json", "side kind=takeout favorite");
  put("b/IMG_3.JPG.json", "side kind=takeout favorite");
  importAll();
  put("a/IMG_3.JPG", "image a");
  put("b/IMG_3.JPG", "image b");
  importAll();
  EXPECT_EQ(assets().size(), 2U);
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT sum(favorite) FROM assets"), 2);
}

}  // namespace
}  // namespace quorvin
