#include "platform_linux/images/linux_image_manager.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <latch>
#include <limits>

#include "platform_linux/media/joined_media.h"
#include "platform_linux/videos/linux_composition.h"
#include "testing/platform/testing_image_manager.h"
#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;

TEST_F(LinuxImageManagerTest, DeliversTheRenderingOfTheStoredPhoto) {
  const auto call = image(photo(), {256, 128});
  ASSERT_NE(call.outcome, nullptr);
  EXPECT_EQ(call.outcome->width(), 8);
  EXPECT_EQ(call.error(), nullptr);
  EXPECT_NE(call.thread, std::this_thread::get_id());
  ASSERT_EQ(media_.renderings().size(), 1U);
  EXPECT_EQ(media_.renderings()[0].fileText, "IMG_1.JPG");
  EXPECT_EQ(media_.renderings()[0].request.kind, MediaKind::image);
}

TEST_F(LinuxImageManagerTest, RendersForTheTargetAndContentMode) {
  const RenderRequest fit = rendering({256.5, 128}, PHImageContentModeAspectFit);
  EXPECT_EQ(fit.fit, Fit::fit);
  EXPECT_EQ(fit.targetWidth, 256.5);
  EXPECT_EQ(fit.targetHeight, 128);
  EXPECT_FALSE(fit.crop);
  EXPECT_FALSE(fit.failOnDamage);
  EXPECT_EQ(rendering({256, 128}, PHImageContentModeAspectFill).fit, Fit::fill);
  EXPECT_EQ(rendering({256, kInfinity}, PHImageContentModeAspectFill).targetHeight, kInfinity);
}

TEST_F(LinuxImageManagerTest, TakesUnknownContentModesForFit) {
  for (const PHImageContentMode mode : {2, 7, -1}) {
    EXPECT_EQ(rendering({256, 128}, mode).fit, Fit::fit);
  }
}

TEST_F(LinuxImageManagerTest, CropsAndInsistsOnWholePicturesOnlyForExactSizes) {
  const RenderRequest fast = rendering({256, 128}, PHImageContentModeAspectFill);
  EXPECT_FALSE(fast.crop);
  EXPECT_FALSE(fast.failOnDamage);
  const RenderRequest exact =
      rendering({256, 128}, PHImageContentModeAspectFill, highQuality(ResizeMode::exact));
  EXPECT_TRUE(exact.crop);
  EXPECT_TRUE(exact.failOnDamage);
  EXPECT_FALSE(
      rendering({256, 128}, PHImageContentModeAspectFit, highQuality(ResizeMode::exact)).crop);
}

TEST_F(LinuxImageManagerTest, KeepsTheOriginalSizeForTheMaximumAndWithoutResizing) {
  EXPECT_EQ(rendering(PHImageManagerMaximumSize, 0).fit, Fit::original);
  EXPECT_EQ(rendering(PHImageManagerMaximumSize, 1, highQuality(ResizeMode::exact)).fit,
            Fit::original);
  EXPECT_EQ(rendering({256, 128}, 1, highQuality(ResizeMode::none)).fit, Fit::original);
}

TEST_F(LinuxImageManagerTest, RefusesSizesThatAreNone) {
  const auto expectRefused = [this](CGSize size, std::string_view sentence) {
    const auto call = image(photo(), size);
    EXPECT_EQ(call.outcome, nullptr);
    expectError(call.error(), LibraryErrorCode::requestNotSupportedForAsset, sentence);
  };
  expectRefused({0, 0}, "The target size 0 × 0 is not valid.");
  expectRefused({-1, 5}, "The target size -1 × 5 is not valid.");
  expectRefused({0.5, -2.25}, "The target size 0.5 × -2.25 is not valid.");
  expectRefused({kInfinity, -kInfinity}, "The target size inf × -inf is not valid.");
  expectRefused({std::nan(""), 5}, "The target size nan × 5 is not valid.");
  EXPECT_TRUE(media_.renderings().empty());
}

TEST_F(LinuxImageManagerTest, ShowsTheEditedPhotoUnlessTheOriginalIsAskedFor) {
  files_.add("edited", PHAssetResourceType::photo, "IMG_2.JPG");
  files_.add("edited", PHAssetResourceType::fullSizePhoto, "EDITED.JPG");
  const auto asset = assetOf(PHAssetMediaType::image, "edited");
  for (const Version version : {Version::current, Version::unadjusted, Version::original}) {
    PHImageRequestOptions options = highQuality();
    options.version = version;
    image(asset, {256, 256}, 0, options);
  }
  const auto shown = media_.renderings();
  ASSERT_EQ(shown.size(), 3U);
  EXPECT_EQ(shown[0].fileText, "EDITED.JPG");
  EXPECT_EQ(shown[1].fileText, "IMG_2.JPG");
  EXPECT_EQ(shown[2].fileText, "IMG_2.JPG");
}

