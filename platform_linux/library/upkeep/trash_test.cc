#include "platform_linux/library/upkeep/trash.h"

#include <gtest/gtest.h>

#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/previews/preview_store.h"
#include "platform_linux/library/upkeep/administration.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Trash : testing::Test, ChangeFixture {
  std::string path() const { return folder / "library"; }

  std::string saveAndDelete(const std::string& name, const std::string& content) {
    EXPECT_TRUE(saveImage(put(name, content)).success);
    const std::string identifier = saved;
    EXPECT_TRUE(deleteAssets({identifier}).success);
    return identifier;
  }
  std::string saveMotionPhoto(const std::string& name) {
    const std::string still = "image movieat=64 moviesize=5";
    EXPECT_TRUE(
        saveImage(put(name, still + std::string(64 - still.size(), ' ') + "movie")).success);
    return saved;
  }
  /// Moves the deletion of everything in the trash that far into the past.
  void age(std::chrono::hours by) {
    gardener.run("UPDATE assets SET trashed_ns = trashed_ns - " +
                 std::to_string(std::chrono::nanoseconds(by).count()));
  }
  bool restore(std::vector<std::string> identifiers) {
    return static_cast<bool>(restoreFromTrash(path(), identifiers));
  }
  /// The asset has a preview.
  void derive(const std::string& identifier) {
    const std::string name = originalsOf(identifier).front().substr(3);
    const PreviewStore::Made made{kGridSide, {4, 3}, ByteBuffer(std::vector<std::uint8_t>{1})};
    EXPECT_TRUE(PreviewStore(library->catalogue()->folder()).keep({name, 1, 1}, {&made, 1}));
  }
  std::vector<std::string> derivatives() {
    std::vector<std::string> names;
    PreviewStore(library->catalogue()->folder()).forEachOriginal([&](const std::string& name) {
      names.push_back(name);
    });
    return names;
  }
};

TEST_F(Trash, ListsWhatWasDeletedLastFirst) {
  const std::string first = saveAndDelete("a.jpg", "image");
  const std::string second = saveAndDelete("b.jpg", "image two");
  saveMotionPhoto("kept.jpg");
  const auto listed = listTrash(path());
  ASSERT_TRUE(listed);
  ASSERT_EQ(listed->size(), 2U);
  EXPECT_EQ((*listed)[0].localIdentifier, second);
  EXPECT_EQ((*listed)[0].originalFilename, "b.jpg");
  EXPECT_EQ((*listed)[0].bytes, 9);
  EXPECT_EQ((*listed)[0].mediaType, PHAssetMediaType::image);
  EXPECT_EQ((*listed)[1].localIdentifier, first);
  EXPECT_NEAR(
      (*listed)[1].goneAfter.timeIntervalSince1970() - (*listed)[1].deleted.timeIntervalSince1970(),
      30 * 86400.0, 0.01);
}

TEST_F(Trash, GivesAnAssetBackWithItsAlbumsAndFiles) {
  const std::string album = gardener.plantAlbum("Holidays");
  const std::string asset = saveMotionPhoto("a.jpg");
  gardener.addToAlbum(album, asset);
  EXPECT_TRUE(deleteAssets({asset}).success);
  EXPECT_TRUE(restore({asset}));
  EXPECT_EQ(list(*findAlbum(album)), std::vector<std::string>{asset});
  EXPECT_EQ(library->storedResources(asset)->size(), 2U);
  EXPECT_TRUE(listTrash(path())->empty());
}

TEST_F(Trash, GivesNothingBackWhenOneAssetIsNotInIt) {
  const std::string deleted = saveAndDelete("a.jpg", "image");
  const std::vector<std::string> wanted = {deleted, saveMotionPhoto("b.jpg")};
  const auto restored = restoreFromTrash(path(), wanted);
  ASSERT_FALSE(restored);
  EXPECT_EQ(restored.error().code, static_cast<std::int64_t>(LibraryErrorCode::identifierNotFound));
  EXPECT_NE(restored.error().sentence().find("is not in the trash"), std::string::npos);
  EXPECT_EQ(find(deleted), nullptr);
}

