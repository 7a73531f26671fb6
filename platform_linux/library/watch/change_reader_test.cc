#include "platform_linux/library/watch/change_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

class ChangeReaderTest : public testing::Test {
 protected:
  std::unique_ptr<ChangeReader> openReader(Library& library) {
    auto reader = ChangeReader::open(*library.catalogue(), library.authorization());
    EXPECT_TRUE(reader) << reader.error().reason;
    return *std::move(reader);
  }
  std::unique_ptr<ChangeReader> openReader() { return openReader(*test_.library); }

  std::unique_ptr<Library> limited() { return test_.open(PHAuthorizationStatus::limited); }

  static LibraryChange read(ChangeReader& reader) {
    auto change = reader.read();
    EXPECT_TRUE(change);
    return change.value_or(LibraryChange{});
  }

  std::string rowOf(const std::string& asset) {
    return garden_.text("SELECT id FROM assets WHERE ident = '" + asset + "'");
  }
  void trash(const std::string& asset) {
    const std::string rows = "[" + rowOf(asset) + "]";
    EXPECT_TRUE(test_.library->catalogue()->change([&rows](Database& database) -> Done {
      EXPECT_TRUE(trashAssets(database, rows));
      return Null{};
    }));
  }
  void restore(const std::string& asset) {
    const Texts assets = {asset};
    EXPECT_TRUE(restoreFromTrash(test_.folder / "library", assets));
  }
  void set(const std::string& asset, const std::string& assignment) {
    garden_.run("UPDATE assets SET " + assignment + " WHERE ident = '" + asset + "'");
  }
  void select(const std::string& asset) {
    garden_.run("INSERT INTO limited_selection VALUES (" + rowOf(asset) + ")");
  }
  std::string smart(int subtype) { return test_.smart(subtype)->localIdentifier; }

  TestLibrary test_;
  Gardener& garden_ = test_.gardener;
};

TEST_F(ChangeReaderTest, TellsOnlyWhatIsCommittedAfterwards) {
  garden_.plant({});
  const auto reader = openReader();
  EXPECT_FALSE(reader->read());
  const std::string asset = garden_.plant({});
  const LibraryChange change = read(*reader);
  EXPECT_EQ(change.inserted, Texts{asset});
  EXPECT_TRUE(change.changed.empty() && change.removed.empty() && change.complete);
  EXPECT_FALSE(reader->read());
}

TEST_F(ChangeReaderTest, CountsUpwards) {
  garden_.plant({});
  const auto reader = openReader();
  std::int64_t last = 0;
  for (int i = 0; i < 5; ++i) {
    garden_.plant({});
    const std::int64_t sequence = read(*reader).sequence;
    EXPECT_GT(sequence, last);
    last = sequence;
  }
  garden_.run("UPDATE meta SET value = 4 WHERE key = 'authorization'");  // has no entry
  EXPECT_GT(read(*reader).sequence, last);
}

TEST_F(ChangeReaderTest, TellsWhatIsDeletedAndRestored) {
  const std::string asset = garden_.plant({});
  const auto reader = openReader();
  trash(asset);
  EXPECT_EQ(read(*reader).removed, Texts{asset});
  restore(asset);
  EXPECT_EQ(read(*reader).inserted, Texts{asset});
}

TEST_F(ChangeReaderTest, TellsWhatWasDeletedAndIsGoneForGood) {
  const std::string asset = garden_.plant({.mediaType = 2});
  const std::string album = garden_.plantAlbum("Summer");
  const std::string other = garden_.plantAlbum("Winter");
  garden_.addToAlbum(album, asset);
  const auto reader = openReader();
  trash(asset);
  EXPECT_TRUE(emptyTrash(test_.folder / "library"));
  const LibraryChange change = read(*reader);
  EXPECT_EQ(change.removed, Texts{asset});
  // Which album it was in cannot be known any more.
  EXPECT_EQ(change.galleries, (Texts{album, other, smart(209), smart(202)}));
}

