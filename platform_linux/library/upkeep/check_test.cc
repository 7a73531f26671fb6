#include "platform_linux/library/upkeep/check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform_linux/library/previews/preview_store.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Check : testing::Test, ChangeFixture {
  std::string path() const { return folder / "library"; }

  CheckReport check(bool repair = false) {
    const auto report = checkLibrary(path(), {.content = true, .repair = repair});
    EXPECT_TRUE(report) << report.error().sentence();
    return report ? *report : CheckReport{};
  }
  /// "kind" or, where it was repaired, "kind repaired", of each finding.
  std::vector<std::string> kinds(bool repair = false) {
    std::vector<std::string> found;
    for (const LibraryFinding& finding : check(repair).findings) {
      found.push_back(std::string(findingName(finding.kind)) +
                      (finding.isRepaired ? " repaired" : ""));
    }
    return found;
  }
  using Kinds = std::vector<std::string>;
  void expectRepairable(const std::string& kind) {
    EXPECT_EQ(kinds(), Kinds{kind});
    EXPECT_EQ(kinds(), Kinds{kind}) << "looking must change nothing";
    EXPECT_EQ(kinds(true), Kinds{kind + " repaired"});
    EXPECT_EQ(kinds(), Kinds{});
  }

  std::string saveMotionPhoto() {
    const std::string still = "image movieat=64 moviesize=5";
    EXPECT_TRUE(
        saveImage(put("a.jpg", still + std::string(64 - still.size(), ' ') + "movie")).success);
    return path() + "/originals/" + originalsOf(saved).front();
  }
};

TEST_F(Check, FindsNothingInASoundLibrary) {
  saveMotionPhoto();
  EXPECT_TRUE(saveVideo(put("b.mov", "video")).success);
  EXPECT_TRUE(deleteAssets({saved}).success);
  EXPECT_TRUE(saveImage(put("c.jpg", "image burst=B")).success);
  const CheckReport report = check();
  EXPECT_EQ(report.assets, 3);
  EXPECT_EQ(report.originals, 4);
  EXPECT_EQ(report.bytes, 69 + 5 + 5 + 13);
  EXPECT_TRUE(report.findings.empty()) << report.findings.front().sentence;
}

TEST_F(Check, FindsNothingInANewLibrary) {
  EXPECT_EQ(kinds(true), Kinds{});
  EXPECT_FALSE(fs::exists(path() + "/recovered"));
}

TEST_F(Check, TellsHowFarItIs) {
  saveMotionPhoto();
  std::vector<std::size_t> steps;
  EXPECT_TRUE(checkLibrary(path(), {.originalsFound = [&](std::size_t n) { steps.push_back(n); },
                                    .originalDone = [&] { steps.push_back(0); }}));
  EXPECT_EQ(steps, (std::vector<std::size_t>{2, 0, 0}));
}

TEST_F(Check, FindsAMissingOriginalAndKeepsItsAsset) {
  fs::remove(saveMotionPhoto());
  const CheckReport report = check(true);
  ASSERT_EQ(report.findings.size(), 1U);
  EXPECT_EQ(report.findings[0].kind, FindingKind::missingOriginal);
  EXPECT_FALSE(report.findings[0].isRepaired);
  EXPECT_NE(report.findings[0].sentence.find("of “a.jpg” is missing."), std::string::npos);
  EXPECT_NE(find(saved), nullptr);
}

TEST_F(Check, FindsAnOriginalOfAnotherSizeOrContent) {
  const std::string original = saveMotionPhoto();
  ::chmod(original.c_str(), 0644);
  const std::string content = readFile(original);
  writeFile(original, "x" + content.substr(1));
  EXPECT_EQ(kinds(true), Kinds{"changedOriginal"});
  writeFile(original, content + " ");
  EXPECT_NE(check().findings.at(0).sentence.find("has 70 bytes instead of 69."), std::string::npos);
  writeFile(original, content);
  EXPECT_EQ(kinds(), Kinds{});
}

TEST_F(Check, ReadsContentsOnlyWhenAsked) {
  const std::string original = saveMotionPhoto();
  ::chmod(original.c_str(), 0644);
  const std::string content = readFile(original);
  writeFile(original, "x" + content.substr(1));
  EXPECT_TRUE(checkLibrary(path(), {})->findings.empty());
  EXPECT_EQ(checkLibrary(path(), {.content = true})->findings.size(), 1U);
  writeFile(original, content + " ");
  EXPECT_EQ(checkLibrary(path(), {})->findings.size(), 1U);
}

