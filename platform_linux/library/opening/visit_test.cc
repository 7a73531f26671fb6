// Libraries that can only be read.
#include "platform_linux/library/opening/visit.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform_linux/library/upkeep/backup.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/watch/change_reader.h"
#include "testing/platform/filled_library.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

class ReadOnlyVolume : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  }

  /// Changes the library with this, and shows it afterwards without a write to it.
  void expectToBeShownAfter(const std::function<void(const std::string& catalogue)>& change) {
    const FilledLibrary filled(volume / "library");
    change(filled.path + "/library.sqlite");
    volume.makeReadOnly();
    const Texts before = stateBelow(volume.path());
    EXPECT_EQ(faultOf(filled), "");
    EXPECT_EQ(refusals(filled.path), allOf("The library “" + filled.path +
                                           "” can only be read because its volume is read-only."));
    EXPECT_EQ(stateBelow(volume.path()), before);
  }

  SmallVolume volume{"size=16m"};
};

/// Leaves in the log what is not in the catalogue, as a stop in the middle does.
void leaveInLog(const std::string& catalogue, const std::string& sql) {
  fs::copy_file(catalogue, catalogue + ".before");
  const std::string folder = fs::path(catalogue).parent_path();
  {
    Gardener garden(folder);
    garden.run(sql);
    fs::copy_file(catalogue + "-wal", catalogue + ".log");
  }
  fs::rename(catalogue + ".before", catalogue);
  fs::rename(catalogue + ".log", catalogue + "-wal");
}

const std::string kSecondAlbumGoes = "DELETE FROM collections WHERE title = 'Winter'";

TEST_F(ReadOnlyVolume, ShowsALibraryThatWasClosed) {
  expectToBeShownAfter([](const std::string&) {});
}

TEST_F(ReadOnlyVolume, ShowsALibraryWhoseLogAndItsIndexAreMissing) {
  expectToBeShownAfter([](const std::string& catalogue) {
    fs::remove(catalogue + "-wal");
    fs::remove(catalogue + "-shm");
  });
}

TEST_F(ReadOnlyVolume, ReadsWhatIsStillInTheLog) {
  expectToBeShownAfter([](const std::string& catalogue) {
    Gardener(fs::path(catalogue).parent_path()).plantAlbum("Winter");
    Gardener(fs::path(catalogue).parent_path()).run("PRAGMA wal_checkpoint(TRUNCATE)");
    leaveInLog(catalogue, kSecondAlbumGoes);
  });
}

TEST_F(ReadOnlyVolume, ReadsWhatIsStillInALogWithoutAnIndex) {
  expectToBeShownAfter([](const std::string& catalogue) {
    Gardener(fs::path(catalogue).parent_path()).plantAlbum("Winter");
    Gardener(fs::path(catalogue).parent_path()).run("PRAGMA wal_checkpoint(TRUNCATE)");
    leaveInLog(catalogue, kSecondAlbumGoes);
    fs::remove(catalogue + "-shm");
  });
}

TEST_F(ReadOnlyVolume, ShowsALibraryOfAnEarlierVersion) {
  expectToBeShownAfter([](const std::string& catalogue) {
    Gardener garden(fs::path(catalogue).parent_path());
    garden.makeFirstVersion();
    garden.run("PRAGMA wal_checkpoint(TRUNCATE)");
  });
}

TEST_F(ReadOnlyVolume, ShowsALibraryWithoutALockFile) {
  expectToBeShownAfter([](const std::string& catalogue) {
    fs::remove(fs::path(catalogue).replace_filename("library.lock"));
  });
}

TEST_F(ReadOnlyVolume, IsCheckedAndBackedUp) {
  const FilledLibrary filled(volume / "library");
  volume.makeReadOnly();
  const auto report = checkLibrary(filled.path, {.content = true});
  ASSERT_TRUE(report) << report.error().sentence();
  // They were planted without originals.
  ASSERT_EQ(report->findings.size(), 2U);
  EXPECT_EQ(report->findings[0].kind, FindingKind::assetWithoutOriginal);
  TemporaryFolder elsewhere;
  const auto backup = backUpLibrary(filled.path, elsewhere / "backup", {});
  ASSERT_TRUE(backup) << backup.error().sentence();
  EXPECT_EQ(describeLibrary(elsewhere / "backup")->photos, 1);
  EXPECT_TRUE(storeAuthorization(elsewhere / "backup", PHAuthorizationStatus::denied));
}

