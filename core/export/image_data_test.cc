#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "testing/plugin/export_fixture.h"

namespace quorvin {
namespace {

Map imageData(bool convertJpeg, const std::string& assetId = "p") {
  return {{"assetId", assetId}, {"convertJpeg", convertJpeg}};
}

class GetImageData : public ExportTest {
 protected:
  GetImageData() {
    library.addAsset(photo("p"));
    log.clear();
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call) { return plugin.answer("getImageData", call); }

  const FlutterError conversionFailed{"Error", "HEIC to JPEG conversion failed", Value()};
  const FlutterError loadFailed{"Error", "Failed to load image data", Value()};
};

TEST_F(GetImageData, RefusesFaultyArguments) {
  library.removeAsset("p");
  expectArgumentFaults(plugin, "getImageData", imageData(true),
                       {{"assetId", Takes::text}, {"convertJpeg", Takes::boolean}},
                       "Error arguments");
  EXPECT_TRUE(images.dataRequests().empty());
}

TEST_F(GetImageData, ReportsAnUnknownAssetByTheIdentifierGivenAndRequestsNothing) {
  for (const std::string id : {"abc", "", "p ", "P"}) {
    EXPECT_EQ(request(imageData(false, id)).error(),
              (FlutterError{"Error", "Asset not found id = " + id, Value()}));
  }
  EXPECT_TRUE(images.dataRequests().empty());
}

TEST_F(GetImageData, LooksTheAssetUpThenRequestsItsData) {
  RecordedReply reply = request(imageData(true));
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                                 "requestImageDataAndOrientationForAsset p"}));
}

TEST_F(GetImageData, RequestsCurrentFinalExactDataThatMayComeFromTheNetwork) {
  for (const bool convertJpeg : {false, true}) {
    RecordedReply reply = request(imageData(convertJpeg));
    reply.expectSilence();
    EXPECT_EQ(
        images.dataRequests().back().options,
        (PHImageRequestOptions{.version = PHImageRequestOptionsVersion::current,
                               .deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat,
                               .resizeMode = PHImageRequestOptionsResizeMode::exact,
                               .isSynchronous = false,
                               .isNetworkAccessAllowed = true}));
  }
}

TEST_F(GetImageData, RequestsTheCachedAssetWithoutAFetch) {
  haveCached("p");
  RecordedReply reply = request(imageData(false));
  reply.expectSilence();
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(images.dataRequests().at(0).asset, plugin.manager().cachedAsset("p"));
}

TEST_F(GetImageData, RepliesTheStoredBytesUnchangedAndWithoutACopy) {
  for (const std::string type : {"public.heic", "public.jpeg"}) {
    const std::size_t index = images.dataRequests().size();
    const RecordedReply reply = request(imageData(false));
    log.clear();
    deliverData(storedBytes, type, {}, index);
    EXPECT_EQ(reply.value().as<ByteBuffer>()->data(), storedBytes.data());
    EXPECT_EQ(reply.value(), Value(storedBytes));
    EXPECT_EQ(log.events(), (Names{"main.async", "reply getImageData"}));
  }
}

TEST_F(GetImageData, ConvertsNothingButTheExactTypeOfHeic) {
  const std::optional<std::string> others[] = {
      std::nullopt,   "",           "public.heif",  "PUBLIC.HEIC", "Public.heic", "public.heics",
      "public.heic ", "public.hei", " public.heic", "public.jpeg", "public.avif", "heic"};
  for (std::size_t i = 0; i < std::size(others); ++i) {
    SCOPED_TRACE(others[i].value_or("no type"));
    const RecordedReply reply = request(imageData(true));
    deliverData(storedBytes, others[i], {}, i);
    EXPECT_EQ(reply.value(), Value(storedBytes));
  }
  EXPECT_EQ(log.count("imageWithData") + log.count("UIImage"), 0u);
}

TEST_F(GetImageData, ConvertsHeicToAJpegOfTheBestQuality) {
  const RecordedReply reply = request(imageData(true));
  log.clear();
  deliverData(storedBytes, "public.heic");
  EXPECT_EQ(reply.value(), Value(*codec.jpeg));
  EXPECT_EQ(reply.value().as<ByteBuffer>()->data(), codec.jpeg->data());
  EXPECT_EQ(log.events(), (Names{"imageWithData 5", "UIImageJPEGRepresentation decoded 1",
                                 "main.async", "reply getImageData"}));
}

TEST_F(GetImageData, ReportsHeicThatDoesNotDecode) {
  codec.decoded = nullptr;
  const RecordedReply reply = request(imageData(true));
  deliverData(storedBytes, "public.heic");
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetImageData, ReportsAJpegThatCannotBeEncoded) {
  codec.jpeg.reset();
  const RecordedReply reply = request(imageData(true));
  deliverData(storedBytes, "public.heic");
  EXPECT_EQ(reply.error(), conversionFailed);
}

