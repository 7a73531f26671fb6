#include "platform_linux/images/linux_image_manager.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <latch>
#include <limits>

#include "platform_linux/videos/linux_composition.h"
#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;

using DeliveryMode = PHImageRequestOptionsDeliveryMode;
using Fit = RenderRequest::Fit;
using ResizeMode = PHImageRequestOptionsResizeMode;
using Version = PHImageRequestOptionsVersion;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Data {
  std::optional<ByteBuffer> bytes;
  std::optional<std::string> type;
  std::int64_t orientation = 0;
};

using ImageCalls = Calls<std::shared_ptr<const UIImage>>;
using DataCalls = Calls<Data>;
using VideoCalls = Calls<std::shared_ptr<const AVAsset>>;
using LivePhotoCalls = Calls<std::shared_ptr<const PHLivePhoto>>;

PHImageRequestOptions highQuality(ResizeMode resizeMode = ResizeMode::fast) {
  PHImageRequestOptions options;
  options.deliveryMode = DeliveryMode::highQualityFormat;
  options.resizeMode = resizeMode;
  return options;
}

std::string text(const ByteBuffer& bytes) {
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

/// A handler that records its calls.
template <class AnyCalls>
auto into(AnyCalls& calls) {
  return [&calls](auto outcome, const PHImageInfo* info) { calls.add(std::move(outcome), info); };
}

class LinuxImageManagerTest : public testing::Test {
 protected:
  /// The only call that the request comes to.
  ImageCalls::Call image(std::shared_ptr<const PHAsset> asset, CGSize size,
                         PHImageContentMode mode = 0,
                         const PHImageRequestOptions& options = highQuality()) {
    return onlyCall<ImageCalls>([&](LinuxImageManager& manager, ImageCalls& calls) {
      return manager.requestImageForAsset(asset, size, mode, options, into(calls));
    });
  }
  /// What the media service is asked to render for such a request.
  RenderRequest rendering(CGSize size, PHImageContentMode mode,
                          const PHImageRequestOptions& options = highQuality()) {
    image(photo(), size, mode, options);
    return media_.renderings().back().request;
  }
  DataCalls::Call data(std::shared_ptr<const PHAsset> asset,
                       const PHImageRequestOptions& options = highQuality()) {
    return onlyCall<DataCalls>([&](LinuxImageManager& manager, DataCalls& calls) {
      return manager.requestImageDataAndOrientationForAsset(
          asset, options,
          [&calls](auto bytes, const auto& type, std::int64_t orientation,
                   const PHImageInfo* info) {
            calls.add({std::move(bytes), type, orientation}, info);
          });
    });
  }
  VideoCalls::Call video(std::shared_ptr<const PHAsset> asset, Version version = Version::current) {
    PHVideoRequestOptions options;
    options.version = version;
    return onlyCall<VideoCalls>([&](LinuxImageManager& manager, VideoCalls& calls) {
      return manager.requestAVAssetForVideo(asset, options, into(calls));
    });
  }
  LivePhotoCalls::Call livePhoto(std::shared_ptr<const PHAsset> asset,
                                 CGSize size = PHImageManagerMaximumSize) {
    PHLivePhotoRequestOptions options;
    options.deliveryMode = DeliveryMode::highQualityFormat;
    return onlyCall<LivePhotoCalls>([&](LinuxImageManager& manager, LivePhotoCalls& calls) {
      return manager.requestLivePhotoForAsset(asset, size, 0, options, into(calls));
    });
  }

  /// A photo with one file.
  std::shared_ptr<const PHAsset> photo() {
    if (!files_.storedResources("photo")) {
      files_.add("photo", PHAssetResourceType::photo, "IMG_1.JPG");
    }
    return assetOf(PHAssetMediaType::image, "photo");
  }
  std::shared_ptr<const PHAsset> slowMotion(double frameRate, double captureFrameRate = 0) {
    files_.add("slow", PHAssetResourceType::video, "SLOW.MOV");
    media_.onProbe = [frameRate, captureFrameRate](const std::string& name) {
      EXPECT_EQ(name, "SLOW.MOV");
      MediaProbe probe;
      probe.kind = MediaKind::video;
      probe.duration = 10;
      probe.frameRate = frameRate;
      probe.captureFrameRate = captureFrameRate;
      return probe;
    };
    return assetOf(PHAssetMediaType::video, "slow", PHAssetMediaSubtype::videoHighFrameRate);
  }
  std::shared_ptr<const PHAsset> completeLivePhoto() {
    files_.add("live", PHAssetResourceType::fullSizePhoto, "EDITED.JPG");
    files_.add("live", PHAssetResourceType::photo, "LIVE.HEIC");
    files_.add("live", PHAssetResourceType::pairedVideo, "LIVE.MOV");
    return assetOf(PHAssetMediaType::image, "live", PHAssetMediaSubtype::photoLive);
  }

  StoredFiles files_;
  ScriptedMedia media_;

 private:
  template <class AnyCalls, class Request>
  typename AnyCalls::Call onlyCall(const Request& request) {
    AnyCalls calls;
    LinuxImageManager manager(files_, media_, 2);
    EXPECT_GT(request(manager, calls), 0);
    calls.wait(1);
    manager.shutDown();
    const auto all = calls.all();
    EXPECT_EQ(all.size(), 1U);
    EXPECT_FALSE(all.front().isDegraded());
    EXPECT_FALSE(all.front().isCancelled());
    return all.front();
  }
};

void expectError(const NSError* error, LibraryErrorCode code, std::string_view sentence) {
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(*error, presented(Failure(code, sentence)));
}

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

  const std::string tooLong(256, 'n');
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
    return Failure(LibraryErrorCode::invalidResource, "The file is broken.");
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
