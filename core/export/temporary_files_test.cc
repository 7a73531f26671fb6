#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "testing/plugin/export_fixture.h"

namespace quorvin {
namespace {

const Map kStoredImage{{"assetId", "p"}, {"convertJpeg", false}, {"mediumQuality", false}};
const Map kMediumImage{{"assetId", "p"}, {"convertJpeg", false}, {"mediumQuality", true}};

const std::string kImagePath = "/temporary/image/IMG_1.JPG";

/// The folder, the writing and the dates, seen through the export of a stored image.
class WriteImageData : public ExportTest {
 protected:
  WriteImageData() { addAsset(NSDate(1000.5), NSDate(2000.25)); }

  void addAsset(std::optional<NSDate> created, std::optional<NSDate> modified) {
    library.removeAsset("p");
    PHAsset asset = photo("p");
    asset.creationDate = created;
    asset.modificationDate = modified;
    library.addAsset(asset);
    if (!named) resources.add("p", PHAssetResourceType::photo, "IMG_1.JPG", "public.jpeg");
    named = true;
    log.clear();
  }

  RecordedReply request() { return plugin.answer("getImageUrl", kStoredImage); }

  /// The whole export, with the delivery of `storedBytes`.
  RecordedReply write() {
    const std::size_t index = images.dataRequests().size();
    RecordedReply reply = request();
    log.clear();
    deliverData(storedBytes, {}, {}, index);
    return reply;
  }

 private:
  bool named = false;
};

TEST_F(WriteImageData, WritesThenStampsThenReplies) {
  const RecordedReply reply = write();
  EXPECT_EQ(log.events(), (Names{"writeAtomically " + kImagePath, "setAttributes " + kImagePath,
                                 "main.async", "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(kImagePath));
  EXPECT_EQ(files.file(kImagePath)->data, storedBytes);
}

TEST_F(WriteImageData, KeepsTheBytesUncopied) {
  const RecordedReply reply = write();
  EXPECT_EQ(files.file(kImagePath)->data.data(), storedBytes.data());
}

TEST_F(WriteImageData, WritesNoBytesAtAllAsAnEmptyFile) {
  const RecordedReply reply = request();
  deliverData(ByteBuffer());
  EXPECT_EQ(reply.value(), exportReply(kImagePath));
  EXPECT_EQ(files.file(kImagePath)->data, ByteBuffer());
  EXPECT_EQ(log.count("writeDataForAssetResource"), 0u);
}

TEST_F(WriteImageData, StampsTheAssetsDates) {
  const RecordedReply reply = write();
  EXPECT_EQ(attributesOf(kImagePath), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(WriteImageData, StampsDatesBefore1970) {
  addAsset(NSDate(-86400.125), NSDate(-1));
  const RecordedReply reply = write();
  EXPECT_EQ(attributesOf(kImagePath), (NSFileAttributes{NSDate(-86400.125), NSDate(-1)}));
}

TEST_F(WriteImageData, StampsTheCurrentTimeForAnAbsentDate) {
  const auto start = std::chrono::system_clock::now();
  addAsset(std::nullopt, NSDate(2000.25));
  const RecordedReply withoutCreation = write();
  EXPECT_TRUE(isFrom(attributesOf(kImagePath).NSFileCreationDate, start));
  EXPECT_EQ(attributesOf(kImagePath).NSFileModificationDate, NSDate(2000.25));

  addAsset(NSDate(1000.5), std::nullopt);
  const RecordedReply withoutModification = write();
  EXPECT_EQ(attributesOf(kImagePath).NSFileCreationDate, NSDate(1000.5));
  EXPECT_TRUE(isFrom(attributesOf(kImagePath).NSFileModificationDate, start));

  addAsset(std::nullopt, std::nullopt);
  const RecordedReply withoutAny = write();
  EXPECT_TRUE(isFrom(attributesOf(kImagePath).NSFileCreationDate, start));
  EXPECT_TRUE(isFrom(attributesOf(kImagePath).NSFileModificationDate, start));
}

TEST_F(WriteImageData, ReportsAFailedWriteOnceAndStampsNothing) {
  files.writeFails = failure;
  const RecordedReply reply = write();
  EXPECT_EQ(reply.error(),
            (FlutterError{"Error", "Failed to save image", Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(),
            (Names{"writeAtomically " + kImagePath, "main.async", "reply getImageUrl"}));
}

TEST_F(WriteImageData, ReportsAFailedStampOnceAndNoSuccess) {
  files.setAttributesFails = failure;
  const RecordedReply reply = write();
  EXPECT_EQ(reply.error(),
            (FlutterError{"Error", "Failed to save image", Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(), (Names{"writeAtomically " + kImagePath, "setAttributes " + kImagePath,
                                 "main.async", "reply getImageUrl"}));
}

TEST_F(WriteImageData, ReportsTheFailuresOfRenderingsAlike) {
  files.writeFails = failure;
  const RecordedReply reply = plugin.answer("getImageUrl", kMediumImage);
  deliverImage(std::make_shared<const FakeImage>("final"));
  EXPECT_EQ(reply.error(),
            (FlutterError{"Error", "Failed to save image", Value("The disk is on fire.")}));
}

TEST_F(WriteImageData, ReplacesTheEarlierFileUnderTheSamePath) {
  const RecordedReply first = write();
  const RecordedReply second = request();
  deliverData(ByteBuffer({9, 9}), {}, {}, 1);
  EXPECT_EQ(first.value(), second.value());
  EXPECT_EQ(files.file(kImagePath)->data, ByteBuffer({9, 9}));
  EXPECT_EQ(log.count("removeItem"), 0u);
}

TEST_F(WriteImageData, WorksAgainAfterAFailure) {
  files.writeFails = failure;
  const RecordedReply failed = write();
  files.writeFails.reset();
  const RecordedReply reply = write();
  EXPECT_EQ(failed.error().message, "Failed to save image");
  EXPECT_EQ(reply.value(), exportReply(kImagePath));
}

TEST_F(WriteImageData, WritesOnThePlatformsThreadAndRepliesOnTheMainQueue) {
  const RecordedReply reply = request();
  log.clear();
  const auto handler = images.dataRequests().at(0).handler;
  std::thread([&] { handler(storedBytes, std::nullopt, 1, nullptr); }).join();
  EXPECT_EQ(log.events(),
            (Names{"writeAtomically " + kImagePath, "setAttributes " + kImagePath, "main.async"}));
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(WriteImageData, MakesTheFolderOnEveryExport) {
  const RecordedReply first = write();
  const RecordedReply second = request();
  EXPECT_EQ(log.eventsOf("createDirectory"), (Names{"createDirectory /temporary/image"}));
  deliverData(storedBytes, {}, {}, 1);
  EXPECT_EQ(second.value(), exportReply(kImagePath));
}

TEST_F(WriteImageData, ReportsAFolderThatCannotBeMadeAndRequestsNothing) {
  files.createDirectoryFails = failure;
  for (const Map& call : {kStoredImage, kMediumImage}) {
    log.clear();
    EXPECT_EQ(plugin.answer("getImageUrl", call).error(),
              (FlutterError{"Error", "Create temp dir failed", Value("The disk is on fire.")}));
    EXPECT_EQ(log.events(),
              (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                     "createDirectory /temporary/image", "main.async", "reply getImageUrl"}));
  }
}

}  // namespace
}  // namespace quorvin
