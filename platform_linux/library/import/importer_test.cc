// What becomes of files that are imported.
#include "platform_linux/library/import/importer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

struct Importer : testing::Test, ImportFixture {};

TEST_F(Importer, MakesOneAssetOfEachFileAndKeepsTheSource) {
  const auto photo = put("a.jpg", "image");
  const auto video = put("b.mov", "video");
  const auto audio = put("c.mp3", "audio");
  EXPECT_EQ(importAll(), (ImportSummary{3, 3, 0, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:a.jpg", "2 2:b.mov", "3 3:c.mp3"}));
  EXPECT_EQ(readFile(photo), "image");
  EXPECT_EQ(readFile(video), "video");
  EXPECT_EQ(listener.found, 3U);
  EXPECT_EQ(listener.done, (Texts{photo, video, audio}));
  expectSound();
}

TEST_F(Importer, MakesALibraryThatItsOwnerMayUse) {
  importAll();
  EXPECT_EQ((*Library::open({.path = libraryPath()}))->authorizationStatus(),
            PHAuthorizationStatus::authorized);
}

TEST_F(Importer, LeavesTheStatusOfALibraryThatThereWas) {
  open();
  put("a.jpg", "image");
  importAll();
  EXPECT_EQ((*Library::open({.path = libraryPath()}))->authorizationStatus(),
            PHAuthorizationStatus::notDetermined);
}

TEST_F(Importer, StoresTheBytesReadOnlyUnderTheirOwnExtension) {
  put("IMG.JPG", "image with bytes");
  importAll();
  const PHAsset asset = only();
  const auto stored = open()->storedResources(asset.localIdentifier);
  ASSERT_TRUE(stored);
  const StoredResource& photo = *stored->front();
  const std::string uuid = asset.localIdentifier.substr(0, 36);
  EXPECT_EQ(photo.path, folder / ("library/originals/" + uuid.substr(0, 2) + "/" + uuid + ".JPG"));
  EXPECT_EQ(readFile(photo.path), "image with bytes");
  struct stat status = {};
  ::stat(photo.path.c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0400U);
}

TEST_F(Importer, TakesTheExtensionFromTheContentWhenTheNameHasNone) {
  put("plain", "image");
  put("odd.j p g", "image too");
  importAll();
  for (const auto& file : filesBelow(folder / "library/originals")) {
    EXPECT_TRUE(file.ends_with(".jpg")) << file;
  }
}

TEST_F(Importer, TakesDatesFromTheMetadataElseFromTheFile) {
  const auto path = put("a.jpg", "image date=1500000000");
  const struct timespec times[2] = {{.tv_sec = 5, .tv_nsec = 0},
                                    {.tv_sec = -2, .tv_nsec = 500'000'000}};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
  importAll();
  EXPECT_EQ(only().creationDate, NSDate(1.5));
  EXPECT_EQ(only().modificationDate, NSDate(-1.5));
  ImportFixture undated;
  const auto plain = undated.put("a.jpg", "image");
  ::utimensat(AT_FDCWD, plain.c_str(), times, 0);
  undated.importAll();
  EXPECT_EQ(undated.only().creationDate, NSDate(-1.5));
}

TEST_F(Importer, AddsNothingTheSecondTime) {
  put("a.jpg", "image");
  put("sub/IMG_1.HEIC", "image 1");
  put("sub/IMG_1.MOV", "video 1");
  EXPECT_EQ(importAll(), (ImportSummary{2, 3, 0, 0}));
  const auto before = assets();
  const int probes = media.probes;
  EXPECT_EQ(importAll(), (ImportSummary{0, 0, 3, 0}));
  EXPECT_EQ(media.probes, probes);
  EXPECT_EQ(listener.done.size(), 3U);
  EXPECT_EQ(assets(), before);
  expectSound();
}

TEST_F(Importer, StopsOnceWhatIsUnderWayIsStored) {
  constexpr std::size_t kMany = 300;
  for (std::size_t i = 0; i < kMany; ++i)
    put(std::to_string(i) + ".jpg", "image " + std::to_string(i));
  listener.onDone = [this](const ImportedFile&) { stop.request_stop(); };
  const ImportSummary first = importAll();
  EXPECT_TRUE(first.wasStopped);
  EXPECT_GT(first.addedFiles, 0U);
  EXPECT_LT(first.addedFiles, kMany);
  EXPECT_EQ(assets().size(), first.addedFiles);
  expectSound();
  stop = {};
  listener.onDone = {};
  EXPECT_EQ(importAll(), (ImportSummary{kMany - first.addedFiles, kMany - first.addedFiles,
                                        first.addedFiles, 0}));
  expectSound();
}

TEST_F(Importer, DoesNothingWhenItIsStoppedBefore) {
  put("a.jpg", "image");
  stop.request_stop();
  EXPECT_EQ(importAll(), (ImportSummary{.wasStopped = true}));
  EXPECT_EQ(media.probes, 0);
}

TEST_F(Importer, SaysWhatBecameOfEachFile) {
  put("a.jpg", "image");
  importAll();
  put("b.jpg", "image b");
  put("c.txt", "text");
  put(".d.jpg", "image d");
  importAll();
  EXPECT_EQ(listener.outcomes,
            (std::map<std::string, FileOutcome>{{"a.jpg", FileOutcome::known},
                                                {"b.jpg", FileOutcome::added},
                                                {"c.txt", FileOutcome::refused}}));
  EXPECT_EQ(listener.overlooked, Texts{folder / "in/.d.jpg"});
}

TEST_F(Importer, TakesInAgainWhatWasDeleted) {
  put("a.jpg", "image");
  importAll();
  Gardener(libraryPath()).run("UPDATE assets SET trashed_ns = unixepoch() * 1000000000");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
}

TEST_F(Importer, MarksFastVideosAsSlowMotion) {
  put("a.mov", "video rate=119.88");
  put("b.mov", "video captured=120");
  put("c.mov", "video rate=60");
  importAll();
  const auto library = open();
  const auto slow =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 208, nullptr);
  EXPECT_EQ(library->fetchAssetsInAssetCollection(*slow->firstObject(), nullptr)->count(), 2U);
}

TEST_F(Importer, StoresHowSlowMotionPlays) {
  using namespace std::chrono_literals;
  import({put("a.mov", "video rate=120")});
  const TimeMap map = {{0s, 500ms, 500ms}, {500ms, 1500ms, 6s}, {2s, 500ms, 500ms}};
  EXPECT_EQ(*open()->timeMap(only().localIdentifier), map);
  expectSound();
}

TEST_F(Importer, StoresNothingOfVideosThatPlayAsTheyAre) {
  put("a.mov", "video captured=240");
  put("b.mov", "video rate=60");
  put("c.jpg", "image");
  importAll();
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT count(*) FROM time_maps"), 0);
}

TEST_F(Importer, ForgetsHowAMoviePlaysThatBecomesPartOfALivePhoto) {
  import({put("IMG_1.MOV", "video rate=240")});
  Gardener catalogue(libraryPath());
  EXPECT_EQ(catalogue.integer("SELECT count(*) FROM time_maps"), 3);
  import({put("IMG_1.HEIC", "image")});
  EXPECT_EQ(catalogue.integer("SELECT count(*) FROM time_maps"), 0);
}

TEST_F(Importer, PutsWhatItFindsIntoTheAlbum) {
  const auto first = put("a.jpg", "image 1");
  put("b.jpg", "image 2");
  import({first});
  import({folder / "in"}, "Trip");
  import({folder / "in"}, "Trip");
  const auto library = open();
  const auto albums =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr);
  ASSERT_EQ(albums->count(), 1U);
  EXPECT_EQ(albums->firstObject()->localizedTitle, "Trip");
  EXPECT_EQ(library->fetchAssetsInAssetCollection(*albums->firstObject(), nullptr)->count(), 2U);
}

TEST_F(Importer, MakesNoAlbumForNothing) {
  put("a.txt", "text");
  import({folder / "in"}, "Trip");
  EXPECT_EQ(
      open()->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr)->count(), 0U);
}

}  // namespace
}  // namespace quorvin
