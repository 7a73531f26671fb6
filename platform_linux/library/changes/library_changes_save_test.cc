// Files that are saved as new assets.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <latch>

#include "platform_linux/library/catalogue/library_lock.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Save : testing::Test, ChangeFixture {
  void expectRefused(const ChangeOutcome& outcome, LibraryErrorCode code, const std::string& why) {
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.code(), code) << outcome.text();
    EXPECT_EQ(outcome.text(), why + " (QuorvinLibraryErrorDomain error " +
                                  std::to_string(static_cast<std::int64_t>(code)) + ".)");
    EXPECT_TRUE(isEmpty());
  }
};

TEST_F(Save, MakesAnAssetUnderThePlaceholdersIdentifier) {
  const std::string path = put("IMG 1.JPG", "image date=5000000");
  ASSERT_TRUE(saveImage(path).success);
  const auto asset = find(saved);
  ASSERT_NE(asset, nullptr);
  EXPECT_EQ(asset->mediaType, PHAssetMediaType::image);
  EXPECT_EQ(asset->pixelWidth, 40);
  EXPECT_DOUBLE_EQ(asset->creationDate->timeIntervalSince1970(), 0.005);
  const auto stored = library->storedResources(saved);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->front()->originalFilename, "IMG 1.JPG");
  EXPECT_TRUE(stored->front()->path.ends_with(".JPG"));
  EXPECT_EQ(readFile(stored->front()->path), readFile(path));
  struct stat status = {};
  ASSERT_EQ(::stat(stored->front()->path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0400U);
}

TEST_F(Save, IsFoundBeforeTheCompletionRuns) {
  const std::string path = put("a.mov", "video");
  std::promise<bool> found;
  std::string identifier;
  changes->performChanges(
      [&](PHChangeRequests& requests) {
        identifier = requests.creationRequestForAssetFromVideoAtFileURL(path)->localIdentifier;
        EXPECT_EQ(find(identifier), nullptr);
      },
      [&](bool, const std::optional<NSError>&) { found.set_value(find(identifier) != nullptr); });
  EXPECT_TRUE(found.get_future().get());
}

TEST_F(Save, LeavesTheSourceAsItIsAlsoAReadOnlyOne) {
  const std::string path = put("a.jpg", "image");
  ::chmod(path.c_str(), 0400);
  struct stat before = {};
  ::stat(path.c_str(), &before);
  EXPECT_TRUE(saveImage(path).success);
  struct stat after = {};
  ASSERT_EQ(::stat(path.c_str(), &after), 0);
  EXPECT_EQ(before.st_mode, after.st_mode);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  EXPECT_EQ(readFile(path), "image");
  EXPECT_EQ(after.st_nlink, 1U);
}

TEST_F(Save, TakesTheFilesTimeWhenTheMetadataHasNone) {
  const std::string path = put("a.jpg", "image");
  const struct timespec times[2] = {{1, 0}, {1234, 500'000'000}};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
  EXPECT_TRUE(saveImage(path).success);
  EXPECT_DOUBLE_EQ(find(saved)->creationDate->timeIntervalSince1970(), 1234.5);
  EXPECT_DOUBLE_EQ(find(saved)->modificationDate->timeIntervalSince1970(), 1234.5);
}

TEST_F(Save, MakesTwoAssetsOfOneFileSavedTwice) {
  const std::string path = put("a.jpg", "image");
  EXPECT_TRUE(saveImage(path).success);
  const std::string first = saved;
  EXPECT_TRUE(saveImage(path).success);
  EXPECT_EQ(recents(), (std::vector<std::string>{first, saved}));
}

TEST_F(Save, KeepsAStillAndAMovieApart) {
  EXPECT_TRUE(saveImage(put("a.heic", "image id=X")).success);
  EXPECT_TRUE(saveVideo(put("a.mov", "video id=X")).success);
  EXPECT_EQ(recents().size(), 2U);
}

