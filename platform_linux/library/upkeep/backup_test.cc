#include "platform_linux/library/upkeep/backup.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Backup : testing::Test, ChangeFixture {
  std::string place() const { return folder / "library"; }
  std::string target() const { return folder / "copies/backup"; }

  BackupReport backUp(bool mayLink = true) const {
    const auto report = backUpLibrary(place(), target(), {.mayLink = mayLink});
    EXPECT_TRUE(report) << report.error().sentence();
    return report ? *report : BackupReport();
  }
  std::string refusal(const std::string& where) const {
    const auto before = filesBelow(folder.path());
    const auto report = backUpLibrary(place(), where, {});
    EXPECT_FALSE(report);
    EXPECT_EQ(filesBelow(folder.path()), before);
    return report ? "" : report.error().sentence();
  }
  void expectSound() const {
    const auto report = checkLibrary(target(), {.content = true});
    ASSERT_TRUE(report) << report.error().sentence();
    for (const LibraryFinding& finding : report->findings) ADD_FAILURE() << finding.sentence;
    for (const std::string& name : filesBelow(target())) {
      EXPECT_TRUE(name.starts_with("library.") || name.starts_with("originals/") ||
                  name.starts_with("records/"))
          << name;
    }
  }
  static std::string rowsOf(const std::string& library) {
    Gardener gardener(library);
    return gardener.text("SELECT * FROM assets ORDER BY id") +
           gardener.text("SELECT * FROM resources ORDER BY asset, pos") +
           gardener.text("SELECT * FROM collections ORDER BY id") +
           gardener.text("SELECT * FROM members ORDER BY collection, asset") +
           gardener.text("SELECT value FROM meta WHERE key = 'authorization'");
  }
  void save(const std::string& name) {
    ASSERT_TRUE(saveImage(put(name, "image of " + name)).success);
  }
};

TEST_F(Backup, IsALibraryOfItsOwn) {
  save("a.jpg");
  save("b.jpg");
  gardener.addToAlbum(gardener.plantAlbum("Trip"), saved);
  const BackupReport report = backUp();
  EXPECT_EQ(report.assets, 2);
  EXPECT_EQ(report.originals, 2);
  EXPECT_EQ(report.newOriginals, 2);
  EXPECT_TRUE(report.problems.empty());
  EXPECT_EQ(rowsOf(target()), rowsOf(place()));
  expectSound();
  changes.reset();
  library.reset();
  fs::remove_all(place());
  expectSound();
}

TEST_F(Backup, CopiesOnlyWhatIsNewWhenItRunsAgain) {
  save("a.jpg");
  backUp();
  save("b.jpg");
  EXPECT_EQ(backUp().newOriginals, 1);
  EXPECT_EQ(backUp().newOriginals, 0);
  EXPECT_EQ(rowsOf(target()), rowsOf(place()));
  expectSound();
}

TEST_F(Backup, GivesUpWhatTheLibraryGaveUp) {
  save("a.jpg");
  const std::string first = saved;
  save("b.jpg");
  backUp();
  ASSERT_TRUE(deleteAssets({first}).success);
  ASSERT_TRUE(emptyTrash(place()));
  EXPECT_EQ(backUp().originals, 1);
  EXPECT_EQ(filesBelow(target() + "/originals").size(), 1U);
  expectSound();
}

TEST_F(Backup, CopiesWhereLinksAreForbidden) {
  save("a.jpg");
  backUp(false);
  const std::string original = filesBelow(target() + "/originals").at(0);
  struct stat status = {};
  ASSERT_EQ(::stat((target() + "/originals/" + original).c_str(), &status), 0);
  EXPECT_EQ(status.st_nlink, 1U);
  EXPECT_EQ(status.st_mode & 0777U, 0400U);
  EXPECT_EQ(fs::last_write_time(target() + "/originals/" + original),
            fs::last_write_time(place() + "/originals/" + original));
  expectSound();
}