TEST_F(LinuxImageManagerTest, ShowsAVideosPosterFrame) {
  files_.add("video", PHAssetResourceType::video, "MOV_1.MP4");
  EXPECT_NE(image(assetOf(PHAssetMediaType::video, "video"), {256, 256}).outcome, nullptr);
  ASSERT_EQ(media_.renderings().size(), 1U);
  EXPECT_EQ(media_.renderings()[0].fileText, "MOV_1.MP4");
  EXPECT_EQ(media_.renderings()[0].request.kind, MediaKind::video);
}

TEST_F(LinuxImageManagerTest, ShowsNothingForSoundsAndIsNoErrorThen) {
  files_.add("sound", PHAssetResourceType::audio, "SONG.MP3");
  for (const auto type : {PHAssetMediaType::audio, PHAssetMediaType::unknown}) {
    const auto call = image(assetOf(type, "sound"), {256, 256});
    EXPECT_EQ(call.outcome, nullptr);
    EXPECT_EQ(call.error(), nullptr);
  }
  EXPECT_TRUE(media_.renderings().empty());
}

TEST_F(LinuxImageManagerTest, SaysWhichFileIsMissingOrUnreadable) {
  files_.addMissing("missing", PHAssetResourceType::photo, "LOST.JPG");
  const auto missing = image(assetOf(PHAssetMediaType::image, "missing"), {256, 256});
  EXPECT_EQ(missing.outcome, nullptr);
  expectError(missing.error(), LibraryErrorCode::missingResource,
              "LOST.JPG: The file is missing from the library.");

  files_.addMissing("link", PHAssetResourceType::photo, "LINK.JPG");
  std::ofstream(files_.path("OTHER.JPG")) << "of nobody";
  std::filesystem::create_symlink(files_.path("OTHER.JPG"), files_.path("LINK.JPG"));
  expectError(image(assetOf(PHAssetMediaType::image, "link"), {256, 256}).error(),
              LibraryErrorCode::missingResource, "LINK.JPG: The file is missing from the library.");

  const std::string tooLong(256, 'N');
  files_.addMissing("long", PHAssetResourceType::photo, tooLong);
  expectError(image(assetOf(PHAssetMediaType::image, "long"), {256, 256}).error(),
              LibraryErrorCode::invalidResource,
              tooLong + ": The file cannot be read: File name too long.");
}

TEST_F(LinuxImageManagerTest, SaysThatAnAssetHasNoFileToShow) {
  files_.add("odd", PHAssetResourceType::adjustmentData, "ADJUSTMENTS");
  expectError(image(assetOf(PHAssetMediaType::image, "odd"), {256, 256}).error(),
              LibraryErrorCode::missingResource, "The library holds no file that shows the asset.");
}

TEST_F(LinuxImageManagerTest, NamesTheFileThatDoesNotDecode) {
  media_.onRender = [](const RenderRequest&) {
    return Failure(LibraryErrorCode::invalidResource, "the file is broken.");
  };
  const auto call = image(photo(), {256, 256});
  EXPECT_EQ(call.outcome, nullptr);
  expectError(call.error(), LibraryErrorCode::invalidResource, "IMG_1.JPG: The file is broken.");
}

TEST_F(LinuxImageManagerTest, PassesOnWhyTheLibraryRefusesAnyRequest) {
  const Failure refusal(LibraryErrorCode::accessUserDenied, "Access was denied.");
  const NSError denied = presented(refusal);
  files_.refuse(refusal);
  const auto refusedPhoto = assetOf(PHAssetMediaType::image, "photo");
  const auto shown = image(refusedPhoto, {256, 256});
  EXPECT_EQ(shown.outcome, nullptr);
  ASSERT_NE(shown.error(), nullptr);
  EXPECT_EQ(*shown.error(), denied);
  const auto read = data(refusedPhoto);
  EXPECT_FALSE(read.outcome.bytes);
  EXPECT_EQ(*read.error(), denied);
  const auto played = video(assetOf(PHAssetMediaType::video, "video"));
  EXPECT_EQ(played.outcome, nullptr);
  EXPECT_EQ(*played.error(), denied);
  const auto live = livePhoto(refusedPhoto);
  EXPECT_EQ(live.outcome, nullptr);
  EXPECT_EQ(*live.error(), denied);
}

TEST_F(LinuxImageManagerTest, DeliversADegradedImageThenTheFinalOneWhenOpportunistic) {
  ImageCalls calls;
  LinuxImageManager manager(files_, media_, 2);
  manager.requestImageForAsset(photo(), {1024, 1024}, 1, {}, into(calls));
  const auto both = calls.wait(2);
  ASSERT_EQ(both.size(), 2U);
  EXPECT_TRUE(both[0].isDegraded());
  EXPECT_FALSE(both[1].isDegraded());
  EXPECT_NE(both[0].outcome, nullptr);
  EXPECT_NE(both[1].outcome, nullptr);
  EXPECT_EQ(both[0].thread, both[1].thread);
  const auto renderings = media_.renderings();
  EXPECT_EQ(renderings[0].request.targetWidth, 160);
  // A preview that is at hand: the picture itself is rendered once.
  EXPECT_TRUE(renderings[0].request.previewAlone);
  EXPECT_FALSE(renderings[1].request.previewAlone);
  EXPECT_EQ(renderings[0].request.fit, Fit::fit);
  EXPECT_EQ(renderings[1].request.targetWidth, 1024);
  EXPECT_EQ(renderings[1].request.fit, Fit::fill);
}