TEST_F(Save, MakesALivePhotoOfAMotionPhoto) {
  const std::string still = "image movieat=64 moviesize=5";
  EXPECT_TRUE(
      saveImage(put("MVIMG.jpg", still + std::string(64 - still.size(), ' ') + "movie")).success);
  EXPECT_EQ(find(saved)->mediaSubtypes & PHAssetMediaSubtype::photoLive,
            PHAssetMediaSubtype::photoLive);
  const auto stored = library->storedResources(saved);
  ASSERT_TRUE(stored);
  ASSERT_EQ(stored->size(), 2U);
  EXPECT_EQ((*stored)[1]->type, PHAssetResourceType::pairedVideo);
  EXPECT_EQ((*stored)[1]->originalFilename, "MVIMG.MP4");
  EXPECT_EQ(readFile((*stored)[1]->path), "movie");
}

TEST_F(Save, TakesAMotionPhotoWhoseMovieLiesOutside) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image movieat=9000 moviesize=5")).success);
  EXPECT_EQ(library->storedResources(saved)->size(), 1U);
}

TEST_F(Save, MakesAnAssetThatIsListedWhateverBurstItWasTakenIn) {
  const std::string member =
      gardener.plant({.created = 1, .burst = "B", .represents = true, .burstSelection = 1});
  std::vector<std::string> all = {member};
  for (const char* said : {"burst=B date=1 x", "burst=B date=9 primary", "burst=C date=5"}) {
    EXPECT_TRUE(saveImage(put("a.jpg", std::string("image ") + said)).success);
    all.push_back(saved);
    EXPECT_EQ(find(saved)->burstIdentifier, std::nullopt);
    EXPECT_FALSE(find(saved)->representsBurst);
    EXPECT_EQ(find(saved)->burstSelectionTypes, 0U);
  }
  EXPECT_TRUE(find(member)->representsBurst);
  std::vector<std::string> listed = recents();
  std::ranges::sort(listed);
  std::ranges::sort(all);
  EXPECT_EQ(listed, all);
}

TEST_F(Save, AddsToAnAlbumInTheSameChange) {
  const auto album = findAlbum(gardener.plantAlbum("Holidays"));
  const std::string path = put("a.jpg", "image");
  EXPECT_TRUE(perform([&](PHChangeRequests& requests) {
                const auto asset = requests.creationRequestForAssetFromImageAtFileURL(path);
                EXPECT_TRUE(requests.addAssets(*album, {&*asset, 1}));
                saved = asset->localIdentifier;
              }).success);
  EXPECT_EQ(list(*album), std::vector<std::string>{saved});
}

TEST_F(Save, LeavesNothingWhenTheAlbumIsGone) {
  const std::string identifier = gardener.plantAlbum("Holidays");
  const auto album = findAlbum(identifier);
  gardener.run("DELETE FROM collections WHERE ident = '" + identifier + "'");
  const std::string path = put("a.jpg", "image");
  EXPECT_EQ(perform([&](PHChangeRequests& requests) {
              const auto asset = requests.creationRequestForAssetFromImageAtFileURL(path);
              requests.addAssets(*album, {&*asset, 1});
            }).code(),
            LibraryErrorCode::identifierNotFound);
  EXPECT_TRUE(isEmpty());
  EXPECT_TRUE(saveImage(path).success);
}

TEST_F(Save, TakesAllFilesOfAChangeOrNone) {
  const std::string good = put("a.jpg", "image");
  const std::string bad = put("b.jpg", "text");
  EXPECT_FALSE(perform([&](PHChangeRequests& requests) {
                 requests.creationRequestForAssetFromImageAtFileURL(good);
                 requests.creationRequestForAssetFromImageAtFileURL(bad);
               }).success);
  EXPECT_TRUE(isEmpty());
}

TEST_F(Save, RefusesAMissingFile) {
  for (const char* path : {"none.jpg", "in/a.jpg/none.jpg"}) {
    put("a.jpg", "image");
    expectRefused(saveImage(folder / path), LibraryErrorCode::missingResource,
                  "The file “none.jpg” cannot be saved: there is no such file.");
  }
}

