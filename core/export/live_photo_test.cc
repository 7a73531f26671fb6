#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "testing/plugin/live_photo_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;
using GetLivePhotoUrl = LivePhotoTest;

// Before the request

TEST_F(GetLivePhotoUrl, RefusesFaultyArguments) {
  library.removeAsset("p");
  expectArgumentFaults(plugin, "getLivePhotoUrl", livePhotoFile(),
                       {{"assetId", Takes::text}, {"mediumQuality", Takes::boolean}},
                       "Invalid arguments");
  EXPECT_TRUE(images.livePhotoRequests().empty());
}

TEST_F(GetLivePhotoUrl, ReportsAnUnknownAssetByTheIdentifierGivenAndRequestsNothing) {
  for (const std::string id : {"abc", ""}) {
    EXPECT_EQ(request(livePhotoFile(true, id)).error(),
              (FlutterError{"Error", "Asset not found id = " + id, Value()}));
  }
  EXPECT_TRUE(images.livePhotoRequests().empty());
}

TEST_F(GetLivePhotoUrl, ReportsAnAssetWithoutAMotionPartAndRequestsNothing) {
  for (const std::uint64_t subtypes : {0u, 1u, 2u, 4u, 7u, 16u, 0x20000u, 0xFFFFFFF7u}) {
    const std::string id = "still" + std::to_string(subtypes);
    addLivePhoto(id, "IMG.HEIC", {}, {}, subtypes);
    EXPECT_EQ(request(livePhotoFile(false, id)).error(),
              (FlutterError{"Error", "Asset is not live photo id = " + id, Value()}));
  }
  EXPECT_TRUE(images.livePhotoRequests().empty());
  EXPECT_EQ(log.count("createDirectory"), 0u);
}

TEST_F(GetLivePhotoUrl, TakesALivePhotoOfFurtherSubtypes) {
  for (const std::uint64_t subtypes : {8u, 8u | 2u, 0xFFFFFFFFu}) {
    const std::string id = "live" + std::to_string(subtypes);
    addLivePhoto(id, "IMG.HEIC", {}, {}, subtypes);
    RecordedReply reply = request(livePhotoFile(false, id));
    reply.expectSilence();
    EXPECT_EQ(images.livePhotoRequests().back().asset->localIdentifier, id);
  }
}

TEST_F(GetLivePhotoUrl, LooksTheAssetUpThenRequestsTheLivePhoto) {
  RecordedReply reply = request();
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                                 "requestLivePhotoForAsset p"}));
}

TEST_F(GetLivePhotoUrl, RequestsACurrentFinalLivePhotoThatMayComeFromTheNetwork) {
  for (const bool mediumQuality : {false, true}) {
    RecordedReply reply = request(livePhotoFile(mediumQuality));
    reply.expectSilence();
    const auto sent = images.livePhotoRequests().back();
    EXPECT_EQ(sent.options,
              (PHLivePhotoRequestOptions{
                  .version = PHImageRequestOptionsVersion::current,
                  .deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat,
                  .isNetworkAccessAllowed = true}));
    EXPECT_EQ(sent.targetSize,
              mediumQuality ? (CGSize{1024.0, 1024.0}) : PHImageManagerMaximumSize);
    EXPECT_EQ(sent.contentMode, 0);
  }
}

TEST_F(GetLivePhotoUrl, RequestsTheCachedAssetWithoutAFetch) {
  haveCached("p");
  RecordedReply reply = request();
  reply.expectSilence();
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(images.livePhotoRequests().at(0).asset, plugin.manager().cachedAsset("p"));
}

TEST_F(GetLivePhotoUrl, RunsOnTheBackgroundQueue) {
  RecordedReply reply = plugin.call("getLivePhotoUrl", livePhotoFile());
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async"}));
}

// What is delivered

