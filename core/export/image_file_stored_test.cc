#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <variant>

#include "testing/plugin/image_file_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;
using GetImageUrlAsStored = ImageFileTest;

// Stored bytes

TEST_F(GetImageUrlAsStored, WritesStoredBytesUnderTheStoredName) {
  const RecordedReply reply = requestData(kStored);
  log.clear();
  deliver(storedBytes, "public.jpeg", infoOfEverything(failure));
  const std::string path = pathOf("IMG_1.HEIC");
  EXPECT_EQ(log.events(), (Names{"writeAtomically " + path, "setAttributes " + path, "main.async",
                                 "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data.data(), storedBytes.data());
}

TEST_F(GetImageUrlAsStored, CopiesThePhotoWhenThereIsNoData) {
  const RecordedReply reply = requestData(kStored);
  log.clear();
  const std::string path = pathOf("IMG_1.HEIC");
  deliver(std::nullopt, "public.heic", infoOfEverything(failure));
  EXPECT_EQ(log.events(),
            (Names{"fileExists " + path, "writeDataForAssetResource IMG_1.HEIC to " + path}));
  const auto write = plugin.platform.resourceManager.writes.at(0);
  ASSERT_TRUE(write.options);
  EXPECT_TRUE(write.options->isNetworkAccessAllowed);

  log.clear();
  finishWrite();
  EXPECT_EQ(log.events(), (Names{"setAttributes " + path, "main.async", "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrlAsStored, CopiesAPhotoThatIsNoHeicAlsoWhenConversionIsAsked) {
  const std::string id = addAnotherAsset();
  resources.add(id, Type::photo, "P.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(true, false, id));
  deliver(std::nullopt);
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(pathOf("P.JPG")));
}

TEST_F(GetImageUrlAsStored, CopiesTheChosenPhotoUnderTheAssetsName) {
  const std::string id = addAnotherAsset();
  resources.add(id, Type::video, "V.MOV", "public.movie");
  resources.add(id, Type::fullSizePhoto, "Full.jpg", "public.jpeg");
  resources.add(id, Type::photo, "P.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(false, false, id));
  deliver(std::nullopt);
  EXPECT_EQ(log.eventsOf("writeData"),
            (Names{"writeDataForAssetResource Full.jpg to " + pathOf("V.MOV")}));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(pathOf("V.MOV")));
}

TEST_F(GetImageUrlAsStored, RemovesTheEarlierFileBeforeTheCopy) {
  const std::string path = pathOf("IMG_1.HEIC");
  files.addFile(path, ByteBuffer({9}));
  const RecordedReply reply = requestData(kStored);
  log.clear();
  deliver(std::nullopt);
  EXPECT_EQ(log.events(), (Names{"fileExists " + path, "removeItem " + path,
                                 "writeDataForAssetResource IMG_1.HEIC to " + path}));
  EXPECT_FALSE(files.file(path));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(path));
}

TEST_F(GetImageUrlAsStored, CopiesAlsoWhenTheEarlierFileCannotBeRemovedAndFailsThere) {
  files.addFile(pathOf("IMG_1.HEIC"), ByteBuffer({9}));
  files.removeItemFails = failure;
  const RecordedReply reply = requestData(kStored);
  deliver(std::nullopt);
  ASSERT_EQ(log.count("writeDataForAssetResource"), 1u);
  finishWrite(files.writeNew(storedBytes, pathOf("IMG_1.HEIC")));
  EXPECT_EQ(reply.error().message, "Failed to export live photo video id = p");
  EXPECT_EQ(files.file(pathOf("IMG_1.HEIC"))->data, ByteBuffer({9}));
}

TEST_F(GetImageUrlAsStored, ReportsAFailedCopyInTheWordsOfALivePhoto) {
  const RecordedReply reply = requestData(kStored);
  deliver(std::nullopt);
  expectOneErrorOfAFailedWrite(reply, "getImageUrl");
}

TEST_F(GetImageUrlAsStored, StampsTheCurrentTimeOnACopyForAnAbsentDate) {
  const auto start = std::chrono::system_clock::now();
  library.addAsset(photo("undated"));
  resources.add("undated", Type::photo, "U.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(false, false, "undated"));
  deliver(std::nullopt);
  finishWrite();
  EXPECT_TRUE(isFrom(attributesOf(pathOf("U.JPG")).NSFileCreationDate, start));
  EXPECT_TRUE(isFrom(attributesOf(pathOf("U.JPG")).NSFileModificationDate, start));
}

TEST_F(GetImageUrlAsStored, RepliesBothTheFailureAndTheFileWhenACopyCannotBeStamped) {
  files.setAttributesFails = failure;
  RecordedReply reply = requestData(kStored);
  reply.expectAnswers(2);
  deliver(std::nullopt);
  log.clear();
  finishWrite();
  EXPECT_EQ(std::get<FlutterError>(reply.answer(0).reply),
            (FlutterError{"Error",
                          "Save temporary image error: Error Domain=Domain Code=42 \"The disk is "
                          "on fire.\"",
                          Value("The disk is on fire.")}));
  EXPECT_EQ(std::get<Value>(reply.answer(1).reply), exportReply(pathOf("IMG_1.HEIC")));
  EXPECT_EQ(log.events(), (Names{"setAttributes " + pathOf("IMG_1.HEIC"), "main.async",
                                 "main.async", "reply getImageUrl", "reply getImageUrl"}));
}

// Threads and lives

TEST_F(GetImageUrlAsStored, WorksOnThePlatformsThreadsAndRepliesOnTheMainQueue) {
  const RecordedReply reply = requestData(kStored);
  const auto handler = images.dataRequests().at(0).handler;
  std::thread([&] { handler(std::nullopt, std::nullopt, 1, nullptr); }).join();
  const auto write = plugin.platform.resourceManager.writes.at(0);
  std::thread([&] { write.finish(failure); }).join();
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetImageUrlAsStored, CachesNothingAndHoldsNoLock) {
  codec.duringEncoding = [this] { EXPECT_FALSE(plugin.manager().lockIsHeld()); };
  const RecordedReply converted = requestData(kConverted);
  deliver(storedBytes);
  const RecordedReply medium = requestMedium();
  deliver(image);
  EXPECT_EQ(log.count("UIImageJPEGRepresentation"), 2u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetImageUrlAsStored, KeepsTheCallsApart) {
  const RecordedReply stored = request(kStored);
  const RecordedReply converted = request(kConverted);
  deliverData(storedBytes, {}, {}, 1);
  EXPECT_EQ(stored.answerCount(), 0u);
  EXPECT_EQ(converted.value(), exportReply(pathOf("IMG_1.jpg")));
  deliverData(storedBytes, {}, {}, 0);
  EXPECT_EQ(stored.value(), exportReply(pathOf("IMG_1.HEIC")));
}

TEST_F(GetImageUrlAsStored, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply copied = requestData(kStored);
  letGoOfThePlugin();
  deliver(std::nullopt);
  finishWrite();
  EXPECT_EQ(copied.value(), exportReply(pathOf("IMG_1.HEIC")));
}

TEST_F(GetImageUrlAsStored, LetsGoOfTheReplyWithItsHandlers) {
  for (const Map& call : {kStored, kConverted, kMedium}) {
    const auto witness = heldByTheReplyOf("getImageUrl", call);
    images.forgetRequests();
    EXPECT_EQ(witness.use_count(), 1);
  }
  const auto witness = heldByTheReplyOf("getImageUrl", kStored);
  deliverData(std::nullopt);
  images.forgetRequests();
  EXPECT_GT(witness.use_count(), 1);
  plugin.platform.resourceManager.writes.clear();
  EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace
}  // namespace quorvin
