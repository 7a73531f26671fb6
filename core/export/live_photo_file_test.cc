#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "testing/plugin/live_photo_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;
using GetLivePhotoUrlFile = LivePhotoTest;

// The file

TEST_F(GetLivePhotoUrlFile, WritesThePairedVideoAsStored) {
  const RecordedReply reply = request();
  deliver(livePhoto);
  EXPECT_EQ(log.events(),
            (Names{"createDirectory /temporary/livephoto", "assetResourcesForAsset p",
                   "fileExists " + kPath, "writeDataForAssetResource paired.mp4 to " + kPath}));
  const auto write = plugin.platform.resourceManager.writes.at(0);
  EXPECT_EQ(write.resource, livePhoto->resources.at(1));
  EXPECT_FALSE(write.options);

  log.clear();
  finishWrite();
  EXPECT_EQ(log.events(), (Names{"setAttributes " + kPath, "main.async", "reply getLivePhotoUrl"}));
  EXPECT_EQ(reply.value(), exportReply(kPath));
  EXPECT_EQ(attributesOf(kPath), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
  EXPECT_EQ(log.count("exportSession"), 0u);
}

TEST_F(GetLivePhotoUrlFile, WritesTheFirstOfSeveralPairedVideos) {
  const RecordedReply reply = request();
  deliver(livePhotoOf({resource(Type::fullSizePairedVideo, "full.mov"),
                       resource(Type::pairedVideo, "first.mov"),
                       resource(Type::pairedVideo, "second.mov")}));
  EXPECT_EQ(log.eventsOf("writeData"), (Names{"writeDataForAssetResource first.mov to " + kPath}));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrlFile, NamesTheFileByTheAsset) {
  int id = 0;
  for (const auto& [name, expected] : std::vector<std::pair<std::string, std::string>>{
           {"IMG_1.JPG", "IMG_1.mov"},
           {"a.tar.gz", "a.tar.mov"},
           {"plain", "plain.mov"},
           {".hidden", ".hidden.mov"},
           {"IMG_1.mov", "IMG_1.mov"},
           {"\xC3\xA9t\xC3\xA9.heic", "\xC3\xA9t\xC3\xA9.mov"}}) {
    const std::string asset = "named" + std::to_string(++id);
    addLivePhoto(asset, name);
    EXPECT_EQ(write(asset).value(), exportReply("/temporary/livephoto/" + expected));
  }
}

TEST_F(GetLivePhotoUrlFile, NamesAFileWithoutANameByTheWholeIdentifier) {
  for (const auto& [id, expected] :
       std::vector<std::pair<std::string, std::string>>{{"plain", "livephoto-plain.mov"},
                                                        {"a.b", "livephoto-a.b.mov"},
                                                        {"A/L0/001", "livephoto-A/L0/001.mov"}}) {
    addLivePhoto(id, std::nullopt);
    files.createDirectory("/temporary/livephoto/livephoto-A/L0");  // which the plugin does not
    EXPECT_EQ(write(id).value(), exportReply("/temporary/livephoto/" + expected));
  }
}

TEST_F(GetLivePhotoUrlFile, NamesAFileWhoseNameIsEmptyByTheWholeIdentifier) {
  addLivePhoto("a.b", "");
  EXPECT_EQ(write("a.b").value(), exportReply("/temporary/livephoto/livephoto-a.b.mov"));
  EXPECT_EQ(log.count("removeItem"), 0u);
}

TEST_F(GetLivePhotoUrlFile, ReportsAFolderThatCannotBeMadeAndWritesNothing) {
  files.createDirectoryFails = failure;
  const RecordedReply reply = request();
  deliver(livePhoto);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to create temp directory",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(),
            (Names{"createDirectory /temporary/livephoto", "main.async", "reply getLivePhotoUrl"}));
}

TEST_F(GetLivePhotoUrlFile, ReplacesTheEarlierFile) {
  files.addFile(kPath, ByteBuffer({9}));
  const RecordedReply first = request();
  deliver(livePhoto);
  EXPECT_EQ(log.eventsOf("removeItem"), (Names{"removeItem " + kPath}));
  EXPECT_FALSE(files.file(kPath));
  finishWrite();
  const RecordedReply second = request();
  deliver(livePhoto);
  EXPECT_EQ(log.count("removeItem"), 1u);
  finishWrite({}, 1);
  EXPECT_EQ(first.value(), second.value());
}