TEST_F(LinuxImageManagerTest, DeliversNoDegradedImageThatWouldBeAsLargeAsTheFinalOne) {
  image(photo(), {160, 100}, 0, {});
  EXPECT_EQ(media_.renderings().size(), 1U);
}

TEST_F(LinuxImageManagerTest, DeliversTheFinalImageAloneWhenTheDegradedOneFails) {
  media_.onRender =
      [](const RenderRequest& request) -> Result<std::shared_ptr<const RenderedImage>> {
    if (request.targetWidth == 160) return Failure{};
    return imageOf(4, 3);
  };
  EXPECT_EQ(image(photo(), {1024, 1024}, 0, {}).outcome->width(), 4);
}

TEST_F(LinuxImageManagerTest, DeliversExactlyOneImageWhenFast) {
  PHImageRequestOptions options;
  options.deliveryMode = DeliveryMode::fastFormat;
  EXPECT_NE(image(photo(), {1024, 1024}, 0, options).outcome, nullptr);
  EXPECT_EQ(media_.renderings().size(), 1U);
}

TEST_F(LinuxImageManagerTest, AnswersSynchronousRequestsOnceOnTheCallersThreadBeforeItReturns) {
  PHImageRequestOptions options;
  options.isSynchronous = true;
  LinuxImageManager manager(files_, media_, 2);
  ImageCalls calls;
  manager.requestImageForAsset(photo(), {1024, 1024}, 0, options, into(calls));
  const auto all = calls.all();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_FALSE(all[0].isDegraded());
  EXPECT_EQ(all[0].thread, std::this_thread::get_id());
}

TEST_F(LinuxImageManagerTest, StopsBetweenTheDegradedAndTheFinalImageWhenCancelled) {
  LinuxImageManager manager(files_, media_, 1);
  std::latch known(1);
  PHImageRequestID id = 0;
  media_.onRender = [&](const RenderRequest&) {
    known.wait();
    manager.cancelImageRequest(id);
    return imageOf(8, 6);
  };
  ImageCalls calls;
  id = manager.requestImageForAsset(photo(), {1024, 1024}, 0, {}, into(calls));
  known.count_down();
  const auto all = calls.wait(1);
  manager.shutDown();
  EXPECT_EQ(calls.all().size(), 1U);
  EXPECT_TRUE(all[0].isCancelled());
  EXPECT_EQ(all[0].outcome, nullptr);
  EXPECT_EQ(media_.renderings().size(), 1U);
}

TEST_F(LinuxImageManagerTest, StopsARenderingThatIsCancelled) {
  LinuxImageManager manager(files_, media_, 1);
  std::latch rendering(1);
  media_.onStart = [&](const std::stop_token& stop) {
    rendering.count_down();
    while (!stop.stop_requested()) std::this_thread::yield();
  };
  ImageCalls calls;
  const PHImageRequestID id =
      manager.requestImageForAsset(photo(), {256, 256}, 0, highQuality(), into(calls));
  rendering.wait();
  manager.cancelImageRequest(id);
  EXPECT_TRUE(calls.wait(1)[0].isCancelled());
}

TEST_F(LinuxImageManagerTest, RendersOnceForEqualRequestsThatWait) {
  JoinedMedia joined(media_);
  LinuxImageManager manager(files_, joined, 1);
  std::latch rendering(1);
  std::latch released(1);
  media_.onStart = [&](const std::stop_token&) {
    if (rendering.try_wait()) return;
    rendering.count_down();
    released.wait();
  };
  ImageCalls calls;
  manager.requestImageForAsset(photo(), {100, 100}, 0, highQuality(), into(calls));
  rendering.wait();
  for (int i = 0; i < 3; ++i) {
    manager.requestImageForAsset(photo(), {256, 256}, 0, highQuality(), into(calls));
    manager.requestImageForAsset(photo(), {64.0 + i, 64}, 0, highQuality(), into(calls));
  }
  released.count_down();
  EXPECT_EQ(calls.wait(7).size(), 7U);
  EXPECT_EQ(media_.renderings().size(), 5U);
}

TEST_F(LinuxImageManagerTest, CallsNobodyOnceItIsShutDown) {
  LinuxImageManager manager(files_, media_, 1);
  std::latch rendering(1);
  std::latch released(1);
  media_.onRender = [&](const RenderRequest&) {
    rendering.count_down();
    released.wait();
    return imageOf(8, 6);
  };
  ImageCalls calls;
  manager.requestImageForAsset(photo(), {256, 256}, 0, highQuality(), into(calls));
  manager.requestImageForAsset(photo(), {256, 256}, 0, highQuality(), into(calls));
  rendering.wait();
  manager.beginShutDown();
  released.count_down();
  manager.shutDown();
  EXPECT_GT(manager.requestImageForAsset(photo(), {256, 256}, 0, highQuality(), into(calls)), 0);
  EXPECT_TRUE(calls.all().empty());
}

}  // namespace
}  // namespace quorvin
