// Files of many kinds that belong together: whatever they come with, and before or after what.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// What an asset is, but for its identifier and when it was changed.
constexpr const char* kDescription =
    "SELECT group_concat(line, char(10)) FROM (SELECT a.media_type || ' ' || a.subtypes || ' ' ||"
    " a.width || 'x' || a.height || ' ' || a.duration || ' ' || a.created_ns || ' ' ||"
    " a.favorite || a.hidden || a.raw || ' ' || coalesce(a.burst_id, '-') || a.burst_primary ||"
    " ' ' || coalesce(a.content_id, '-') || ' ' || coalesce(a.trashed_ns, '') || ' ' ||"
    " (SELECT group_concat(r.type || ':' || r.name || ':' || r.size || ':' || hex(r.hash))"
    "  FROM (SELECT * FROM resources WHERE asset = a.id ORDER BY type, name) AS r) || ' ' ||"
    " coalesce((SELECT group_concat(c.title) FROM members AS m JOIN collections AS c"
    "  ON c.id = m.collection WHERE m.asset = a.id), '') || ' ' ||"
    " (SELECT count(*) FROM time_maps WHERE asset = a.id) AS line"
    " FROM assets AS a ORDER BY line)";

std::string described(const ImportFixture& test) {
  test.open().reset();
  return Gardener(test.libraryPath()).text(kDescription);
}

struct ImportParts : testing::Test, ImportFixture {};

using Files = std::vector<std::pair<std::string, std::string>>;

const Files kFolder = {
    {"d/IMG_1.HEIC", "image date=5000000000 id=A"},
    {"d/IMG_E1.JPG", "image date=5000000000 edited"},
    {"d/IMG_1.AAE", "side kind=adjustment"},
    {"d/IMG_1.MOV", "video id=A"},
    {"d/IMG_E1.MOV", "video rate=30 edited"},
    {"d/DSC_2.JPG", "image date=7000000000"},
    {"d/DSC_2.NEF", "image date=7100000000 raw"},
    {"d/DSC_2.xmp", "side kind=xmp favorite title=The_sea"},
    {"d/0_BURST5.jpg", "image date=9 x"},
    {"d/1_BURST5_COVER.jpg", "image date=8 y"},
    {"d/1_BURST5_COVER.jpg.json", "side kind=takeout favorite date=3"},
    {"d/IMG_3.MOV", "video rate=240"},
    {"d/IMG_3.AAE", "side kind=adjustment slow"},
    {"d/alone.png", "image alone"},
    {"d/alone.png.supplemental-metadata.json", "side kind=takeout date=77000000000"},
    {"d/IMG_4.JPG", "image four"},
    {"d/IMG_4.HEIC", "image four too"},
    {"d/IMG_4.MOV", "video four"},
    {"e/IMG_1.MOV", "video id=B"},
    {"e/other.heic", "image id=B date=4"},
};

Texts putAll(const ImportFixture& test, const Files& files) {
  Texts paths;
  for (const auto& [name, content] : files) paths.push_back(test.put(name, content));
  return paths;
}

TEST_F(ImportParts, MakeTheAssetsThatPeopleSee) {
  putAll(*this, kFolder);
  const ImportSummary summary = importAll();
  EXPECT_EQ(summary.refusedFiles, 0U);
  EXPECT_EQ(summary.addedFiles, kFolder.size());
  Texts found = assets();
  std::ranges::sort(found);
  EXPECT_EQ(found, (Texts{"1 1:0_BURST5.jpg burst", "1 1:1_BURST5_COVER.jpg burst represents",
                          "1 1:DSC_2.JPG 4:DSC_2.NEF",
                          "1 1:IMG_1.HEIC 9:IMG_1.MOV 5:FullSizeRender.jpg 10:FullSizeRender.mov "
                          "7:Adjustments.plist live",
                          "1 1:IMG_4.HEIC 9:IMG_4.MOV live", "1 1:IMG_4.JPG", "1 1:alone.png",
                          "1 1:other.heic 9:IMG_1.MOV live", "2 2:IMG_3.MOV 7:Adjustments.plist"}));
  expectSound();
  EXPECT_EQ(importAll(), (ImportSummary{.skippedFiles = kFolder.size()}));
}

TEST_F(ImportParts, SayWhenAPhotoWasTakenAndWhetherItIsAFavorite) {
  putAll(*this, {{"alone.png", "image alone"},
                 {"alone.png.json", "side kind=takeout date=77000000000"},
                 {"dated.jpg", "image date=5"},
                 {"dated.xmp", "side kind=xmp date=9 favorite"}});
  importAll();
  Gardener gardener(libraryPath());
  EXPECT_EQ(gardener.text("SELECT created_ns FROM assets WHERE id IN"
                          " (SELECT asset FROM resources WHERE name = 'alone.png')"),
            "77000000000");
  EXPECT_EQ(gardener.text("SELECT created_ns || ' ' || favorite FROM assets WHERE id IN"
                          " (SELECT asset FROM resources WHERE name = 'dated.jpg')"),
            "5 1");
}