TEST_F(Save, RefusesWhatIsNoMedia) {
  expectRefused(saveImage(put("a.jpg", "text")), LibraryErrorCode::invalidResource,
                "The file “a.jpg” cannot be saved: it is not a photo, video or audio file.");
  expectRefused(saveImage(put("a.jpg", "")), LibraryErrorCode::invalidResource,
                "The file “a.jpg” cannot be saved: the file is empty.");
}

TEST_F(Save, RefusesAFileOfTheOtherKind) {
  expectRefused(saveImage(put("a.mov", "video")), LibraryErrorCode::invalidResource,
                "The file “a.mov” cannot be saved: it is a video, not a photo.");
  expectRefused(saveVideo(put("a.jpg", "image")), LibraryErrorCode::invalidResource,
                "The file “a.jpg” cannot be saved: it is a photo, not a video.");
  expectRefused(saveVideo(put("a.mp3", "audio")), LibraryErrorCode::invalidResource,
                "The file “a.mp3” cannot be saved: it is a sound, not a video.");
}

TEST_F(Save, RefusesFoldersDevicesAndPipesWithoutWaiting) {
  fs::create_directory(folder / "folder.jpg");
  expectRefused(saveImage(folder / "folder.jpg"), LibraryErrorCode::invalidResource,
                "The file “folder.jpg” cannot be saved: it is not a regular file.");
  ASSERT_EQ(::mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
  expectRefused(saveImage(folder / "pipe.jpg"), LibraryErrorCode::invalidResource,
                "The file “pipe.jpg” cannot be saved: it is not a regular file.");
  expectRefused(saveImage("/dev/zero"), LibraryErrorCode::invalidResource,
                "The file “zero” cannot be saved: it is not a regular file.");
}

TEST_F(Save, FollowsASymbolicLink) {
  fs::create_symlink(put("a.jpg", "image"), folder / "link.jpg");
  EXPECT_TRUE(saveImage(folder / "link.jpg").success);
  const auto stored = library->storedResources(saved);
  EXPECT_EQ(stored->front()->originalFilename, "link.jpg");
  EXPECT_FALSE(fs::is_symlink(stored->front()->path));
}

TEST_F(Save, RefusesAFileThatGrowsWhileItIsRead) {
  const std::string path = put("a.jpg", "image");
  media.onProbe = [&path](const std::string&) { std::ofstream(path, std::ios::app) << " more"; };
  expectRefused(saveImage(path), LibraryErrorCode::invalidResource,
                "The file “a.jpg” cannot be saved: the file changed while it was read.");
}

TEST_F(Save, RefusesAFileThatVanishesWhileItIsRead) {
  const std::string path = put("a.jpg", "image");
  media.onProbe = [&path](const std::string&) { fs::remove(path); };
  EXPECT_EQ(saveImage(path).code(), LibraryErrorCode::missingResource);
  EXPECT_TRUE(isEmpty());
}

TEST_F(Save, JoinsTheSelectionWithLimitedAccess) {
  reopen(PHAuthorizationStatus::limited);
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  EXPECT_NE(find(saved), nullptr);
}

TEST_F(Save, LeavesNothingBehindInTheIncomingFolderWhenItEnds) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  EXPECT_FALSE(saveImage(put("b.jpg", "text")).success);
  changes.reset();
  EXPECT_TRUE(fs::is_empty(folder / "library/incoming"));
}

TEST_F(Save, WorksOnWhenSomebodyRemovedTheIncomingFiles) {
  const std::string path = put("a.jpg", "image");
  EXPECT_TRUE(saveImage(path).success);
  for (const auto& entry : fs::directory_iterator(folder / "library/incoming")) {
    fs::remove_all(entry);
  }
  EXPECT_TRUE(saveImage(path).success);
  EXPECT_EQ(recents().size(), 2U);
}