TEST_F(ChangeReaderTest, HasNothingToTellOfATrashThatIsEmptied) {
  const std::string asset = garden_.plant({});
  trash(asset);
  const auto reader = openReader();
  EXPECT_TRUE(emptyTrash(test_.folder / "library"));
  const LibraryChange change = read(*reader);
  EXPECT_TRUE(change.removed.empty() && change.galleries.empty() && change.complete);
}

TEST_F(ChangeReaderTest, PutsTogetherWhatHappenedToAnAsset) {
  const std::string deleted = garden_.plant({});
  const std::string back = garden_.plant({});
  const std::string favorite = garden_.plant({});
  const auto reader = openReader();
  const std::string added = garden_.plant({});
  set(added, "favorite = 1");
  const std::string brief = garden_.plant({});
  trash(brief);
  set(deleted, "favorite = 1");
  trash(deleted);
  trash(back);
  restore(back);
  set(favorite, "favorite = 1");
  set(favorite, "width = 7");
  const LibraryChange change = read(*reader);
  EXPECT_EQ(change.inserted, Texts{added});
  EXPECT_EQ(change.removed, Texts{deleted});
  EXPECT_EQ(change.changed, (Texts{back, favorite}));
}

TEST_F(ChangeReaderTest, PassesOverUpdatesThatChangeNothingOfARecord) {
  const std::string asset = garden_.plant({.favorite = true});
  const auto reader = openReader();
  set(asset, "favorite = 1, width = 40");
  set(asset, "content_id = 'x', source_folder = 3");
  const LibraryChange change = read(*reader);
  EXPECT_TRUE(change.changed.empty() && change.galleries.empty());
}

TEST_F(ChangeReaderTest, TellsOfHiddenAssetsAndBurstMembers) {
  const auto reader = openReader();
  const std::string hidden = garden_.plant({.hidden = true});
  const std::string member = garden_.plant({.burst = "b"});
  LibraryChange change = read(*reader);
  EXPECT_EQ(change.inserted, (Texts{hidden, member}));
  EXPECT_TRUE(change.galleries.empty()) << "no gallery lists them";
  set(hidden, "hidden = 0");
  set(member, "represents = 1");
  change = read(*reader);
  EXPECT_EQ(change.changed, (Texts{hidden, member}));
  EXPECT_EQ(change.galleries, (Texts{smart(209), smart(207)}));
}

TEST_F(ChangeReaderTest, TellsTheSmartAlbumsThatAnAssetComesIntoAndLeaves) {
  const auto reader = openReader();
  const std::string video = garden_.plant({.mediaType = 2, .subtypes = 0x20000});
  EXPECT_EQ(read(*reader).galleries, (Texts{smart(209), smart(202), smart(208)}));
  set(video, "favorite = 1");
  EXPECT_EQ(read(*reader).galleries, Texts{smart(203)});
  set(video, "favorite = 0, subtypes = 262144");
  EXPECT_EQ(read(*reader).galleries, (Texts{smart(203), smart(204), smart(208)}));
  set(video, "favorite = 1");
  set(video, "favorite = 0");
  EXPECT_TRUE(read(*reader).galleries.empty()) << "it is where it was";
  set(video, "favorite = 1");
  trash(video);
  EXPECT_EQ(read(*reader).galleries, (Texts{smart(209), smart(202), smart(204)}))
      << "it had not been seen among the favourites";
}

