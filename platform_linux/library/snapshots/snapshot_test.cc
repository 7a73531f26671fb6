#include "platform_linux/library/snapshots/snapshot.h"

#include <gtest/gtest.h>

#include "platform_linux/library/catalogue/schema.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Snapshots : testing::Test, ChangeFixture {
  std::string place() const { return folder / "library"; }
  LibraryFolder held() const { return *libraryFolderAt(place()); }
  void close() {
    changes.reset();
    library.reset();
  }
  std::vector<std::string> snapshots() const { return snapshotsOf(held()); }
  std::int64_t assetsIn(const std::string& snapshot) const {
    const auto database = openSnapshot(held(), snapshot);
    EXPECT_TRUE(database);
    return (*database)->integer("SELECT count(*) FROM assets").value_or(-1);
  }
  Done make() const {
    const auto catalogue = library->catalogue();
    Catalogue::Reader reader = catalogue->reader();
    return makeSnapshot(catalogue->folder(), *reader);
  }
};

TEST_F(Snapshots, AreMadeWhenALibraryThatHasNoneIsClosed) {
  close();
  EXPECT_TRUE(snapshots().empty()) << "nothing was changed";
  reopen(PHAuthorizationStatus::authorized);
  ASSERT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  ASSERT_EQ(snapshots(), std::vector<std::string>{"snapshots/000000001.sqlite"});
  EXPECT_EQ(assetsIn(snapshots().front()), 1);
  EXPECT_EQ(filesBelow(place() + "/snapshots").size(), 1U) << "and leave nothing else behind";
  EXPECT_EQ(fs::status(place() + "/snapshots").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(place() + "/" + snapshots().front()).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Snapshots, GiveWayToYoungerOnesOfOneDay) {
  ASSERT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  reopen(PHAuthorizationStatus::authorized);
  ASSERT_TRUE(saveImage(put("b.jpg", "image of b")).success);
  close();
  ASSERT_EQ(snapshots(), std::vector<std::string>{"snapshots/000000002.sqlite"});
  EXPECT_EQ(assetsIn(snapshots().front()), 2);
}

TEST_F(Snapshots, AreMadeAfterAThousandChanges) {
  ASSERT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  for (int i = 0; i < 1000; ++i) gardener.plant({.created = i});
  reopen(PHAuthorizationStatus::authorized);
  ASSERT_TRUE(saveImage(put("b.jpg", "image of b")).success);
  close();
  ASSERT_EQ(snapshots().size(), 2U);
  EXPECT_EQ(assetsIn(snapshots().front()), 1002);
}

TEST_F(Snapshots, AreMadeAfterADayOfUse) {
  ASSERT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  const fs::path snapshot = place() + "/" + snapshots().front();
  fs::last_write_time(snapshot, fs::last_write_time(snapshot) - std::chrono::hours(25));
  reopen(PHAuthorizationStatus::authorized);
  close();
  EXPECT_EQ(snapshots().size(), 1U) << "nothing was changed";
  reopen(PHAuthorizationStatus::authorized);
  ASSERT_TRUE(saveImage(put("b.jpg", "image of b")).success);
  close();
  EXPECT_EQ(snapshots().size(), 2U);
}

TEST_F(Snapshots, AreKeptThreeAtMost) {
  for (int i = 0; i < 5; ++i) {
    gardener.plant({});
    ASSERT_TRUE(make());
  }
  EXPECT_EQ(snapshots(),
            (std::vector<std::string>{"snapshots/000000005.sqlite", "snapshots/000000004.sqlite",
                                      "snapshots/000000003.sqlite"}));
  EXPECT_EQ(assetsIn(snapshots().back()), 3);
}

TEST_F(Snapshots, OfADamagedCatalogueAreNotKept) {
  for (int i = 0; i < 3000; ++i) gardener.plant({.created = i});
  gardener.run("PRAGMA wal_checkpoint(TRUNCATE)");
  ASSERT_TRUE(make());
  {
    std::fstream file(place() + "/library.sqlite", std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(60 * 4096);
    file << std::string(40 * 4096, '\xA5');
  }
  reopen(PHAuthorizationStatus::authorized);
  EXPECT_FALSE(make());
  EXPECT_EQ(filesBelow(place() + "/snapshots"), std::vector<std::string>{"000000001.sqlite"});
}

TEST_F(Snapshots, AreStoppedWhenTold) {
  gardener.plant({});
  Catalogue::Reader reader = library->catalogue()->reader();
  EXPECT_FALSE(makeSnapshot(held(), *reader, [] { return true; }));
  EXPECT_TRUE(filesBelow(place() + "/snapshots").empty());
}

TEST_F(Snapshots, AreMadeBeforeTheCatalogueIsBroughtUpToDate) {
  const std::string asset = gardener.plant({});
  close();
  gardener.makeFirstVersion();
  reopen(PHAuthorizationStatus::authorized);
  EXPECT_EQ(gardener.text("PRAGMA user_version"), std::to_string(kSchemaVersion));
  ASSERT_EQ(snapshots().size(), 1U);
  const auto kept = openSnapshot(held(), snapshots().front());
  EXPECT_EQ((*kept)->integer("PRAGMA user_version"), 1);
  EXPECT_EQ(assetsIn(snapshots().front()), 1);
}

}  // namespace
}  // namespace quorvin
