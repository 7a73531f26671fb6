#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "testing/plugin/export_fixture.h"

namespace quorvin {
namespace {

/// Neither a file nor a composition.
class OtherVideo : public AVAsset {};

Map videoFile(std::int64_t videoFormat = 0, bool mediumQuality = false,
              const std::string& assetId = "v") {
  return {{"assetId", assetId}, {"mediumQuality", mediumQuality}, {"videoFormat", videoFormat}};
}

class GetVideoUrl : public ExportTest {
 protected:
  GetVideoUrl() {
    PHAsset asset = video("v");
    asset.creationDate = NSDate(1000.5);
    asset.modificationDate = NSDate(2000.25);
    library.addAsset(asset);
    resources.add("v", PHAssetResourceType::video, "IMG_1.MOV", "public.movie");
    log.clear();
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call) { return plugin.answer("getVideoUrl", call); }

  const std::shared_ptr<const AVAsset> file =
      std::make_shared<const AVURLAsset>("/library/originals/A b%20\xC3\xA9.MOV");
  const std::shared_ptr<const AVAsset> composition = std::make_shared<const AVComposition>();
  const std::shared_ptr<const AVAsset> other = std::make_shared<const OtherVideo>();
};

TEST_F(GetVideoUrl, RefusesFaultyArguments) {
  library.removeAsset("v");
  expectArgumentFaults(plugin, "getVideoUrl", videoFile(),
                       {{"assetId", Takes::text},
                        {"mediumQuality", Takes::boolean},
                        {"videoFormat", Takes::integer}},
                       "Error arguments");
  EXPECT_TRUE(images.videoRequests().empty());
}

TEST_F(GetVideoUrl, RefusesFormatsThatDoNotExist) {
  for (const std::int64_t format :
       {std::int64_t{3}, std::int64_t{-1}, std::int64_t{256}, std::int64_t{1} << 32,
        (std::int64_t{1} << 32) + 1, std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max()}) {
    expectRefused(plugin, "getVideoUrl", videoFile(format), "Error arguments");
    expectRefused(plugin, "getVideoUrl", videoFile(format, true, "unknown"), "Error arguments");
  }
}

TEST_F(GetVideoUrl, ReportsAnUnknownAssetByTheIdentifierGivenAndRequestsNothing) {
  for (const std::string id : {"abc", ""}) {
    EXPECT_EQ(request(videoFile(0, false, id)).error(),
              (FlutterError{"Error", "Asset not found id = " + id, Value()}));
  }
  EXPECT_TRUE(images.videoRequests().empty());
}

TEST_F(GetVideoUrl, LooksTheAssetUpThenRequestsItsVideo) {
  for (std::int64_t format = 0; format < 3; ++format) {
    for (const bool mediumQuality : {false, true}) {
      log.clear();
      RecordedReply reply = request(videoFile(format, mediumQuality));
      reply.expectSilence();
      EXPECT_EQ(log.events(), (Names{"background.async", "fetchAssetsWithLocalIdentifiers [v] none",
                                     "requestAVAssetForVideo v"}));
    }
  }
}

TEST_F(GetVideoUrl, RequestsTheCurrentVideoThatMayComeFromTheNetwork) {
  RecordedReply reply = request(videoFile());
  reply.expectSilence();
  EXPECT_EQ(images.videoRequests().at(0).options,
            (PHVideoRequestOptions{.version = PHImageRequestOptionsVersion::current,
                                   .isNetworkAccessAllowed = true}));
}

TEST_F(GetVideoUrl, RequestsTheCachedAssetWithoutAFetch) {
  haveCached("v");
  RecordedReply reply = request(videoFile());
  reply.expectSilence();
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(images.videoRequests().at(0).asset, plugin.manager().cachedAsset("v"));
}

TEST_F(GetVideoUrl, AsksNothingOfTheKindOfTheAsset) {
  library.addAsset(photo("still"));
  RecordedReply reply = request(videoFile(0, false, "still"));
  reply.expectSilence();
  EXPECT_EQ(log.count("requestAVAssetForVideo still"), 1u);
}

TEST_F(GetVideoUrl, RunsOnTheBackgroundQueue) {
  RecordedReply reply = plugin.call("getVideoUrl", videoFile());
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async"}));
}

TEST_F(GetVideoUrl, ReportsAVideoThatDoesNotLoadWhateverElseIsSaid) {
  const std::optional<PHImageInfo> infos[] = {
      std::nullopt, PHImageInfo(), infoOf(PHImageCancelledKey, true),
      infoOf(PHImageErrorKey, failure), infoOf(PHImageResultIsDegradedKey, true)};
  for (std::size_t i = 0; i < std::size(infos); ++i) {
    const RecordedReply reply = request(videoFile(2, true));
    deliverVideo(nullptr, infos[i], i);
    EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to load AVAsset", Value()}));
  }
  EXPECT_EQ(log.count("createDirectory") + log.count("exportSession"), 0u);
}

TEST_F(GetVideoUrl, HandsOverAFileAsItIs) {
  const RecordedReply reply = request(videoFile(0, false));
  log.clear();
  deliverVideo(file);
  EXPECT_EQ(reply.value(), exportReply("/library/originals/A b%20\xC3\xA9.MOV", false));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply getVideoUrl"}));
}

TEST_F(GetVideoUrl, ReportsAFileThatIsNowhere) {
  const RecordedReply reply = request(videoFile(0, false));
  deliverVideo(std::make_shared<const AVURLAsset>(""));
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Unexpected AVAsset type", Value()}));
}

TEST_F(GetVideoUrl, LooksAtNoInformationBesideAVideo) {
  const RecordedReply reply = request(videoFile(0, false));
  deliverVideo(file, infoOfEverything(failure));
  EXPECT_EQ(reply.value(), exportReply("/library/originals/A b%20\xC3\xA9.MOV", false));
}

TEST_F(GetVideoUrl, ExportsEverythingElse) {
  struct Case {
    std::shared_ptr<const AVAsset> asset;
    std::int64_t format;
    bool mediumQuality;
  };
  std::vector<Case> cases = {
      {file, 1, false}, {file, 2, false}, {file, 0, true}, {file, 1, true}, {file, 2, true}};
  for (const auto& asset : {composition, other}) {
    for (std::int64_t format = 0; format < 3; ++format) {
      cases.push_back({asset, format, false});
      cases.push_back({asset, format, true});
    }
  }
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    const RecordedReply reply = request(videoFile(cases[i].format, cases[i].mediumQuality));
    deliverVideo(cases[i].asset, infoOfEverything(failure), i);
    ASSERT_EQ(media.sessions.size(), i + 1);
    EXPECT_EQ(media.sessions.back()->asset, cases[i].asset);
    EXPECT_EQ(reply.answerCount(), 0u);
    finishExport(AVAssetExportSessionStatus::completed, {}, i);
    EXPECT_EQ(reply.value(), exportReply(cases[i].format == 2 ? "/temporary/video/IMG_1.mp4"
                                                              : "/temporary/video/IMG_1.mov"));
  }
}

TEST_F(GetVideoUrl, AnswersEveryDelivery) {
  RecordedReply reply = request(videoFile(0, false));
  reply.expectAnswers(2);
  deliverVideo(nullptr);
  deliverVideo(file);
  EXPECT_EQ(std::get<FlutterError>(reply.answer(0).reply).message, "Failed to load AVAsset");
  EXPECT_EQ(std::get<Value>(reply.answer(1).reply).as<Map>()->size(), 2u);
}

TEST_F(GetVideoUrl, RepliesOnTheMainQueue) {
  const RecordedReply reply = request(videoFile());
  const auto handler = images.videoRequests().at(0).handler;
  std::thread([&] { handler(file, nullptr); }).join();
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetVideoUrl, CachesNothing) {
  const RecordedReply reply = request(videoFile());
  deliverVideo(file);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetVideoUrl, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply reply = request(videoFile(1));
  letGoOfThePlugin();
  deliverVideo(file);
  finishExport(AVAssetExportSessionStatus::completed);
  EXPECT_EQ(reply.value(), exportReply("/temporary/video/IMG_1.mov"));
}

TEST_F(GetVideoUrl, LetsGoOfTheReplyWithItsHandler) {
  const auto witness = heldByTheReplyOf("getVideoUrl", videoFile());
  images.forgetRequests();
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(GetVideoUrlWithoutAnImageManager, SaysNothingAboutAValidCall) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  plugin.library.addAsset(video("v"));
  RecordedReply reply = plugin.answer("getVideoUrl", videoFile());
  reply.expectSilence();
  EXPECT_EQ(plugin.log.count("fetchAssetsWithLocalIdentifiers [v]"), 1u);
}

TEST(GetVideoUrlWithoutAnImageManager, StillReportsFaults) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_EQ(plugin.answer("getVideoUrl").error().message, "Error arguments");
  EXPECT_EQ(plugin.answer("getVideoUrl", videoFile(3)).error().message, "Error arguments");
  EXPECT_EQ(plugin.answer("getVideoUrl", videoFile()).error().message, "Asset not found id = v");
}

}  // namespace
}  // namespace quorvin
