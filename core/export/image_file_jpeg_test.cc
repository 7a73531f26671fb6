#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "testing/plugin/image_file_fixture.h"

namespace quorvin {
namespace {

using GetImageUrlAsJpeg = ImageFileTest;

// Medium quality

TEST_F(GetImageUrlAsJpeg, WritesTheRenderingAsAJpegOfTheBestQuality) {
  const RecordedReply reply = requestMedium();
  log.clear();
  deliver(image);
  const std::string path = pathOf("IMG_1.jpg");
  EXPECT_EQ(log.events(), (Names{"UIImageJPEGRepresentation final 1", "writeAtomically " + path,
                                 "setAttributes " + path, "main.async", "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data, *codec.jpeg);
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrlAsJpeg, SkipsDegradedRenderingsEvenCancelledOrFailedOnes) {
  const RecordedReply reply = requestMedium();
  deliver(image, infoOf(PHImageResultIsDegradedKey, true));
  deliver(nullptr, infoOf(PHImageResultIsDegradedKey, true));
  deliver(image, infoOfEverything(failure));
  EXPECT_EQ(reply.answerCount(), 0u);
  EXPECT_EQ(log.count("UIImage") + log.count("writeAtomically"), 0u);
  deliver(image, infoOf(PHImageResultIsDegradedKey, false));
  EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
}

TEST_F(GetImageUrlAsJpeg, ReportsACancelledRenderingBeforeItsError) {
  PHImageInfo info = infoOf(PHImageCancelledKey, true);
  info.set(PHImageErrorKey, failure);
  for (const PHImageInfo& cancelled : {infoOf(PHImageCancelledKey, true), info}) {
    const RecordedReply reply = requestMedium();
    deliver(image, cancelled);
    EXPECT_EQ(reply.error(), (FlutterError{"Error", "Image request cancelled", Value()}));
  }
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetImageUrlAsJpeg, ReportsTheErrorOfARendering) {
  for (const auto& delivered : {image, std::shared_ptr<const UIImage>()}) {
    const RecordedReply reply = requestMedium();
    deliver(delivered, infoOf(PHImageErrorKey, failure));
    EXPECT_EQ(reply.error(),
              (FlutterError{"Error", "Failed to generate image", Value("The disk is on fire.")}));
  }
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetImageUrlAsJpeg, TakesOnlyTrueAndErrorsForWhatTheySay) {
  for (const PHImageInfo& info : saysNothing()) {
    const RecordedReply reply = requestMedium();
    deliver(image, info);
    EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
  }
}

TEST_F(GetImageUrlAsJpeg, ReportsARenderingWithoutAnImage) {
  for (const std::optional<PHImageInfo>& info :
       {std::optional<PHImageInfo>(), std::optional(PHImageInfo())}) {
    const RecordedReply reply = requestMedium();
    deliver(nullptr, info);
    EXPECT_EQ(reply.error(), mediumFailed);
  }
}

TEST_F(GetImageUrlAsJpeg, ReportsARenderingThatCannotBeEncoded) {
  codec.jpeg.reset();
  const RecordedReply reply = requestMedium();
  deliver(image);
  EXPECT_EQ(reply.error(), mediumFailed);
  EXPECT_EQ(log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrlAsJpeg, AnswersEveryFinalRenderingUnderOneName) {
  RecordedReply reply = requestMedium();
  reply.expectAnswers(4);
  deliver(image);
  deliver(image);
  deliver(nullptr, infoOf(PHImageCancelledKey, true));
  deliver(image);
  for (const std::size_t index : {0u, 1u, 3u}) {
    EXPECT_EQ(std::get<Value>(reply.answer(index).reply), exportReply(pathOf("IMG_1.jpg")));
  }
  EXPECT_EQ(std::get<FlutterError>(reply.answer(2).reply).message, "Image request cancelled");
}

// From HEIC to JPEG

TEST_F(GetImageUrlAsJpeg, WritesHeicAsAJpegOfTheBestQuality) {
  const RecordedReply reply = requestData(kConverted);
  log.clear();
  deliver(storedBytes, "public.heic");
  const std::string path = pathOf("IMG_1.jpg");
  EXPECT_EQ(log.events(), (Names{"imageWithData 5", "UIImageJPEGRepresentation decoded 1",
                                 "writeAtomically " + path, "setAttributes " + path, "main.async",
                                 "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data, *codec.jpeg);
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrlAsJpeg, ConvertsWhateverTypeAndInformationComeWithTheData) {
  for (const std::optional<std::string>& type :
       {std::optional<std::string>(), std::optional<std::string>("public.jpeg")}) {
    const RecordedReply reply = requestData(kConverted);
    deliver(storedBytes, type, infoOfEverything(failure));
    EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
  }
}

TEST_F(GetImageUrlAsJpeg, ReportsAConversionWithoutDataAndCopiesNothing) {
  const RecordedReply reply = requestData(kConverted);
  deliver(std::nullopt, "public.heic", infoOf(PHImageErrorKey, failure));
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetImageUrlAsJpeg, ReportsAConversionThatDoesNotDecode) {
  codec.decoded = nullptr;
  const RecordedReply reply = requestData(kConverted);
  deliver(storedBytes);
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_EQ(log.count("UIImage") + log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrlAsJpeg, ReportsAConversionThatCannotBeEncoded) {
  codec.jpeg.reset();
  const RecordedReply reply = requestData(kConverted);
  deliver(storedBytes);
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_EQ(log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrlAsJpeg, AnswersEveryDeliveryOfDataUnderOneName) {
  for (const bool convertJpeg : {true, false}) {
    RecordedReply reply = requestData(imageFile(convertJpeg));
    reply.expectAnswers(2);
    deliver(storedBytes);
    deliver(storedBytes);
    const Value expected = exportReply(pathOf(convertJpeg ? "IMG_1.jpg" : "IMG_1.HEIC"));
    EXPECT_EQ(std::get<Value>(reply.answer(0).reply), expected);
    EXPECT_EQ(std::get<Value>(reply.answer(1).reply), expected);
  }
}

}  // namespace
}  // namespace quorvin