TEST(SaveOnAFullVolume, FailsAndLeavesNothing) {
  SmallVolume volume("size=600k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  auto library = Library::open(
      {.path = volume / "library", .authorization = PHAuthorizationStatus::authorized});
  ASSERT_TRUE(library) << library.error().sentence();
  TemporaryFolder outside;
  writeFile(outside / "a.jpg", "image " + std::string(700'000, ' '));
  ScriptedMedia media;
  LibraryChanges changes(**library, media);
  std::promise<NSError> failed;
  changes.performChanges(
      [&](PHChangeRequests& requests) {
        requests.creationRequestForAssetFromImageAtFileURL(outside / "a.jpg");
      },
      [&](bool, std::optional<NSError> error) { failed.set_value(error.value_or(NSError{})); });
  const NSError error = failed.get_future().get();
  EXPECT_EQ(error.code, static_cast<std::int64_t>(LibraryErrorCode::notEnoughSpace))
      << error.localizedDescription;
  EXPECT_NE(error.localizedDescription.find("“a.jpg”"), std::string::npos);
  EXPECT_TRUE(filesBelow(volume / "library/originals").empty());
}

TEST_F(Save, IsNotHeldUpNorSweptByWhoeverOpensBehindAReplacedLock) {
  // What is being copied at this moment is known by its own list as well.
  std::latch copying(1);
  std::latch opened(1);
  media.onProbe = [&](const std::string&) {
    copying.count_down();
    opened.wait();
  };
  auto saving = start([path = put("a.jpg", "image")](PHChangeRequests& requests) {
    requests.creationRequestForAssetFromImageAtFileURL(path);
  });
  copying.wait();
  const std::string incoming = folder / "library/incoming";
  ASSERT_EQ(filesBelow(incoming).size(), 1U);
  std::filesystem::remove(folder / "library/library.lock");
  EXPECT_NE(open(), nullptr);
  EXPECT_EQ(filesBelow(incoming).size(), 1U);
  opened.count_down();
  EXPECT_FALSE(saving.get().success);
}

TEST_F(Save, DoesNotHoldUpOtherChangesWhileItsFileIsReadAndCopied) {
  std::latch reading(1);
  std::latch made(1);
  media.onProbe = [&](const std::string&) {
    reading.count_down();
    made.wait();
  };
  const std::string first = put("a.jpg", "image");
  auto saving = start([&first](PHChangeRequests& requests) {
    requests.creationRequestForAssetFromImageAtFileURL(first);
  });
  reading.wait();
  EXPECT_TRUE(perform([](PHChangeRequests& requests) {
                requests.creationRequestForAssetCollectionWithTitle("Trip");
              }).success);
  made.count_down();
  EXPECT_TRUE(saving.get().success);
}

TEST_F(Save, ClampsAFileTimeThatNanosecondsDoNotReach) {
  const std::string path = put("a.jpg", "image");
  const struct timespec times[2] = {{13'569'465'600, 0}, {13'569'465'600, 0}};  // in 2400
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct stat status = {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  if (status.st_mtim.tv_sec != 13'569'465'600) GTEST_SKIP() << "the file system ends earlier";
  EXPECT_TRUE(saveImage(path).success);
  const auto asset = find(saved);
  ASSERT_NE(asset, nullptr);
  EXPECT_EQ(gardener.integer("SELECT created_ns FROM assets"), INT64_MAX);
}

TEST_F(Save, FailsWithTheLocksNameWhileAnotherProgramWrites) {
  const auto writer =
      LibraryLock::tryAcquire(*libraryFolderAt(folder / "library"), LibraryLock::Area::writer,
                              LibraryLock::Mode::exclusive);
  ASSERT_TRUE(writer);
  const ChangeOutcome outcome = saveImage(put("a.jpg", "image"));
  EXPECT_EQ(outcome.code(), LibraryErrorCode::operationInterrupted);
  EXPECT_NE(outcome.text().find("library.lock"), std::string::npos);
  EXPECT_TRUE(isEmpty());
}

}  // namespace
}  // namespace quorvin