TEST_F(Trash, KeepsOneRepresentativeOfABurstThroughDeletionsAndRestorations) {
  const std::string first = gardener.plant({.created = 1, .burst = "B", .represents = true});
  const std::string second = gardener.plant({.created = 2, .burst = "B"});
  EXPECT_TRUE(deleteAssets({first}).success);
  EXPECT_TRUE(restore({first}));
  EXPECT_EQ(recents(), std::vector<std::string>{second});
  EXPECT_TRUE(deleteAssets({first, second}).success);
  EXPECT_TRUE(restore({first}));
  EXPECT_EQ(recents(), std::vector<std::string>{first});
  EXPECT_TRUE(restore({second}));
  EXPECT_EQ(recents(), std::vector<std::string>{first});
  EXPECT_EQ(gardener.text("SELECT sum(represents) FROM assets"), "1");
}

TEST_F(Trash, IsEmptiedWithPreviewsOfAFileThatHasAnotherUuidThanItsAsset) {
  const std::string gone = saveMotionPhoto("gone.jpg");
  const std::string other = "AB/AB345678-90AB-4DEF-8123-456789ABCDEF.jpg";
  const std::string originals = path() + "/originals/";
  fs::create_directories(originals + "AB");
  fs::rename(originals + originalsOf(gone).front(), originals + other);
  gardener.run("UPDATE resources SET path = '" + other + "' WHERE type = 1");
  derive(gone);
  ASSERT_EQ(derivatives().size(), 1U);
  EXPECT_TRUE(deleteAssets({gone}).success);
  ASSERT_TRUE(emptyTrash(path()));
  EXPECT_TRUE(derivatives().empty());
}

TEST_F(Trash, IsEmptiedWithAllFilesOfItsAssetsAndNoOthers) {
  const std::string kept = saveMotionPhoto("kept.jpg");
  derive(kept);
  const std::string gone = saveMotionPhoto("gone.jpg");
  derive(gone);
  EXPECT_TRUE(deleteAssets({gone}).success);
  const auto emptied = emptyTrash(path());
  ASSERT_TRUE(emptied);
  EXPECT_EQ(emptied->assets, 1U);
  EXPECT_EQ(emptied->bytes, 69 + 5);
  std::vector<std::string> originals = originalsOf(kept);
  std::sort(originals.begin(), originals.end());
  EXPECT_EQ(filesBelow(path() + "/originals"), originals);
  EXPECT_EQ(derivatives(), std::vector<std::string>{originalsOf(kept).front().substr(3)});
  EXPECT_FALSE(restore({gone}));
  EXPECT_TRUE(listTrash(path())->empty());
}

TEST_F(Trash, IsEmptiedAlsoOfVeryManyAssets) {
  gardener.run(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2500)"
      " INSERT INTO assets(ident, media_type, trashed_ns) SELECT 'A' || i, 1, unixepoch() * "
      "1000000000 + i"
      " FROM n");
  EXPECT_EQ(emptyTrash(path())->assets, 2500U);
  EXPECT_EQ(gardener.text("SELECT count(*) FROM assets"), "0");
}

TEST_F(Trash, LosesWhatWasDeletedThirtyDaysAgoAtTheNextOpening) {
  const std::string old = saveAndDelete("old.jpg", "image old");
  age(std::chrono::days(30));
  const std::string young = saveAndDelete("young.jpg", "image");
  open();
  EXPECT_EQ(listTrash(path())->size(), 1U);
  EXPECT_EQ(filesBelow(path() + "/originals"), originalsOf(young));
  EXPECT_TRUE(originalsOf(old).empty());
}

TEST_F(Trash, KeepsWhatWasDeletedALittleLater) {
  const std::string asset = saveAndDelete("a.jpg", "image");
  age(std::chrono::days(30) - std::chrono::hours(1));
  open();
  EXPECT_EQ(filesBelow(path() + "/originals"), originalsOf(asset));
  EXPECT_TRUE(restore({asset}));
}

TEST_F(Trash, IsNotPurgedOnTheWordOfAClockThatJumpedAhead) {
  const std::string asset = saveAndDelete("a.jpg", "image");
  age(std::chrono::days(31));
  // As if the clock had just jumped a month ahead.
  const auto setClock = [this](const char* key, std::chrono::hours ago) {
    gardener.run("INSERT OR REPLACE INTO meta(key, value) VALUES ('" + std::string(key) + "', " +
                 std::to_string(presentTime() - std::chrono::nanoseconds(ago).count()) + ")");
  };
  setClock("latest_time", std::chrono::days(30));
  for (int times = 0; times < 3; ++times) open();
  EXPECT_EQ(filesBelow(path() + "/originals"), originalsOf(asset));
  // On the next day the clock still says so.
  setClock("doubted_time", std::chrono::hours(25));
  open();
  EXPECT_TRUE(filesBelow(path() + "/originals").empty());
}