TEST_F(Check, RecordsChecksumsThatAreMissing) {
  saveMotionPhoto();
  const std::string hashes = gardener.text("SELECT hex(hash) FROM resources ORDER BY path");
  gardener.run("UPDATE resources SET hash = x''");
  EXPECT_EQ(kinds(), (Kinds{"missingChecksum", "missingChecksum"}));
  EXPECT_EQ(kinds(true), (Kinds{"missingChecksum repaired", "missingChecksum repaired"}));
  EXPECT_EQ(kinds(), Kinds{});
  EXPECT_EQ(gardener.text("SELECT hex(hash) FROM resources ORDER BY path"), hashes);
}

TEST_F(Check, FindsAnOriginalThatIsNoFile) {
  const std::string original = saveMotionPhoto();
  fs::remove(original);
  fs::create_directory(original);
  EXPECT_EQ(kinds(true), Kinds{"changedOriginal"});
  fs::remove(original);
  fs::create_symlink(folder / "in/a.jpg", original);
  EXPECT_EQ(kinds(), Kinds{"unreadableOriginal"});
}

TEST_F(Check, MovesOriginalsOfNobodyAsideAndNeverRemovesThem) {
  writeFile(path() + "/originals/AB/stray.jpg", "precious");
  writeFile(path() + "/recovered/AB/stray.jpg", "found before");
  expectRepairable("strayOriginal");
  EXPECT_EQ(readFile(path() + "/recovered/AB/stray.jpg"), "found before");
  EXPECT_EQ(readFile(path() + "/recovered/AB/stray 2.jpg"), "precious");
}

TEST_F(Check, LeavesOriginalsThatAreOnTheirWayIn) {
  const auto staging = Staging::begin(library->catalogue()->folder());
  ASSERT_TRUE((*staging)->announce({"AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg"}));
  writeFile(path() + "/originals/AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg", "bytes");
  EXPECT_EQ(kinds(true), Kinds{});
  EXPECT_TRUE(fs::exists(path() + "/originals/AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg"));
}

TEST_F(Check, RemovesWhatIsNoPreview) {
  writeFile(path() + "/derivatives/AB/stray-256.jpg", "preview");
  expectRepairable("strayDerivative");
  EXPECT_EQ(filesBelow(path() + "/derivatives").size(), 0U);
}

TEST_F(Check, PreviewsBelongToTheAssetOfTheirFile) {
  saveMotionPhoto();
  const std::string other = "AB345678-90AB-4DEF-8123-456789ABCDEF.jpg";
  const std::string originals = path() + "/originals/";
  fs::create_directories(originals + "AB");
  fs::rename(originals + originalsOf(saved).front(), originals + "AB/" + other);
  gardener.run("UPDATE resources SET path = 'AB/" + other + "' WHERE type = 1");
  PreviewStore store(library->catalogue()->folder());
  const PreviewStore::Made made{kGridSide, {4, 3}, ByteBuffer(std::vector<std::uint8_t>{1})};
  ASSERT_TRUE(store.keep({other, 1, 1}, {&made, 1}));
  EXPECT_EQ(kinds(), Kinds{});
  ASSERT_TRUE(store.keep({"CD" + other.substr(2), 1, 1}, {&made, 1}));
  expectRepairable("strayDerivative");
  std::vector<std::string> names;
  store.forEachOriginal([&](const std::string& name) { names.push_back(name); });
  EXPECT_EQ(names, std::vector<std::string>{other});
}

TEST_F(Check, SettlesBursts) {
  gardener.plant({.created = 1, .burst = "none"});
  gardener.plant({.created = 1, .burst = "two", .represents = true});
  const std::string second = gardener.plant({.created = 2, .burst = "two", .represents = true});
  gardener.run(
      "INSERT INTO resources SELECT id, 0, 1, 'a', 'u', 'p' || id, 0, x'00', 1 FROM assets");
  // The originals of planted assets are missing.
  EXPECT_EQ(kinds(true).size(), 2U + 3U);
  EXPECT_EQ(gardener.text("SELECT sum(represents) FROM assets"), "2");
  EXPECT_EQ(gardener.text("SELECT represents FROM assets WHERE ident = '" + second + "'"), "0");
}