TEST_F(ImportParts, ComeBackAsAnExportToldOfThem) {
  putAll(*this, {{"a.jpg", "image date=1"},
                 {"a (edited).jpg", "image edited"},
                 {"a.mov", "video apart"},
                 {"a.jpg.xmp",
                  "side kind=xmp date=7 favorite part=1:a.jpg:P1.JPG part=5:a_(edited).jpg "
                  "album=The_Sea hidden modified=99"}});
  importAll();
  Texts found = assets();
  std::ranges::sort(found);
  EXPECT_EQ(found, (Texts{"1 1:P1.JPG 5:FullSizeRender.jpg", "2 2:a.mov"}));
  Gardener gardener(libraryPath());
  EXPECT_EQ(gardener.text("SELECT created_ns || ' ' || modified_ns || ' ' || favorite || hidden"
                          " FROM assets WHERE media_type = 1"),
            "7 99 11");
  EXPECT_EQ(gardener.text("SELECT title FROM collections WHERE type = 1"), "The Sea");
  EXPECT_EQ(gardener.integer("SELECT count(*) FROM members"), 1);
}

TEST_F(ImportParts, StayApartWhereNothingButTheNameSaysThatTheyAreOne) {
  putAll(*this, {{"IMG_1.HEIC", "image date=5000000000"},
                 {"IMG_E1.JPG", "image date=9000000000"},
                 {"DSC_2.JPG", "image date=1000000000"},
                 {"DSC_2.NEF", "image raw date=2000000000"}});
  importAll();
  EXPECT_EQ(assets().size(), 4U);
}

TEST_F(ImportParts, KeepWhatOwnersDidToThem) {
  const auto raw = put("DSC_2.NEF", "image date=7100000000 raw");
  const auto photo = put("DSC_2.JPG", "image date=7000000000");
  const auto edited = put("IMG_E1.JPG", "image date=5 edited");
  const auto original = put("IMG_1.JPG", "image date=5");
  import({raw}, "Best");
  import({edited});
  import({original});
  const std::string kept = Gardener(libraryPath()).text("SELECT ident FROM assets LIMIT 1");
  Gardener(libraryPath()).run("UPDATE assets SET favorite = 1");
  import({photo});
  EXPECT_EQ(assets(), (Texts{"1 1:DSC_2.JPG 4:DSC_2.NEF", "1 1:IMG_1.JPG 5:FullSizeRender.jpg"}));
  Gardener gardener(libraryPath());
  EXPECT_EQ(gardener.text("SELECT ident FROM assets LIMIT 1"), kept);
  EXPECT_EQ(gardener.integer("SELECT sum(favorite) FROM assets"), 2);
  EXPECT_EQ(gardener.integer("SELECT count(*) FROM members"), 1);
  expectSound();
}

TEST_F(ImportParts, TellByTheModificationDateThatTheyWereJoined) {
  const auto photo = put("IMG_1.HEIC", "image");
  const auto movie = put("IMG_1.MOV", "video");
  import({photo});
  const std::int64_t before = Gardener(libraryPath()).integer("SELECT modified_ns FROM assets");
  import({movie});
  EXPECT_GT(Gardener(libraryPath()).integer("SELECT modified_ns FROM assets"), before);
}

TEST_F(ImportParts, ComeTogetherAgainWhenTheCatalogueIsLost) {
  putAll(*this, kFolder);
  put("f/waits.xmp", "side kind=xmp");
  importAll();
  const std::string before = described(*this);
  for (const auto& entry : fs::directory_iterator(libraryPath())) {
    const std::string name = entry.path().filename();
    if (name.starts_with("library.sqlite") || name.starts_with("snapshot")) fs::remove_all(entry);
  }
  const auto report = checkLibrary(libraryPath(), {.repair = true});
  ASSERT_TRUE(report) << report.error().sentence();
  EXPECT_FALSE(report->rescue.empty());
  EXPECT_EQ(described(*this), before);
  expectSound();
}

