#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <thread>

#include "testing/plugin/export_fixture.h"

namespace quorvin {
namespace {

Map thumbnail(bool jpegFormat = true, Value width = 256.0, Value height = 128.5,
              Value contentMode = 0) {
  return {{"assetId", "p"},
          {"width", std::move(width)},
          {"height", std::move(height)},
          {"contentMode", std::move(contentMode)},
          {"jpegFormat", jpegFormat}};
}

class GetThumbnail : public ExportTest {
 protected:
  GetThumbnail() {
    library.addAsset(photo("p"));
    log.clear();
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call) { return plugin.answer("getThumbnail", call); }

  void deliver(const std::shared_ptr<const UIImage>& delivered,
               const std::optional<PHImageInfo>& info = {}, std::size_t index = 0) {
    deliverImage(delivered, info, index);
  }

  const std::shared_ptr<const UIImage> image = std::make_shared<const FakeImage>("final");
};

TEST_F(GetThumbnail, RefusesFaultyArguments) {
  library.removeAsset("p");
  expectArgumentFaults(plugin, "getThumbnail", thumbnail(),
                       {{"assetId", Takes::text},
                        {"width", Takes::number},
                        {"height", Takes::number},
                        {"contentMode", Takes::integer},
                        {"jpegFormat", Takes::boolean}},
                       "Error arguments");
  EXPECT_TRUE(images.imageRequests().empty());
}

TEST_F(GetThumbnail, ReportsAnUnknownAssetByTheIdentifierGivenAndRequestsNothing) {
  EXPECT_EQ(request(with(thumbnail(), "assetId", "abc")).error(),
            (FlutterError{"Error", "Asset not found id = abc", Value()}));
  EXPECT_TRUE(images.imageRequests().empty());
}

TEST_F(GetThumbnail, LooksTheAssetUpThenRequestsItsImage) {
  RecordedReply reply = request(thumbnail());
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                                 "requestImageForAsset p"}));
}

TEST_F(GetThumbnail, RequestsACurrentFinalFastImageThatMayComeFromTheNetwork) {
  RecordedReply reply = request(thumbnail());
  reply.expectSilence();
  const auto sent = images.imageRequests().at(0).options;
  EXPECT_EQ(sent.version, PHImageRequestOptionsVersion::current);
  EXPECT_EQ(sent.deliveryMode, PHImageRequestOptionsDeliveryMode::highQualityFormat);
  EXPECT_EQ(sent.resizeMode, PHImageRequestOptionsResizeMode::fast);
  EXPECT_FALSE(sent.isSynchronous);
  EXPECT_TRUE(sent.isNetworkAccessAllowed);
}

TEST_F(GetThumbnail, PassesSizesOnUnchanged) {
  const double infinity = std::numeric_limits<double>::infinity();
  std::size_t index = 0;
  for (const auto& [width, height] : std::vector<std::pair<double, double>>{
           {256.0, 128.5}, {0.0, 0.0}, {-1.0, 1e300}, {infinity, 0.25}}) {
    RecordedReply reply = request(thumbnail(true, width, height));
    reply.expectSilence();
    EXPECT_EQ(images.imageRequests().at(index++).targetSize, (CGSize{width, height}));
  }
  RecordedReply reply = request(thumbnail(true, std::nan(""), 1.0));
  reply.expectSilence();
  EXPECT_TRUE(std::isnan(images.imageRequests().at(index).targetSize.width));
}

TEST_F(GetThumbnail, TakesWholeNumbersForSizes) {
  RecordedReply reply = request(thumbnail(true, 256, 128));
  reply.expectSilence();
  EXPECT_EQ(images.imageRequests().at(0).targetSize, (CGSize{256.0, 128.0}));
}