TEST_F(GetLivePhotoUrlFile, ReportsAnEarlierFileThatCannotBeRemovedAndWritesNothing) {
  files.addFile(kPath, ByteBuffer({9}));
  files.removeItemFails = failure;
  const RecordedReply reply = request();
  deliver(livePhoto);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to overwrite file at path " + kPath,
                                         Value("The disk is on fire.")}));
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetLivePhotoUrlFile, ReportsAFailedWriteAndStampsNothing) {
  const RecordedReply reply = request();
  deliver(livePhoto);
  expectOneErrorOfAFailedWrite(reply, "getLivePhotoUrl");
}

TEST_F(GetLivePhotoUrlFile, StampsOnlyTheDatesThatTheAssetHas) {
  struct Case {
    std::optional<NSDate> created, modified;
  };
  int id = 0;
  for (const Case& c : {Case{NSDate(-3.5), std::nullopt}, Case{std::nullopt, NSDate(2000.25)},
                        Case{std::nullopt, std::nullopt}}) {
    const std::string asset = "dated" + std::to_string(++id);
    addLivePhoto(asset, asset + ".HEIC", c.created, c.modified);
    const std::string path = "/temporary/livephoto/" + asset + ".mov";
    EXPECT_EQ(write(asset).value(), exportReply(path));
    EXPECT_EQ(attributesOf(path), (NSFileAttributes{c.created, c.modified}));
  }
}

TEST_F(GetLivePhotoUrlFile, WarnsInOneLineWhenTheDatesCannotBeSetAndSucceeds) {
  files.setAttributesFails = failure;
  testing::internal::CaptureStdout();
  const RecordedReply reply = write();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\xE2\x9A\xA0\xEF\xB8\x8F setAttributes error = Error Domain=Domain Code=42 \"The "
            "disk is on fire.\"\n");
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrlFile, PrintsNothingOtherwise) {
  testing::internal::CaptureStdout();
  const RecordedReply written = write();
  const RecordedReply failed = request();
  deliver(livePhoto);
  finishWrite(failure, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Threads and lives

TEST_F(GetLivePhotoUrlFile, WorksOnThePlatformsThreadsAndRepliesOnTheMainQueue) {
  const RecordedReply reply = request();
  const auto handler = images.livePhotoRequests().at(0).handler;
  std::thread([&] { handler(livePhoto, nullptr); }).join();
  const auto write = plugin.platform.resourceManager.writes.at(0);
  files.addFile(kPath, storedBytes);
  log.clear();
  std::thread([&] { write.finish(std::nullopt); }).join();
  EXPECT_EQ(log.events(), (Names{"setAttributes " + kPath, "main.async"}));
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetLivePhotoUrlFile, CachesNothing) {
  const RecordedReply reply = write();
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetLivePhotoUrlFile, KeepsTheCallsApart) {
  addLivePhoto("q", "IMG_2.HEIC");
  const RecordedReply first = request();
  const RecordedReply second = request(livePhotoFile(false, "q"));
  deliverLivePhoto(livePhoto, {}, 1);
  deliverLivePhoto(livePhoto, {}, 0);
  finishWrite(failure, 0);
  EXPECT_EQ(first.answerCount(), 0u);
  EXPECT_EQ(second.error().message, "Failed to export live photo video id = q");
  finishWrite({}, 1);
  EXPECT_EQ(first.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrlFile, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply reply = request();
  letGoOfThePlugin();
  deliver(livePhoto);
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrlFile, LetsGoOfTheReplyWithItsHandlers) {
  const auto witness = heldByTheReplyOf("getLivePhotoUrl", livePhotoFile());
  deliverLivePhoto(livePhoto);
  images.forgetRequests();
  EXPECT_GT(witness.use_count(), 1);
  plugin.platform.resourceManager.writes.clear();
  EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace
}  // namespace quorvin