TEST_F(ChangeReaderTest, TellsTheSmartAlbumsByEachOfTheirRules) {
  const auto reader = openReader();
  garden_.plant({.subtypes = 1 | 4 | 8 | 16 | 0x80000,
                 .burst = "b",
                 .represents = true,
                 .frontCamera = true,
                 .animated = true,
                 .raw = true});
  Texts expected;
  for (const int subtype : {209, 210, 213, 201, 207, 211, 212, 220, 214, 217}) {
    expected.push_back(smart(subtype));
  }
  EXPECT_EQ(read(*reader).galleries, expected);
  garden_.run(
      "UPDATE assets SET subtypes = 0, burst_id = NULL, front_camera = 0, animated = 0,"
      " raw = 0");
  expected.erase(expected.begin());
  EXPECT_EQ(read(*reader).galleries, expected);
}

TEST_F(ChangeReaderTest, TellsUserAlbums) {
  const std::string asset = garden_.plant({});
  const auto reader = openReader();
  const std::string album = garden_.plantAlbum("Summer");
  EXPECT_EQ(read(*reader).galleries, Texts{album});
  garden_.addToAlbum(album, asset);
  EXPECT_EQ(read(*reader).galleries, Texts{album});
  garden_.run("UPDATE collections SET title = 'Spring' WHERE type = 1");
  EXPECT_EQ(read(*reader).galleries, Texts{album});
  garden_.run("UPDATE collections SET title = 'Spring', pos = 7 WHERE type = 1");
  EXPECT_TRUE(read(*reader).galleries.empty());
  trash(asset);
  EXPECT_EQ(read(*reader).galleries, (Texts{album, smart(209)}));
  restore(asset);
  EXPECT_EQ(read(*reader).galleries, (Texts{album, smart(209)}));
  garden_.run("DELETE FROM members");
  EXPECT_EQ(read(*reader).galleries, Texts{album});
  garden_.run("DELETE FROM collections WHERE type = 1");
  EXPECT_EQ(read(*reader).galleries, Texts{album});
}

TEST_F(ChangeReaderTest, TellsAnAssetThatIsDroppedWithoutTheTrash) {
  const std::string asset = garden_.plant({.favorite = true});
  const std::string album = garden_.plantAlbum("Summer");
  garden_.plantAlbum("Winter");
  garden_.addToAlbum(album, asset);
  const auto reader = openReader();
  garden_.run("DELETE FROM assets");
  const LibraryChange change = read(*reader);
  EXPECT_EQ(change.removed, Texts{asset});
  EXPECT_NE(std::ranges::find(change.galleries, album), change.galleries.end());
  EXPECT_NE(std::ranges::find(change.galleries, smart(203)), change.galleries.end());
}

TEST_F(ChangeReaderTest, ListsAThousandOfEachAndSaysThatThereAreMore) {
  Texts old;
  garden_.run("BEGIN");
  for (int i = 0; i < 1001; ++i) old.push_back(garden_.plant({}));
  garden_.run("COMMIT");
  const auto reader = openReader();
  garden_.run("UPDATE assets SET width = 7 WHERE id <= 1000");
  LibraryChange change = read(*reader);
  EXPECT_EQ(change.changed, Texts(old.begin(), old.begin() + 1000));
  EXPECT_TRUE(change.complete);
  garden_.run("UPDATE assets SET width = 8");
  change = read(*reader);
  EXPECT_EQ(change.changed.size(), 1000U);
  EXPECT_FALSE(change.complete);
  garden_.run("UPDATE assets SET width = 9 WHERE id = 1");
  EXPECT_TRUE(read(*reader).complete);
}

TEST_F(ChangeReaderTest, KeepsTheJournalShortAndSaysWhenItMissedSome) {
  const std::string asset = garden_.plant({});
  const auto reader = openReader();
  garden_.run(
      "WITH RECURSIVE number(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM number"
      " WHERE i < 12000) INSERT INTO journal(kind, subject) SELECT 7, 16 FROM number");
  trash(asset);
  EXPECT_EQ(garden_.integer("SELECT count(*) FROM journal"), kJournalLength);
  LibraryChange change = read(*reader);
  EXPECT_FALSE(change.complete);
  EXPECT_TRUE(change.removed.empty());
  EXPECT_EQ(change.galleries.size(), 15U) << "all there are";
  restore(asset);
  change = read(*reader);
  EXPECT_TRUE(change.complete);
  EXPECT_EQ(change.inserted, Texts{asset});
}