TEST_F(Check, SettlesTheMarkOfLivePhotos) {
  saveMotionPhoto();
  gardener.run("UPDATE assets SET subtypes = 2");
  expectRepairable("wrongLivePhoto");
  EXPECT_EQ(gardener.text("SELECT subtypes FROM assets"), "10");
  EXPECT_TRUE(saveImage(put("b.jpg", "image")).success);
  gardener.run("UPDATE assets SET subtypes = 12 WHERE ident = '" + saved + "'");
  expectRepairable("wrongLivePhoto");
  EXPECT_EQ(find(saved)->mediaSubtypes, 4U);
}

TEST_F(Check, SettlesListings) {
  EXPECT_TRUE(saveImage(put("b.jpg", "image")).success);
  gardener.run("UPDATE assets SET visible = 0");
  EXPECT_TRUE(recents().empty());
  expectRepairable("wrongListing");
  EXPECT_EQ(recents().size(), 1U);
}

TEST_F(Check, PutsAssetsIntoTheListingsThatTheyBelongTo) {
  EXPECT_TRUE(saveImage(put("b.jpg", "image")).success);
  gardener.run("DELETE FROM places WHERE listing = -417");
  expectRepairable("wrongListing");
  EXPECT_EQ(recents().size(), 1U);
  gardener.run("INSERT INTO places SELECT -406, 1, id, id FROM assets");
  expectRepairable("wrongListing");
}

TEST_F(Check, CountsListingsAnew) {
  EXPECT_TRUE(saveImage(put("b.jpg", "image")).success);
  for (const char* level : {"0", "1", "2"}) {
    gardener.run(std::string("UPDATE place_counts SET videos = videos + 1 WHERE listing = -418") +
                 " AND level = " + level);
    expectRepairable("wrongListing");
  }
}

TEST_F(Check, FindsAnAssetWithoutAnOriginal) {
  gardener.plant({});
  EXPECT_EQ(kinds(true), Kinds{"assetWithoutOriginal"});
}

TEST_F(Check, RemovesRowsOfNobodyAndSavesTheirOriginals) {
  const std::string original = saveMotionPhoto();
  const std::string relative = original.substr((path() + "/originals/").size());
  gardener.run(
      "PRAGMA foreign_keys=OFF; INSERT INTO members VALUES (1, 99, 0);"
      "UPDATE resources SET asset = 99 WHERE type = 1; PRAGMA foreign_keys=ON");
  EXPECT_EQ(kinds(true), (Kinds{"danglingRow repaired", "danglingRow repaired",
                                "assetWithoutOriginal", "strayOriginal repaired"}));
  EXPECT_TRUE(fs::exists(path() + "/recovered/" + relative));
}

TEST_F(Check, MakesDamagedIndexesAnew) {
  EXPECT_TRUE(saveImage(put("b.jpg", "image")).success);
  // An index that holds nothing, as if its pages had been lost.
  gardener.run(
      "PRAGMA writable_schema=ON;"
      "UPDATE sqlite_schema SET sql = 'CREATE INDEX resources_by_content ON resources(size, hash)"
      " WHERE size < 0' WHERE name = 'resources_by_content'; PRAGMA writable_schema=RESET");
  gardener.run(
      "REINDEX resources_by_content; PRAGMA writable_schema=ON;"
      "UPDATE sqlite_schema SET sql = 'CREATE INDEX resources_by_content ON resources(size, hash)'"
      " WHERE name = 'resources_by_content'; PRAGMA writable_schema=RESET");
  const auto before = kinds();
  ASSERT_FALSE(before.empty());
  EXPECT_EQ(before.front(), "damagedCatalogue");
  for (const std::string& kind : kinds(true)) EXPECT_EQ(kind, "damagedCatalogue repaired");
  EXPECT_EQ(kinds(), Kinds{});
}

TEST(CheckOfNoLibrary, IsAnErrorAndMakesNone) {
  TemporaryFolder folder;
  EXPECT_FALSE(checkLibrary(folder / "library", {}));
  EXPECT_FALSE(fs::exists(folder / "library"));
}

}  // namespace
}  // namespace quorvin