TEST_F(GetThumbnail, PassesContentModesOnUnchanged) {
  std::size_t index = 0;
  for (const std::int64_t mode : {std::int64_t{0}, std::int64_t{1}, std::int64_t{7},
                                  std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
    RecordedReply reply = request(thumbnail(true, 1.0, 1.0, mode));
    reply.expectSilence();
    EXPECT_EQ(images.imageRequests().at(index++).contentMode, mode);
  }
}

TEST_F(GetThumbnail, RequestsTheCachedAssetWithoutAFetch) {
  haveCached("p");
  RecordedReply reply = request(thumbnail());
  reply.expectSilence();
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(images.imageRequests().at(0).asset, plugin.manager().cachedAsset("p"));
}

TEST_F(GetThumbnail, CachesNothingAndHoldsNoLockDuringTheRequest) {
  RecordedReply reply = request(thumbnail());
  codec.duringEncoding = [this] { EXPECT_FALSE(plugin.manager().lockIsHeld()); };
  deliver(image);
  EXPECT_EQ(log.count("UIImageJPEGRepresentation"), 1u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetThumbnail, RepliesAJpegOfTheBestQuality) {
  const RecordedReply reply = request(thumbnail(true));
  log.clear();
  deliver(image);
  EXPECT_EQ(reply.value(), Value(*codec.jpeg));
  EXPECT_EQ(log.events(),
            (Names{"UIImageJPEGRepresentation final 1", "main.async", "reply getThumbnail"}));
}

TEST_F(GetThumbnail, RepliesAPngWhenNoJpegIsAsked) {
  const RecordedReply reply = request(thumbnail(false));
  log.clear();
  deliver(image);
  EXPECT_EQ(reply.value(), Value(*codec.png));
  EXPECT_EQ(log.events(),
            (Names{"UIImagePNGRepresentation final", "main.async", "reply getThumbnail"}));
}

TEST_F(GetThumbnail, RepliesTheEncodedBytesWithoutACopy) {
  const RecordedReply reply = request(thumbnail());
  deliver(image);
  EXPECT_EQ(reply.value().as<ByteBuffer>()->data(), codec.jpeg->data());
}

TEST_F(GetThumbnail, EncodesOnThePlatformsThreadAndRepliesOnTheMainQueue) {
  const RecordedReply reply = request(thumbnail());
  std::thread::id encodingThread;
  codec.duringEncoding = [&encodingThread] { encodingThread = std::this_thread::get_id(); };
  const auto handler = images.imageRequests().at(0).handler;
  std::thread::id deliveringThread;
  std::thread([&] {
    deliveringThread = std::this_thread::get_id();
    handler(image, nullptr);
  }).join();
  EXPECT_EQ(encodingThread, deliveringThread);
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetThumbnail, RepliesNullWhenTheRequestWasCancelled) {
  const RecordedReply reply = request(thumbnail());
  log.clear();
  deliver(image, infoOf(PHImageCancelledKey, true));
  EXPECT_EQ(reply.value(), Value());
  EXPECT_EQ(log.events(), (Names{"main.async", "reply getThumbnail"}));
}

TEST_F(GetThumbnail, TakesOnlyTrueAndErrorsForWhatTheySay) {
  std::size_t index = 0;
  for (const PHImageInfo& info : saysNothing()) {
    const RecordedReply reply = request(thumbnail());
    deliver(image, info, index++);
    EXPECT_EQ(reply.value(), Value(*codec.jpeg));
  }
}

TEST_F(GetThumbnail, ReportsTheRequestsError) {
  const RecordedReply reply = request(thumbnail());
  log.clear();
  deliver(image, infoOf(PHImageErrorKey, failure));
  EXPECT_EQ(reply.error(),
            (FlutterError{"Error", "Failed to load thumbnail", Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply getThumbnail"}));
}

TEST_F(GetThumbnail, PutsCancellationBeforeAnErrorAndAnErrorBeforeDegradation) {
  PHImageInfo all;
  all.set(PHImageResultIsDegradedKey, true);
  all.set(PHImageErrorKey, failure);
  const RecordedReply failed = request(thumbnail());
  deliver(image, all, 0);
  EXPECT_EQ(failed.error().message, "Failed to load thumbnail");

  all.set(PHImageCancelledKey, true);
  const RecordedReply cancelled = request(thumbnail());
  deliver(image, all, 1);
  EXPECT_EQ(cancelled.value(), Value());
}

TEST_F(GetThumbnail, SkipsDegradedImagesUntilTheFinalOne) {
  const RecordedReply reply = request(thumbnail());
  const auto degraded = std::make_shared<const FakeImage>("degraded");
  deliver(degraded, infoOf(PHImageResultIsDegradedKey, true));
  deliver(degraded, infoOf(PHImageResultIsDegradedKey, true));
  deliver(nullptr, infoOf(PHImageResultIsDegradedKey, true));
  EXPECT_EQ(reply.answerCount(), 0u);
  EXPECT_EQ(log.count("UIImage"), 0u);
  deliver(image, infoOf(PHImageResultIsDegradedKey, false));
  EXPECT_EQ(reply.value(), Value(*codec.jpeg));
  EXPECT_EQ(log.count("UIImageJPEGRepresentation final"), 1u);
}

TEST_F(GetThumbnail, RepliesNullWithoutAnImage) {
  for (const bool jpegFormat : {true, false}) {
    const RecordedReply reply = request(thumbnail(jpegFormat));
    deliver(nullptr, {}, jpegFormat ? 0 : 1);
    EXPECT_EQ(reply.value(), Value());
  }
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetThumbnail, RepliesNullWhenTheImageCannotBeEncoded) {
  codec.jpeg.reset();
  codec.png.reset();
  for (const bool jpegFormat : {true, false}) {
    const RecordedReply reply = request(thumbnail(jpegFormat));
    deliver(image, {}, jpegFormat ? 0 : 1);
    EXPECT_EQ(reply.value(), Value());
  }
}

TEST_F(GetThumbnail, IgnoresEveryDeliveryAfterItsReply) {
  for (std::size_t index = 0; index < 4; ++index) {
    const RecordedReply reply = request(thumbnail());
    const std::optional<PHImageInfo> firsts[] = {std::nullopt, infoOf(PHImageCancelledKey, true),
                                                 infoOf(PHImageErrorKey, failure), PHImageInfo()};
    deliver(index == 3 ? nullptr : image, firsts[index], index);
    EXPECT_EQ(reply.answerCount(), 1u);
    log.clear();
    deliver(image, {}, index);
    deliver(nullptr, infoOf(PHImageCancelledKey, true), index);
    deliver(nullptr, infoOf(PHImageErrorKey, failure), index);
    deliver(image, infoOf(PHImageResultIsDegradedKey, true), index);
    EXPECT_EQ(log.events(), Names{});
    EXPECT_EQ(reply.answerCount(), 1u);
  }
}

TEST_F(GetThumbnail, IgnoresADeliveryThatComesDuringTheEncoding) {
  const RecordedReply reply = request(thumbnail());
  const auto handler = images.imageRequests().at(0).handler;
  codec.duringEncoding = [this, handler] {
    codec.duringEncoding = nullptr;
    handler(image, nullptr);
  };
  deliver(image);
  EXPECT_EQ(reply.answerCount(), 1u);
}

TEST_F(GetThumbnail, KeepsTheCallsApart) {
  const RecordedReply first = request(thumbnail(true));
  const RecordedReply second = request(thumbnail(false));
  deliver(image, {}, 1);
  EXPECT_EQ(first.answerCount(), 0u);
  EXPECT_EQ(second.value(), Value(*codec.png));
  deliver(image, {}, 0);
  EXPECT_EQ(first.value(), Value(*codec.jpeg));
}

TEST_F(GetThumbnail, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply reply = request(thumbnail());
  plugin.registrar.registrations.clear();
  deliver(image);
  EXPECT_EQ(reply.value(), Value(*codec.jpeg));
}

TEST_F(GetThumbnail, LetsGoOfTheReplyWithItsHandler) {
  const auto witness = heldByTheReplyOf("getThumbnail", thumbnail());
  images.forgetRequests();
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(GetThumbnailWithoutAnImageManager, SaysNothingAboutAValidCall) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  plugin.library.addAsset(photo("p"));
  RecordedReply reply = plugin.answer("getThumbnail", thumbnail());
  reply.expectSilence();
  EXPECT_EQ(plugin.log.count("fetchAssetsWithLocalIdentifiers [p]"), 1u);
}

TEST(GetThumbnailWithoutAnImageManager, StillReportsFaults) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_EQ(plugin.answer("getThumbnail").error().message, "Error arguments");
  EXPECT_EQ(plugin.answer("getThumbnail", thumbnail()).error().message, "Asset not found id = p");
}

}  // namespace
}  // namespace quorvin
