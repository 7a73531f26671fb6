// Catalogues that cannot be used: what an opening says, and what calls say that meet the damage.
#include <gtest/gtest.h>

#include "platform_linux/library/upkeep/administration.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCommand = "quorvin check --repair";

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct LostCatalogue : testing::Test, ChangeFixture {
  std::string place() const { return folder / "library"; }
  std::string catalogue() const { return place() + "/library.sqlite"; }

  void close() {
    changes.reset();
    library.reset();
  }
  /// Why the library does not open; nothing in it is changed by looking.
  std::string errorOfOpening() const {
    const auto before = filesBelow(place());
    const auto opened = Library::open({.path = place()});
    if (opened) return "";
    EXPECT_EQ(filesBelow(place()), before);
    return opened.error().sentence();
  }
  void overwrite(std::size_t offset, std::size_t size) const {
    std::fstream file(catalogue(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file << std::string(size, '\xA5');
  }
};

TEST_F(LostCatalogue, ThatIsMissingIsAnErrorThatNamesTheCommand) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  fs::remove(catalogue());
  EXPECT_TRUE(contains(errorOfOpening(), "library.sqlite” is missing."));
  EXPECT_TRUE(contains(errorOfOpening(), kCommand));
  EXPECT_TRUE(contains(describeLibrary(place()).error().sentence(), kCommand));
  EXPECT_FALSE(fs::exists(catalogue()));
}

TEST_F(LostCatalogue, ThatIsEmptyIsAnErrorThatNamesTheCommand) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  fs::resize_file(catalogue(), 0);
  writeFile(catalogue() + "-wal", "a log");
  EXPECT_TRUE(contains(errorOfOpening(), "library.sqlite” is empty."));
  EXPECT_TRUE(contains(errorOfOpening(), kCommand));
  EXPECT_EQ(readFile(catalogue() + "-wal"), "a log");
}

TEST_F(LostCatalogue, ThatHoldsNoTableIsAnErrorThatNamesTheCommand) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  fs::remove(catalogue());
  Gardener(place()).run("PRAGMA journal_mode=DELETE; PRAGMA user_version=0; VACUUM");
  EXPECT_TRUE(contains(errorOfOpening(), kCommand));
}

TEST_F(LostCatalogue, ThatIsGarbledIsAnErrorThatNamesTheCommand) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  close();
  for (const std::size_t offset : {std::size_t{4000}, std::size_t{0}}) {
    overwrite(offset, 96);
    EXPECT_TRUE(contains(errorOfOpening(), "library.sqlite” is damaged.")) << offset;
    EXPECT_TRUE(contains(errorOfOpening(), kCommand)) << offset;
  }
}

TEST_F(LostCatalogue, OfAFolderThatWasNeverUsedIsMadeAnew) {
  close();
  for (const char* part : {"", "-wal", "-shm"}) fs::remove(catalogue() + part);
  EXPECT_EQ(errorOfOpening(), "");
  EXPECT_TRUE(fs::exists(catalogue()));
}

struct DamageWhileRunning : LostCatalogue {
  DamageWhileRunning() {
    for (int i = 0; i < 3000; ++i) planted = gardener.plant({.created = i});
    gardener.run("PRAGMA wal_checkpoint(TRUNCATE)");
    reopen(PHAuthorizationStatus::authorized);
    // Rows and indexes of assets; the schema and the small tables lie before.
    overwrite(std::size_t{40} * 4096, fs::file_size(catalogue()) - std::size_t{40} * 4096);
  }
  std::string planted;
  template <class Read>
  static std::string errorOf(Read&& read) {
    try {
      read();
      return "";
    } catch (const LibraryUnreadable& unreadable) {
      return unreadable.error().localizedDescription;
    }
  }
};

TEST_F(DamageWhileRunning, FailsEachFetchAndNeverShowsFewerPhotos) {
  for (int times = 0; times < 2; ++times) {
    for (const PHFetchOptions& options :
         {PHFetchOptions(), byDate(false), byDate(true, 20), byDate(true, 2500), ofType(1)}) {
      EXPECT_TRUE(contains(errorOf([&] { list(*smart(209), options); }), kCommand));
    }
  }
}

TEST_F(DamageWhileRunning, FailsChanges) {
  EXPECT_TRUE(contains(saveImage(put("a.jpg", "image")).text(), kCommand));
  EXPECT_TRUE(contains(deleteAssets({planted}).text(), kCommand));
  EXPECT_TRUE(filesBelow(place() + "/originals").empty());
}

TEST_F(DamageWhileRunning, FailsTheSummaryOfTheLibrary) {
  EXPECT_TRUE(contains(describeLibrary(place()).error().sentence(), kCommand));
}

TEST_F(LostCatalogue, ThatALaterVersionHasTakenOverIsReadAndNeverWrittenTo) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  gardener.run("PRAGMA wal_checkpoint(TRUNCATE); PRAGMA user_version = 99");
  const std::string before = readFile(catalogue()) + readFile(catalogue() + "-wal");
  EXPECT_TRUE(contains(deleteAssets({saved}).text(), "later version"));
  EXPECT_TRUE(contains(saveImage(put("b.jpg", "image of b")).text(), "later version"));
  EXPECT_EQ(recents().size(), 1U);
  EXPECT_EQ(filesBelow(place() + "/originals").size(), 1U);
  close();
  EXPECT_EQ(readFile(catalogue()) + readFile(catalogue() + "-wal"), before);
  EXPECT_TRUE(contains(errorOfOpening(), "later version"));
}

TEST_F(LostCatalogue, OfAnEarlierVersionWaitsUntilNobodyHasItOpen) {
  gardener.run("PRAGMA user_version = 3");
  const auto opened = Library::open({.path = place()});
  ASSERT_FALSE(opened);
  EXPECT_TRUE(
      contains(opened.error().sentence(), "only while no other program has the library open"));
  EXPECT_EQ(gardener.text("PRAGMA user_version"), "3");
}

}  // namespace
}  // namespace quorvin
