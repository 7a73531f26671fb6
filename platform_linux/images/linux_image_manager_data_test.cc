#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <latch>
#include <limits>

#include "platform_linux/images/linux_image_manager.h"
#include "platform_linux/videos/linux_composition.h"
#include "testing/platform/testing_image_manager.h"
#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;

TEST_F(LinuxImageManagerTest, GivesTheStoredBytesWithTheirTypeAndOrientation) {
  files_.add("turned", PHAssetResourceType::photo, "IMG_3.HEIC", 6);
  const auto call = data(assetOf(PHAssetMediaType::image, "turned"));
  ASSERT_TRUE(call.outcome.bytes);
  EXPECT_EQ(text(*call.outcome.bytes), "IMG_3.HEIC");
  EXPECT_EQ(call.outcome.type, "type.IMG_3.HEIC");
  EXPECT_EQ(call.outcome.orientation, 6);
  EXPECT_EQ(call.error(), nullptr);
  EXPECT_NE(call.thread, std::this_thread::get_id());
}

TEST_F(LinuxImageManagerTest, GivesTheBytesOfTheEditedPhoto) {
  files_.add("edited", PHAssetResourceType::photo, "IMG_2.HEIC", 6);
  files_.add("edited", PHAssetResourceType::fullSizePhoto, "EDITED.JPG", 1);
  const auto asset = assetOf(PHAssetMediaType::image, "edited");
  const auto current = data(asset).outcome;
  EXPECT_EQ(text(*current.bytes), "EDITED.JPG");
  EXPECT_EQ(current.type, "type.EDITED.JPG");
  EXPECT_EQ(current.orientation, 1);
  PHImageRequestOptions options;
  options.version = Version::original;
  const auto original = data(asset, options).outcome;
  EXPECT_EQ(text(*original.bytes), "IMG_2.HEIC");
  EXPECT_EQ(original.type, "type.IMG_2.HEIC");
  EXPECT_EQ(original.orientation, 6);
}

TEST_F(LinuxImageManagerTest, GivesTheBytesOfTheJpegBesideARawPhoto) {
  files_.add("pair", PHAssetResourceType::photo, "IMG_7.JPG");
  files_.add("pair", PHAssetResourceType::alternatePhoto, "IMG_7.DNG");
  EXPECT_EQ(data(assetOf(PHAssetMediaType::image, "pair")).outcome.type, "type.IMG_7.JPG");
}

TEST_F(LinuxImageManagerTest, GivesImageDataBeforeASynchronousRequestReturns) {
  files_.add("A", PHAssetResourceType::photo, "IMG_1.JPG");
  PHImageRequestOptions options;
  options.isSynchronous = true;
  int calls = 0;
  LinuxImageManager manager(files_, media_, 1);
  manager.requestImageDataAndOrientationForAsset(
      assetOf(PHAssetMediaType::image), options,
      [&calls](const auto& bytes, const auto&, std::int64_t, const PHImageInfo* info) {
        ++calls;
        EXPECT_TRUE(bytes);
        EXPECT_NE(info, nullptr);
      });
  EXPECT_EQ(calls, 1);
}

TEST_F(LinuxImageManagerTest, GivesImageDataThatNobodyElseHolds) {
  files_.add("A", PHAssetResourceType::photo, "IMG_1.JPG");
  PHImageRequestOptions options;
  options.isSynchronous = true;
  LinuxImageManager manager(files_, media_, 1);
  manager.requestImageDataAndOrientationForAsset(
      assetOf(PHAssetMediaType::image), options,
      [](std::optional<ByteBuffer> bytes, const auto&, std::int64_t, const PHImageInfo*) {
        ASSERT_TRUE(bytes);
        EXPECT_TRUE(bytes->takeBehind(std::array<std::uint8_t, 2>{1, 2}));
      });
}

TEST_F(LinuxImageManagerTest, GivesNoImageDataOfVideosAndSounds) {
  files_.add("A", PHAssetResourceType::video, "MOV_1.MP4");
  for (const auto type : {PHAssetMediaType::video, PHAssetMediaType::audio}) {
    const auto call = data(assetOf(type));
    EXPECT_FALSE(call.outcome.bytes);
    EXPECT_FALSE(call.outcome.type);
    EXPECT_EQ(call.outcome.orientation, 1);
    ASSERT_NE(call.error(), nullptr);
  }
}

TEST_F(LinuxImageManagerTest, GivesNoImageDataOfAFileThatIsMissing) {
  files_.addMissing("missing", PHAssetResourceType::photo, "LOST.JPG");
  const auto call = data(assetOf(PHAssetMediaType::image, "missing"));
  EXPECT_FALSE(call.outcome.bytes);
  expectError(call.error(), LibraryErrorCode::missingResource,
              "LOST.JPG: The file is missing from the library.");
}

TEST_F(LinuxImageManagerTest, GivesAnOrdinaryVideoInPlace) {
  files_.add("video", PHAssetResourceType::video, "MOV_1.MP4");
  const auto call = video(assetOf(PHAssetMediaType::video, "video"));
  const auto* file = dynamic_cast<const AVURLAsset*>(call.outcome.get());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->URL, files_.path("MOV_1.MP4"));
  EXPECT_EQ(call.error(), nullptr);
  EXPECT_NE(call.thread, std::this_thread::get_id());
}