TEST_F(ReadOnlyVolume, HoldsNoNewLibrary) {
  fs::create_directory(volume / "empty");
  volume.makeReadOnly();
  const auto empty = Library::open({.path = volume / "empty"});
  ASSERT_FALSE(empty);
  EXPECT_EQ(empty.error().sentence(), "The library “" + (volume / "empty") +
                                          "” cannot be made because its volume is read-only.");
  EXPECT_FALSE(Library::open({.path = volume / "missing"}));
}

TEST_F(ReadOnlyVolume, DoesNotHideThatACatalogueIsDamagedOrMissing) {
  const FilledLibrary filled(volume / "library");
  writeFile(filled.path + "/originals/AB/photo.jpg", "precious");
  fs::copy(filled.path, volume / "other", fs::copy_options::recursive);
  writeFile(filled.path + "/library.sqlite", std::string(9000, 'x'));
  fs::remove(volume / "other/library.sqlite");
  volume.makeReadOnly();
  for (const std::string& path : {filled.path, volume / "other"}) {
    const auto opened = Library::open({.path = path});
    ASSERT_FALSE(opened);
    EXPECT_NE(opened.error().sentence().find("quorvin check --repair"), std::string::npos)
        << opened.error().sentence();
    const auto repaired = checkLibrary(path, {.repair = true});
    ASSERT_FALSE(repaired);
    EXPECT_NE(repaired.error().sentence().find("volume is read-only"), std::string::npos)
        << repaired.error().sentence();
  }
}

/// A second way to a folder, by which nothing can be written.
class ReadOnlyWay {
 public:
  explicit ReadOnlyWay(const std::string& to) {
    const char* path = folder_.path().c_str();
    isThere_ = ::mount(to.c_str(), path, nullptr, MS_BIND, nullptr) == 0 &&
               ::mount(nullptr, path, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
  }
  ~ReadOnlyWay() { ::umount2(folder_.path().c_str(), MNT_DETACH); }
  ReadOnlyWay(const ReadOnlyWay&) = delete;
  ReadOnlyWay& operator=(const ReadOnlyWay&) = delete;
  bool isThere() const { return isThere_; }
  const std::string& path() const { return folder_.path(); }

 private:
  TemporaryFolder folder_;
  bool isThere_ = false;
};

TEST(ReadOnlyWayToALibrary, ShowsWhatOthersCommitMeanwhile) {
  TestLibrary test;
  const ReadOnlyWay way(test.folder / "library");
  if (!way.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const auto opened = Library::open({.path = way.path()});
  ASSERT_TRUE(opened) << opened.error().sentence();
  Library& library = **opened;
  auto reader = *ChangeReader::open(*library.catalogue(), library.authorization());
  const auto inserted = [&reader] {
    const auto change = reader->read();
    return change ? change->inserted : Texts{"nothing told"};
  };
  const auto count = [&library] {
    const auto recents =
        library.fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr);
    return library.fetchAssetsInAssetCollection(*recents->firstObject(), nullptr)->count();
  };
  EXPECT_TRUE(storeAuthorization(test.folder / "library", PHAuthorizationStatus::authorized));
  EXPECT_EQ(count(), 0U);
  reader->read();
  const std::string asset = test.gardener.plant({});
  EXPECT_EQ(count(), 1U);
  EXPECT_EQ(inserted(), Texts{asset});
  // Also when the last who can write closes, and begins anew.
  test.library.reset();
  EXPECT_EQ(count(), 1U);
  EXPECT_FALSE(reader->read());
  test.library = test.open();
  const std::string second = test.gardener.plant({});
  EXPECT_EQ(count(), 2U);
  EXPECT_EQ(inserted(), Texts{second});
}

TEST(ReadOnlyWayToALibrary, HasNothingToTellWhereNobodyWrites) {
  TemporaryFolder folder;
  const FilledLibrary filled(folder / "library");
  const ReadOnlyWay way(filled.path);
  if (!way.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const auto library = Library::open({.path = way.path()});
  ASSERT_TRUE(library) << library.error().sentence();
  auto reader = *ChangeReader::open(*(*library)->catalogue(), (*library)->authorization());
  EXPECT_FALSE(reader->read());
  EXPECT_FALSE(reader->read());
}

}  // namespace
}  // namespace quorvin