TEST_F(GetLivePhotoUrl, SkipsDegradedLivePhotosEvenCancelledOrFailedOnes) {
  const RecordedReply reply = request();
  deliver(livePhoto, infoOf(PHImageResultIsDegradedKey, true));
  EXPECT_EQ(log.events(), Names{});
  deliver(nullptr, infoOf(PHImageResultIsDegradedKey, true));
  EXPECT_EQ(log.events(), Names{});
  deliver(livePhoto, infoOfEverything(failure));
  EXPECT_EQ(log.events(), Names{});
  deliver(livePhoto, infoOf(PHImageResultIsDegradedKey, false));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrl, ReportsACancelledRequestBeforeItsError) {
  PHImageInfo both = infoOf(PHImageCancelledKey, true);
  both.set(PHImageErrorKey, failure);
  for (const PHImageInfo& info : {infoOf(PHImageCancelledKey, true), both}) {
    const RecordedReply reply = request();
    deliver(livePhoto, info);
    EXPECT_EQ(reply.error(), (FlutterError{"Error", "Live photo request cancelled", Value()}));
  }
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetLivePhotoUrl, ReportsTheRequestsError) {
  for (const auto& delivered : {livePhoto, std::shared_ptr<const PHLivePhoto>()}) {
    const RecordedReply reply = request();
    deliver(delivered, infoOf(PHImageErrorKey, failure));
    EXPECT_EQ(reply.error(),
              (FlutterError{"Error", "Failed to load live photo", Value("The disk is on fire.")}));
  }
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetLivePhotoUrl, TakesOnlyTrueAndErrorsForWhatTheySay) {
  const std::vector<PHImageInfo> infos = saysNothing();
  for (std::size_t i = 0; i < infos.size(); ++i) {
    const RecordedReply reply = request();
    deliver(livePhoto, infos[i]);
    finishWrite({}, i);
    EXPECT_EQ(reply.value(), exportReply(kPath));
  }
}

TEST_F(GetLivePhotoUrl, ReportsTheAssetWhenNothingWasDelivered) {
  for (const std::optional<PHImageInfo>& info :
       {std::optional<PHImageInfo>(), std::optional(PHImageInfo())}) {
    const RecordedReply reply = request();
    deliver(nullptr, info);
    EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to load live photo id = p", Value()}));
  }
}

TEST_F(GetLivePhotoUrl, ReportsALivePhotoWithoutAPairedVideoBeforeItMakesTheFolder) {
  PHAssetResources others;
  for (const Type type :
       {Type::photo, Type::video, Type::audio, Type::alternatePhoto, Type::fullSizePhoto,
        Type::fullSizeVideo, Type::adjustmentData, Type::adjustmentBasePhoto,
        Type::fullSizePairedVideo, Type::adjustmentBasePairedVideo, Type::adjustmentBaseVideo,
        Type::photoProxy}) {
    others.push_back(resource(type, "x.mov"));
  }
  for (const PHAssetResources& delivered : {PHAssetResources{}, others}) {
    const RecordedReply reply = request();
    deliver(livePhotoOf(delivered));
    EXPECT_EQ(
        reply.error(),
        (FlutterError{"Error", "No paired video resource found for live photo id = p", Value()}));
    EXPECT_EQ(log.events(), (Names{"main.async", "reply getLivePhotoUrl"}));
  }
}

TEST_F(GetLivePhotoUrl, AnswersEveryFinalDelivery) {
  RecordedReply reply = request();
  reply.expectAnswers(3);
  deliver(nullptr);
  deliver(nullptr, infoOf(PHImageCancelledKey, true));
  deliver(livePhoto);
  finishWrite();
  EXPECT_EQ(std::get<FlutterError>(reply.answer(1).reply).message, "Live photo request cancelled");
  EXPECT_EQ(std::get<Value>(reply.answer(2).reply), exportReply(kPath));
}

class GetLivePhotoUrlWithoutAnImageManager : public testing::Test {
 protected:
  PluginHarness plugin{failTheTest(), PluginHarness::Has::noImageManager};
};

TEST_F(GetLivePhotoUrlWithoutAnImageManager, SaysNothingAboutAValidCall) {
  PHAsset asset = photo("p");
  asset.mediaSubtypes = PHAssetMediaSubtype::photoLive;
  plugin.library.addAsset(asset);
  RecordedReply reply = plugin.answer("getLivePhotoUrl", livePhotoFile());
  reply.expectSilence();
  EXPECT_EQ(plugin.log.count("fetchAssetsWithLocalIdentifiers [p]"), 1u);
}

TEST_F(GetLivePhotoUrlWithoutAnImageManager, StillReportsFaults) {
  EXPECT_EQ(plugin.answer("getLivePhotoUrl").error().message, "Invalid arguments");
  EXPECT_EQ(plugin.answer("getLivePhotoUrl", livePhotoFile()).error().message,
            "Asset not found id = p");
  plugin.library.addAsset(photo("p"));
  EXPECT_EQ(plugin.answer("getLivePhotoUrl", livePhotoFile()).error().message,
            "Asset is not live photo id = p");
}

}  // namespace
}  // namespace quorvin