TEST_F(Backup, CanBeRepairedByTheRecordsThatWentWithIt) {
  save("a.jpg");
  for (const bool mayLink : {true, false}) {
    fs::remove_all(target());
    backUp(mayLink);
    fs::remove(target() + "/library.sqlite");
    ASSERT_TRUE(checkLibrary(target(), {.repair = true}));
    EXPECT_EQ(Gardener(target()).text("SELECT ident FROM assets"), saved);
    EXPECT_EQ(Gardener(target()).text("SELECT name FROM resources"), "a.jpg");
  }
}

TEST_F(Backup, RefusesOtherFoldersAndLeavesThemAsTheyAre) {
  save("a.jpg");
  EXPECT_NE(refusal(place() + "/inside/it").find("it lies in the library"), std::string::npos);
  EXPECT_NE(refusal(place()).find("it lies in the library"), std::string::npos);
  writeFile(folder / "photos/holiday.jpg", "precious");
  EXPECT_NE(refusal(folder / "photos").find("it holds something else"), std::string::npos);
  EXPECT_NE(refusal(folder.path()).find("it holds something else"), std::string::npos);
  { const auto other = Library::open({.path = folder / "other"}); }
  EXPECT_NE(refusal(folder / "other").find("it holds another library"), std::string::npos);
}

TEST_F(Backup, RefusesOneThatWasChangedSince) {
  save("a.jpg");
  backUp();
  Gardener(target()).plantAlbum("Mine");
  EXPECT_NE(refusal(target()).find("it has been changed since it was made"), std::string::npos);
}

TEST_F(Backup, GoesOnWithOneThatWasCutShort) {
  save("a.jpg");
  backUp();
  const std::string identity =
      gardener.text("SELECT ident FROM collections WHERE type = 2 AND pos = 0");
  fs::remove(target() + "/library.sqlite");
  writeFile(target() + "/library.sqlite.new", "half a catalogue");
  writeFile(target() + "/backup.unfinished", identity);
  writeFile(target() + "/incoming/copy", "half an original");
  EXPECT_EQ(backUp().newOriginals, 0);
  expectSound();
}

TEST_F(Backup, TellsOfOriginalsThatTheLibraryHasLost) {
  save("a.jpg");
  fs::remove(place() + "/originals/" + originalsOf(saved).at(0));
  const BackupReport report = backUp();
  ASSERT_EQ(report.problems.size(), 1U);
  EXPECT_NE(report.problems.at(0).find("is not in the library."), std::string::npos);
}

TEST_F(Backup, NeverNamesOriginalsThatWentForGoodMeanwhile) {
  std::vector<std::string> assets;
  for (int i = 0; i < 25; ++i) {
    save("image" + std::to_string(i) + ".jpg");
    assets.push_back(saved);
  }
  std::size_t gone = 0;
  const auto loseOne = [&](std::size_t) {
    if (gone == assets.size()) return;
    ASSERT_TRUE(deleteAssets({assets[gone++]}).success);
    ASSERT_TRUE(emptyTrash(place()));
  };
  const auto report = backUpLibrary(place(), target(), {.originalsFound = loseOne});
  ASSERT_FALSE(report);
  EXPECT_FALSE(fs::exists(target() + "/library.sqlite"));
  EXPECT_EQ(backUp().problems, std::vector<std::string>());
  EXPECT_EQ(rowsOf(target()), rowsOf(place()));
  expectSound();
}

TEST_F(Backup, IsOfOneMomentWhileTheLibraryChanges) {
  save("first.jpg");
  std::atomic<bool> stop = false;
  std::thread changer([this, &stop] {
    for (int i = 0; !stop; ++i) {
      ASSERT_TRUE(saveImage(put("x.jpg", "image number " + std::to_string(i))).success);
      if (i % 2 == 0) continue;
      ASSERT_TRUE(deleteAssets({saved}).success);
      ASSERT_TRUE(emptyTrash(place()));
    }
  });
  for (int i = 0; i < 5; ++i) {
    backUp();
    expectSound();
  }
  stop = true;
  changer.join();
  backUp();
  EXPECT_EQ(rowsOf(target()), rowsOf(place()));
  expectSound();
}

}  // namespace
}  // namespace quorvin