TEST_F(ChangeReaderTest, TellsLimitedProgramsOnlyOfWhatIsSelected) {
  const std::string selected = garden_.plant({});
  const std::string other = garden_.plant({});
  const std::string album = garden_.plantAlbum("Summer");
  select(selected);
  const auto library = limited();
  const auto reader = openReader(*library);
  garden_.plant({});
  garden_.addToAlbum(album, selected);
  garden_.addToAlbum(album, other);
  set(other, "favorite = 1");
  garden_.run("UPDATE collections SET title = 'Spring' WHERE type = 1");
  trash(other);
  EXPECT_TRUE(emptyTrash(test_.folder / "library"));
  garden_.run("DELETE FROM collections WHERE type = 1");
  EXPECT_FALSE(reader->read());
  set(selected, "favorite = 1");
  trash(selected);
  const LibraryChange change = read(*reader);
  EXPECT_EQ(change.removed, Texts{selected});
  EXPECT_EQ(change.galleries, Texts{smart(209)});
}

TEST_F(ChangeReaderTest, TellsLimitedProgramsWhatIsSelectedAndNoLonger) {
  const std::string asset = garden_.plant({});
  const auto library = limited();
  const auto reader = openReader(*library);
  select(asset);
  EXPECT_EQ(read(*reader).inserted, Texts{asset});
  garden_.run("DELETE FROM limited_selection");
  LibraryChange change = read(*reader);
  EXPECT_EQ(change.removed, Texts{asset});
  EXPECT_EQ(change.galleries, Texts{smart(209)});
  select(asset);
  EXPECT_TRUE(reader->read());
  trash(asset);
  EXPECT_TRUE(emptyTrash(test_.folder / "library"));
  EXPECT_EQ(read(*reader).removed, Texts{asset}) << "also when its row is gone";
}

TEST_F(ChangeReaderTest, TellsProgramsWithoutAccessNothing) {
  for (const auto status : {PHAuthorizationStatus::denied, PHAuthorizationStatus::restricted,
                            PHAuthorizationStatus::notDetermined}) {
    const auto library = test_.open(status);
    const auto reader = openReader(*library);
    trash(garden_.plant({}));
    garden_.plantAlbum("Summer");
    EXPECT_FALSE(reader->read());
  }
}

TEST_F(ChangeReaderTest, SaysThatAllIsToBeAskedAnewWhenAccessChanges) {
  const auto library = test_.open(std::nullopt);
  ASSERT_TRUE(storeAuthorization(test_.folder / "library", PHAuthorizationStatus::authorized));
  const auto reader = openReader(*library);
  garden_.plant({});
  EXPECT_TRUE(read(*reader).complete);
  garden_.plant({});
  ASSERT_TRUE(storeAuthorization(test_.folder / "library", PHAuthorizationStatus::denied));
  LibraryChange change = read(*reader);
  EXPECT_FALSE(change.complete);
  EXPECT_TRUE(change.inserted.empty() && change.galleries.empty());
  garden_.plant({});
  EXPECT_FALSE(reader->read());
  ASSERT_TRUE(storeAuthorization(test_.folder / "library", PHAuthorizationStatus::limited));
  change = read(*reader);
  EXPECT_FALSE(change.complete);
  EXPECT_TRUE(change.inserted.empty()) << "what came while access was denied";
  EXPECT_EQ(change.galleries.size(), 15U);
}

TEST_F(ChangeReaderTest, SaysThatAllIsToBeAskedAnewWhenItLostTrack) {
  const auto reader = openReader();
  reader->loseTrack();
  EXPECT_FALSE(read(*reader).complete);
  EXPECT_FALSE(reader->read());
}

}  // namespace
}  // namespace quorvin