TEST_F(ImportParts, WaitWithoutBeingSeen) {
  const auto side = put("DSC_2.xmp", "side kind=xmp favorite");
  EXPECT_EQ(import({side}), (ImportSummary{.addedFiles = 1}));
  EXPECT_EQ(import({side}), (ImportSummary{.skippedFiles = 1}));
  EXPECT_EQ(assets(), Texts{});
  EXPECT_TRUE(listTrash(libraryPath())->empty());
  EXPECT_EQ(emptyTrash(libraryPath())->assets, 0U);
  expectSound();
  import({put("DSC_2.NEF", "image raw")});
  EXPECT_EQ(assets(), (Texts{"1 1:DSC_2.NEF"}));
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT sum(favorite) FROM assets"), 1);
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT count(*) FROM assets"), 1);
  expectSound();
}

TEST_F(ImportParts, AreHiddenAgainWhereARescueCannotTell) {
  import({put("DSC_2.xmp", "side kind=xmp"), put("b.jpg", "image")});
  Gardener(libraryPath()).run("UPDATE assets SET trashed_ns = NULL");
  EXPECT_EQ(assets().size(), 2U);
  const auto library = open();
  ASSERT_TRUE(library->catalogue()->change([](Database& database) {
    return hideWaiting(database) ? Done(Null{}) : database.lastError("no");
  }));
  EXPECT_EQ(assets(), (Texts{"1 1:b.jpg"}));
}

TEST_F(ImportParts, TakeAWholeFolderForAnAlbum) {
  put("Trip/a.jpg", "image a");
  put("Trip/a.jpg.json", "side kind=takeout date=5");
  put("Trip/metadata.json", "side kind=album title=To_the_sea");
  put("Other/a.jpg", "image a");
  put("Other/b.jpg", "image b");
  const ImportSummary summary = importAll();
  EXPECT_EQ(
      summary,
      (ImportSummary{.addedAssets = 2, .addedFiles = 3, .skippedFiles = 1, .passedOverFiles = 1}));
  Gardener gardener(libraryPath());
  constexpr const char* kMembers =
      "SELECT group_concat(title || ':' || name) FROM (SELECT c.title, r.name FROM members AS m"
      " JOIN collections AS c ON c.id = m.collection JOIN resources AS r ON r.asset = m.asset"
      " WHERE r.type = 1 ORDER BY 1, 2)";
  EXPECT_EQ(gardener.text(kMembers), "To the sea:a.jpg");
  listener = {};
  ImportOptions options{.paths = {folder / "in"}};
  options.foldersAreAlbums = true;
  ASSERT_TRUE(importIntoLibrary(libraryPath(), media, options, listener));
  EXPECT_EQ(gardener.text(kMembers), "Other:a.jpg,Other:b.jpg,To the sea:a.jpg");
}

TEST_F(ImportParts, GoByTheNewestXmpFile) {
  put("a.jpg", "image");
  fs::last_write_time(put("a.xmp", "side kind=xmp date=7"), fs::file_time_type::clock::now());
  fs::last_write_time(put("a.jpg.xmp", "side kind=xmp date=9"),
                      fs::file_time_type::clock::now() + std::chrono::hours(1));
  importAll();
  constexpr const char* kDate = "SELECT created_ns FROM assets";
  EXPECT_EQ(Gardener(libraryPath()).integer(kDate), 9);
  const auto later = put("a.xmp", "side kind=xmp date=11");
  fs::last_write_time(later, fs::file_time_type::clock::now() + std::chrono::hours(2));
  import({later});
  EXPECT_EQ(Gardener(libraryPath()).integer(kDate), 11);
  import({put("a.mov", "video")});
  EXPECT_EQ(Gardener(libraryPath()).integer(kDate), 11);
}

/// All files, cut into runs somehow.
void importInRuns(ImportFixture& test, Texts paths, std::mt19937& random) {
  std::ranges::shuffle(paths, random);
  while (!paths.empty()) {
    const std::size_t most = std::min<std::size_t>(paths.size(), 1 + random() % 6);
    const auto cut = paths.end() - static_cast<std::ptrdiff_t>(most);
    test.import(Texts(cut, paths.end()));
    paths.erase(cut, paths.end());
  }
}

class ImportOrders : public testing::TestWithParam<unsigned> {};

TEST_P(ImportOrders, MakeNoDifference) {
  std::mt19937 random(GetParam());
  ImportFixture together;
  putAll(together, kFolder);
  together.importAll();
  ImportFixture apart;
  // The same folder, for bursts by name are called after it.
  Texts paths;
  for (const auto& [name, content] : kFolder) paths.push_back(together.folder / ("in/" + name));
  importInRuns(apart, paths, random);
  const std::string expected = described(together);
  EXPECT_EQ(std::ranges::count(expected, '\n'), 8);
  EXPECT_EQ(described(apart), expected);
  apart.expectSound();
}

INSTANTIATE_TEST_SUITE_P(OfAFolder, ImportOrders, testing::Range(0U, 25U));

}  // namespace
}  // namespace quorvin