TEST_F(LinuxImageManagerTest, GivesSlowMotionAsAComposition) {
  const auto call = video(slowMotion(240));
  const auto* composition = dynamic_cast<const LinuxComposition*>(call.outcome.get());
  ASSERT_NE(composition, nullptr);
  EXPECT_EQ(composition->source.path, "SLOW.MOV");
  EXPECT_EQ(composition->timeMap, (TimeMap{{0s, 1s, 1s}, {1s, 8s, 64s}, {9s, 1s, 1s}}));
}

TEST_F(LinuxImageManagerTest, GivesAVideoWithAStoredTimeMapAsAComposition) {
  const TimeMap map = {{0s, 5s, 10s}};
  files_.add("edited", PHAssetResourceType::video, "EDITED.MOV");
  files_.play("edited", map);
  media_.onProbe = [](const std::string&) -> Result<MediaProbe> {
    ADD_FAILURE() << "the file is not to be looked at";
    return MediaProbe();
  };
  const auto asset = assetOf(PHAssetMediaType::video, "edited");
  const auto current = video(asset);
  const auto* composition = dynamic_cast<const LinuxComposition*>(current.outcome.get());
  ASSERT_NE(composition, nullptr);
  EXPECT_EQ(composition->timeMap, map);
  const auto original = video(asset, Version::original);
  EXPECT_NE(dynamic_cast<const AVURLAsset*>(original.outcome.get()), nullptr);
}

TEST_F(LinuxImageManagerTest, GivesSlowMotionInPlaceWhenItIsStoredSlowOrTheOriginalIsAskedFor) {
  EXPECT_NE(dynamic_cast<const AVURLAsset*>(video(slowMotion(30, 120)).outcome.get()), nullptr);
  EXPECT_NE(dynamic_cast<const AVURLAsset*>(video(slowMotion(118)).outcome.get()), nullptr);
  EXPECT_NE(dynamic_cast<const AVComposition*>(video(slowMotion(119.88)).outcome.get()), nullptr);
  const auto original = video(slowMotion(240), Version::original);
  EXPECT_NE(dynamic_cast<const AVURLAsset*>(original.outcome.get()), nullptr);
}

TEST_F(LinuxImageManagerTest, GivesAnEditedVideoInPlaceEvenWhenItsOriginalIsSlowMotion) {
  const auto asset = slowMotion(240);
  files_.add("slow", PHAssetResourceType::fullSizeVideo, "EDITED.MOV");
  const auto call = video(asset);
  const auto* file = dynamic_cast<const AVURLAsset*>(call.outcome.get());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->URL, files_.path("EDITED.MOV"));
}

TEST_F(LinuxImageManagerTest, GivesNoVideoThatIsMissingOrDoesNotOpenOrIsNone) {
  files_.addMissing("missing", PHAssetResourceType::video, "LOST.MOV");
  const auto missing = video(assetOf(PHAssetMediaType::video, "missing"));
  EXPECT_EQ(missing.outcome, nullptr);
  expectError(missing.error(), LibraryErrorCode::missingResource,
              "LOST.MOV: The file is missing from the library.");

  const auto broken = slowMotion(240);
  media_.onProbe = [](const std::string&) {
    return Failure(LibraryErrorCode::invalidResource, "The file is broken.");
  };
  const auto unopened = video(broken);
  EXPECT_EQ(unopened.outcome, nullptr);
  expectError(unopened.error(), LibraryErrorCode::invalidResource, "SLOW.MOV: The file is broken.");

  EXPECT_EQ(video(photo()).outcome, nullptr);
}

TEST_F(LinuxImageManagerTest, GivesALivePhotoAsItsOriginalPhotoAndPairedVideo) {
  const auto call = livePhoto(completeLivePhoto());
  ASSERT_NE(call.outcome, nullptr);
  const auto& resources = call.outcome->resources;
  ASSERT_EQ(resources.size(), 2U);
  EXPECT_EQ(resources[0]->originalFilename, "LIVE.HEIC");
  EXPECT_EQ(resources[1]->originalFilename, "LIVE.MOV");
  EXPECT_NE(call.thread, std::this_thread::get_id());
}

TEST_F(LinuxImageManagerTest, GivesALivePhotoDegradedFirstWhenOpportunistic) {
  LivePhotoCalls calls;
  LinuxImageManager manager(files_, media_, 2);
  manager.requestLivePhotoForAsset(completeLivePhoto(), {1024, 1024}, 0, {}, into(calls));
  const auto both = calls.wait(2);
  EXPECT_TRUE(both[0].isDegraded());
  EXPECT_FALSE(both[1].isDegraded());
  EXPECT_NE(both[1].outcome, nullptr);
}

TEST_F(LinuxImageManagerTest, GivesNoLivePhotoOfAnIncompletePairOrAnInvalidSize) {
  const auto complete = completeLivePhoto();
  EXPECT_NE(livePhoto(complete, {0, 0}).error(), nullptr);

  const auto still = assetOf(PHAssetMediaType::image, "live");
  expectError(livePhoto(still).error(), LibraryErrorCode::missingResource,
              "The asset has no photo with a paired video.");

  std::filesystem::remove(files_.path("LIVE.MOV"));
  const auto incomplete = livePhoto(complete);
  EXPECT_EQ(incomplete.outcome, nullptr);
  expectError(incomplete.error(), LibraryErrorCode::missingResource,
              "LIVE.MOV: The file is missing from the library.");
}

}  // namespace
}  // namespace quorvin