TEST_F(Trash, CountsTheTermOfADeletionFromTheLatestTimeSeen) {
  // The clock was put back to long ago before the deletion, and is right afterwards.
  const std::int64_t ahead = presentTime() + std::chrono::nanoseconds(std::chrono::days(3)).count();
  gardener.run("UPDATE meta SET value = " + std::to_string(ahead) + " WHERE key = 'latest_time'");
  saveAndDelete("a.jpg", "image");
  EXPECT_EQ(gardener.integer("SELECT trashed_ns FROM assets"), ahead);
}

TEST(TrashClock, BelievesATimeFarBeyondTheLatestOnALaterDayAlone) {
  constexpr std::int64_t kDay = std::chrono::nanoseconds(std::chrono::days(1)).count();
  const TrashClock usual{100 * kDay, 0};
  EXPECT_EQ(lookedAt(usual, 100 * kDay + 5), usual);
  EXPECT_EQ(lookedAt(usual, 90 * kDay), usual);
  EXPECT_EQ(lookedAt(usual, 107 * kDay), (TrashClock{107 * kDay, 0}));
  const TrashClock doubted{100 * kDay, 108 * kDay};
  EXPECT_EQ(lookedAt(usual, 108 * kDay), doubted);
  EXPECT_EQ(lookedAt(doubted, 109 * kDay - 1), doubted);
  EXPECT_EQ(lookedAt(doubted, 109 * kDay), (TrashClock{109 * kDay, 0}));
  // It was wrong, and is right again.
  EXPECT_EQ(lookedAt(doubted, 101 * kDay), (TrashClock{101 * kDay, 0}));
}

TEST_F(Trash, WaitsForALaterOpeningWhileAnotherProgramWrites) {
  saveAndDelete("a.jpg", "image");
  age(std::chrono::days(31));
  {
    const auto writer = LibraryLock::tryAcquire(*libraryFolderAt(path()), LibraryLock::Area::writer,
                                                LibraryLock::Mode::exclusive);
    EXPECT_NE(open(), nullptr);
  }
  EXPECT_EQ(gardener.text("SELECT count(*) FROM assets"), "1");
  open();
  EXPECT_EQ(gardener.text("SELECT count(*) FROM assets"), "0");
}

TEST_F(Trash, LeavesTheFilesOfACrashedPurgeToTheNextOpening) {
  // As after a crash between the commit and the removal of the files.
  const std::string asset = saveAndDelete("a.jpg", "image");
  const std::string kept = saveMotionPhoto("kept.jpg");
  std::string lines;
  for (const std::string& original : originalsOf(asset)) lines += original + "\n";
  for (const std::string& original : originalsOf(kept)) lines += original + "\n";
  changes.reset();
  library.reset();
  writeFile(path() + "/incoming/CRASHED/originals.list", lines);
  gardener.run("DELETE FROM assets WHERE ident = '" + asset + "'");
  open();
  std::vector<std::string> originals = originalsOf(kept);
  std::sort(originals.begin(), originals.end());
  EXPECT_EQ(filesBelow(path() + "/originals"), originals);
}

TEST(TrashOfNoLibrary, IsAnErrorAndMakesNone) {
  TemporaryFolder folder;
  const std::vector<std::string> none;
  EXPECT_FALSE(listTrash(folder / "library"));
  EXPECT_FALSE(emptyTrash(folder / "library"));
  EXPECT_FALSE(restoreFromTrash(folder / "library", none));
  EXPECT_FALSE(fs::exists(folder / "library"));
}

TEST_F(Trash, CannotBeListedWhenTheCatalogueCannotBeRead) {
  saveAndDelete("a.jpg", "image");
  gardener.run("ALTER TABLE resources RENAME TO elsewhere");
  const auto listed = listTrash(path());
  ASSERT_FALSE(listed);
  EXPECT_TRUE(listed.error().sentence().starts_with("The catalogue cannot be read: "))
      << listed.error().sentence();
  const auto emptied = emptyTrash(path());
  ASSERT_FALSE(emptied);
  EXPECT_TRUE(emptied.error().sentence().starts_with("The trash cannot be emptied: "))
      << emptied.error().sentence();
  gardener.run("ALTER TABLE elsewhere RENAME TO resources");
  EXPECT_EQ(listTrash(path())->size(), 1U);
}

}  // namespace
}  // namespace quorvin
