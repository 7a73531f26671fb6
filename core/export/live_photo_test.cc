#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "testing/fakes/export_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;

const std::string kPath = "/temporary/livephoto/IMG_1.mov";

Map livePhotoFile(bool mediumQuality = false, const std::string& assetId = "p") {
  return {{"assetId", assetId}, {"mediumQuality", mediumQuality}};
}

std::shared_ptr<const PHAssetResource> resource(Type type, const std::string& name) {
  return std::make_shared<const PHAssetResource>(type, name, "public.data");
}

std::shared_ptr<const PHLivePhoto> livePhotoOf(PHAssetResources resources) {
  return std::make_shared<const PHLivePhoto>(std::move(resources));
}

class GetLivePhotoUrl : public ExportTest {
 protected:
  GetLivePhotoUrl() { addLivePhoto("p", "IMG_1.HEIC"); }

  void addLivePhoto(const std::string& id, const std::optional<std::string>& name,
                    std::optional<NSDate> created = NSDate(1000.5),
                    std::optional<NSDate> modified = NSDate(2000.25),
                    std::uint64_t subtypes = PHAssetMediaSubtype::photoLive) {
    PHAsset asset = photo(id);
    asset.mediaSubtypes = subtypes;
    asset.creationDate = created;
    asset.modificationDate = modified;
    library.addAsset(asset);
    if (name) resources.add(id, Type::photo, *name, "public.heic");
    log.clear();
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call = livePhotoFile()) {
    index_ = images.livePhotoRequests().size();
    RecordedReply reply = plugin.answer("getLivePhotoUrl", call);
    return reply;
  }
  void deliver(const std::shared_ptr<const PHLivePhoto>& delivered,
               const std::optional<PHImageInfo>& info = {}) {
    log.clear();
    deliverLivePhoto(delivered, info, index_);
  }
  /// The whole export with a successful copy.
  RecordedReply write(const std::string& id = "p") {
    RecordedReply reply = request(livePhotoFile(false, id));
    deliver(livePhoto);
    finishWrite({}, plugin.platform.resourceManager.writes.size() - 1);
    return reply;
  }

  const std::shared_ptr<const PHLivePhoto> livePhoto =
      livePhotoOf({resource(Type::photo, "still.heic"), resource(Type::pairedVideo, "paired.mp4")});

 private:
  std::size_t index_ = 0;
};

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
  library.addCollection(userAlbum("album"), {"p"});
  plugin.answer("getGalleryAssetCount",
                Map{{"collectionId", "album"}, {"sort", 0}, {"mediaType", 0}});
  log.clear();
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
  std::vector<PHImageInfo> infos = {PHImageInfo()};
  for (const PHImageInfo::Entry& entry :
       {PHImageInfo::Entry(false), PHImageInfo::Entry(std::int64_t{1}), PHImageInfo::Entry(1.0),
        PHImageInfo::Entry(std::string("true")), PHImageInfo::Entry(failure)}) {
    infos.push_back(infoOf(PHImageResultIsDegradedKey, entry));
    infos.push_back(infoOf(PHImageCancelledKey, entry));
  }
  infos.push_back(infoOf(PHImageErrorKey, true));
  infos.push_back(infoOf(PHImageErrorKey, std::string("failed")));
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

// The file

TEST_F(GetLivePhotoUrl, WritesThePairedVideoAsStored) {
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

TEST_F(GetLivePhotoUrl, WritesTheFirstOfSeveralPairedVideos) {
  const RecordedReply reply = request();
  deliver(livePhotoOf({resource(Type::fullSizePairedVideo, "full.mov"),
                       resource(Type::pairedVideo, "first.mov"),
                       resource(Type::pairedVideo, "second.mov")}));
  EXPECT_EQ(log.eventsOf("writeData"), (Names{"writeDataForAssetResource first.mov to " + kPath}));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrl, NamesTheFileByTheAsset) {
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

TEST_F(GetLivePhotoUrl, NamesAFileWithoutANameByTheWholeIdentifier) {
  for (const auto& [id, expected] :
       std::vector<std::pair<std::string, std::string>>{{"plain", "livephoto-plain.mov"},
                                                        {"a.b", "livephoto-a.b.mov"},
                                                        {"A/L0/001", "livephoto-A/L0/001.mov"}}) {
    addLivePhoto(id, std::nullopt);
    EXPECT_EQ(write(id).value(), exportReply("/temporary/livephoto/" + expected));
  }
}

TEST_F(GetLivePhotoUrl, NamesAFileWhoseNameIsEmptyByTheWholeIdentifier) {
  addLivePhoto("a.b", "");
  EXPECT_EQ(write("a.b").value(), exportReply("/temporary/livephoto/livephoto-a.b.mov"));
  EXPECT_EQ(log.count("removeItem"), 0u);
}

TEST_F(GetLivePhotoUrl, ReportsAFolderThatCannotBeMadeAndWritesNothing) {
  files.createDirectoryFails = failure;
  const RecordedReply reply = request();
  deliver(livePhoto);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to create temp directory",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(),
            (Names{"createDirectory /temporary/livephoto", "main.async", "reply getLivePhotoUrl"}));
}

TEST_F(GetLivePhotoUrl, ReplacesTheEarlierFile) {
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

TEST_F(GetLivePhotoUrl, ReportsAnEarlierFileThatCannotBeRemovedAndWritesNothing) {
  files.addFile(kPath, ByteBuffer({9}));
  files.removeItemFails = failure;
  const RecordedReply reply = request();
  deliver(livePhoto);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to overwrite file at path " + kPath,
                                         Value("The disk is on fire.")}));
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetLivePhotoUrl, ReportsAFailedWriteAndStampsNothing) {
  const RecordedReply reply = request();
  deliver(livePhoto);
  log.clear();
  finishWrite(failure);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to export live photo video id = p",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply getLivePhotoUrl"}));
}

TEST_F(GetLivePhotoUrl, StampsOnlyTheDatesThatTheAssetHas) {
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

TEST_F(GetLivePhotoUrl, WarnsInOneLineWhenTheDatesCannotBeSetAndSucceeds) {
  files.setAttributesFails = failure;
  testing::internal::CaptureStdout();
  const RecordedReply reply = write();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\xE2\x9A\xA0\xEF\xB8\x8F setAttributes error = Error Domain=Domain Code=42 \"The "
            "disk is on fire.\"\n");
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrl, PrintsNothingOtherwise) {
  testing::internal::CaptureStdout();
  const RecordedReply written = write();
  const RecordedReply failed = request();
  deliver(livePhoto);
  finishWrite(failure, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Threads and lives

TEST_F(GetLivePhotoUrl, WorksOnThePlatformsThreadsAndRepliesOnTheMainQueue) {
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

TEST_F(GetLivePhotoUrl, CachesNothing) {
  const RecordedReply reply = write();
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetLivePhotoUrl, KeepsTheCallsApart) {
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

TEST_F(GetLivePhotoUrl, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply reply = request();
  letGoOfThePlugin();
  deliver(livePhoto);
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(kPath));
}

TEST_F(GetLivePhotoUrl, LetsGoOfTheReplyWithItsHandlers) {
  const auto witness = std::make_shared<int>(0);
  plugin.plugin().handle({"getLivePhotoUrl", livePhotoFile()}, [witness](const FlutterReply&) {});
  plugin.runToEnd();
  EXPECT_GT(witness.use_count(), 1);
  deliverLivePhoto(livePhoto);
  images.forgetRequests();
  EXPECT_GT(witness.use_count(), 1);
  plugin.platform.resourceManager.writes.clear();
  EXPECT_EQ(witness.use_count(), 1);
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