TEST_F(GetImageData, RepliesDataThatWouldNotDecodeWhenNothingIsConverted) {
  codec.decoded = nullptr;
  const RecordedReply reply = request(imageData(false));
  deliverData(storedBytes, "public.heic");
  EXPECT_EQ(reply.value(), Value(storedBytes));
}

TEST_F(GetImageData, ReportsMissingDataWhateverElseIsSaid) {
  const std::optional<PHImageInfo> infos[] = {
      std::nullopt, PHImageInfo(), infoOf(PHImageCancelledKey, true),
      infoOf(PHImageErrorKey, failure), infoOf(PHImageResultIsDegradedKey, true)};
  for (const bool convertJpeg : {false, true}) {
    for (const auto& info : infos) {
      const std::size_t index = images.dataRequests().size();
      const RecordedReply reply = request(imageData(convertJpeg));
      deliverData(std::nullopt, "public.heic", info, index);
      EXPECT_EQ(reply.error(), loadFailed);
    }
  }
  EXPECT_EQ(log.count("imageWithData") + log.count("UIImage"), 0u);
}

TEST_F(GetImageData, TakesNoBytesAtAllForData) {
  const RecordedReply reply = request(imageData(false));
  deliverData(ByteBuffer());
  EXPECT_EQ(reply.value(), Value(ByteBuffer()));
}

TEST_F(GetImageData, LooksAtNeitherInformationNorOrientation) {
  for (const bool convertJpeg : {false, true}) {
    const RecordedReply reply = request(imageData(convertJpeg));
    deliverData(storedBytes, "public.heic", infoOfEverything(failure), convertJpeg ? 1 : 0, 6);
    EXPECT_EQ(reply.value(), Value(convertJpeg ? *codec.jpeg : storedBytes));
  }
}

TEST_F(GetImageData, AnswersEveryDelivery) {
  RecordedReply reply = request(imageData(false));
  reply.expectAnswers(3);
  deliverData(std::nullopt);
  deliverData(storedBytes);
  deliverData(std::nullopt);
  EXPECT_EQ(std::get<FlutterError>(reply.answer(0).reply), loadFailed);
  EXPECT_EQ(std::get<Value>(reply.answer(1).reply), Value(storedBytes));
  EXPECT_EQ(std::get<FlutterError>(reply.answer(2).reply), loadFailed);
}

TEST_F(GetImageData, ConvertsOnThePlatformsThreadAndRepliesOnTheMainQueue) {
  const RecordedReply reply = request(imageData(true));
  std::thread::id encodingThread;
  codec.duringEncoding = [&encodingThread] { encodingThread = std::this_thread::get_id(); };
  const auto handler = images.dataRequests().at(0).handler;
  std::thread::id deliveringThread;
  std::thread([&] {
    deliveringThread = std::this_thread::get_id();
    handler(storedBytes, "public.heic", 1, nullptr);
  }).join();
  EXPECT_EQ(encodingThread, deliveringThread);
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetImageData, RunsOnTheBackgroundQueue) {
  RecordedReply reply = plugin.call("getImageData", imageData(false));
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async"}));
}

TEST_F(GetImageData, CachesAndWritesNothingAndHoldsNoLock) {
  const RecordedReply reply = request(imageData(true));
  codec.duringEncoding = [this] { EXPECT_FALSE(plugin.manager().lockIsHeld()); };
  deliverData(storedBytes, "public.heic");
  EXPECT_EQ(log.count("UIImageJPEGRepresentation"), 1u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
  EXPECT_EQ(log.count("createDirectory") + log.count("writeAtomically"), 0u);
}

TEST_F(GetImageData, KeepsTheCallsApart) {
  const RecordedReply first = request(imageData(true));
  const RecordedReply second = request(imageData(false));
  deliverData(storedBytes, "public.heic", {}, 1);
  EXPECT_EQ(first.answerCount(), 0u);
  EXPECT_EQ(second.value(), Value(storedBytes));
  deliverData(storedBytes, "public.heic", {}, 0);
  EXPECT_EQ(first.value(), Value(*codec.jpeg));
}

TEST_F(GetImageData, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply reply = request(imageData(false));
  letGoOfThePlugin();
  deliverData(storedBytes);
  EXPECT_EQ(reply.value(), Value(storedBytes));
}

TEST_F(GetImageData, LetsGoOfTheReplyWithItsHandler) {
  const auto witness = heldByTheReplyOf("getImageData", imageData(true));
  images.forgetRequests();
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(GetImageDataWithoutAnImageManager, SaysNothingAboutAValidCall) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  plugin.library.addAsset(photo("p"));
  RecordedReply reply = plugin.answer("getImageData", imageData(true));
  reply.expectSilence();
  EXPECT_EQ(plugin.log.count("fetchAssetsWithLocalIdentifiers [p]"), 1u);
}

TEST(GetImageDataWithoutAnImageManager, StillReportsFaults) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_EQ(plugin.answer("getImageData").error().message, "Error arguments");
  EXPECT_EQ(plugin.answer("getImageData", imageData(true)).error().message,
            "Asset not found id = p");
}

}  // namespace
}  // namespace quorvin
