#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "testing/plugin/export_fixture.h"

namespace quorvin {
namespace {

using Status = AVAssetExportSessionStatus;

constexpr std::int64_t kOriginal = 0;
constexpr std::int64_t kMov = 1;
constexpr std::int64_t kMp4 = 2;

const std::string kExportPath = "/temporary/video/IMG_0001.mov";

/// Exports of a composition, which every format leads to.
class ExportVideo : public ExportTest {
 protected:
  ExportVideo() { addVideo("v", "IMG_0001.MOV"); }

  void addVideo(const std::string& id, const std::optional<std::string>& name,
                std::optional<NSDate> created = NSDate(1000.5),
                std::optional<NSDate> modified = NSDate(2000.25)) {
    PHAsset asset = video(id);
    asset.creationDate = created;
    asset.modificationDate = modified;
    library.addAsset(asset);
    if (name) resources.add(id, PHAssetResourceType::video, *name, "public.movie");
    log.clear();
  }

  /// The call up to the running export; the log holds what came after the video was delivered.
  RecordedReply start(std::int64_t format = kOriginal, bool mediumQuality = false,
                      const std::string& id = "v") {
    const std::size_t index = images.videoRequests().size();
    RecordedReply reply = plugin.answer(
        "getVideoUrl",
        Map{{"assetId", id}, {"mediumQuality", mediumQuality}, {"videoFormat", format}});
    log.clear();
    deliverVideo(composition, {}, index);
    return reply;
  }

  void finish(Status status, const std::optional<NSError>& error = {}) {
    finishExport(status, error, media.sessions.size() - 1);
  }
  FakeExportSession& session() { return *media.sessions.back(); }

  const std::shared_ptr<const AVAsset> composition = std::make_shared<const AVComposition>();
};

TEST_F(ExportVideo, MakesTheFolderRemovesTheEarlierFileThenExports) {
  const RecordedReply reply = start();
  EXPECT_EQ(log.events(), (Names{"assetResourcesForAsset v", "createDirectory /temporary/video",
                                 "removeItem " + kExportPath,
                                 "exportSessionWithAsset AVAssetExportPresetPassthrough",
                                 "exportAsynchronously " + kExportPath}));
  EXPECT_EQ(session().asset, composition);
  log.clear();
  finish(Status::completed);
  EXPECT_EQ(log.events(),
            (Names{"setAttributes " + kExportPath, "main.async", "reply getVideoUrl"}));
  EXPECT_EQ(reply.value(), exportReply(kExportPath));
}

// Names

TEST_F(ExportVideo, ReplacesTheLastExtension) {
  struct Case {
    std::string name, mov, mp4;
  };
  int id = 0;
  for (const Case& c :
       {Case{"IMG_1.MOV", "IMG_1.mov", "IMG_1.mp4"}, Case{"clip", "clip.mov", "clip.mp4"},
        Case{"clip.mp4", "clip.mov", "clip.mp4"}, Case{"a.tar.gz", "a.tar.mov", "a.tar.mp4"},
        Case{".hidden", ".hidden.mov", ".hidden.mp4"},
        Case{"\xC3\xA9t\xC3\xA9 1.M4V", "\xC3\xA9t\xC3\xA9 1.mov", "\xC3\xA9t\xC3\xA9 1.mp4"}}) {
    SCOPED_TRACE(c.name);
    const std::string asset = "named" + std::to_string(++id);
    addVideo(asset, c.name);
    for (const auto& [format, name] :
         {std::pair{kOriginal, c.mov}, std::pair{kMov, c.mov}, std::pair{kMp4, c.mp4}}) {
      const RecordedReply reply = start(format, false, asset);
      finish(Status::completed);
      EXPECT_EQ(session().outputPath, "/temporary/video/" + name);
      EXPECT_EQ(reply.value(), exportReply("/temporary/video/" + name));
    }
  }
}

TEST_F(ExportVideo, NamesAVideoWithoutANameByItsIdentifier) {
  for (const auto& [id, name] :
       std::vector<std::pair<std::string, std::string>>{{"plain", "video-plain.mp4"},
                                                        {"a.b", "video-a.mp4"},
                                                        {"A/L0/001", "video-A/L0/001.mp4"},
                                                        {"A.b/L0/001", "video-A.b/L0/001.mp4"}}) {
    addVideo(id, std::nullopt);
    const RecordedReply reply = start(kMp4, false, id);
    // The plugin makes no folders below its own.
    for (const char* folder : {"video-A/L0", "video-A.b/L0"}) {
      files.createDirectory(std::string("/temporary/video/") + folder);
    }
    finish(Status::completed);
    EXPECT_EQ(reply.value(), exportReply("/temporary/video/" + name));
  }
}

TEST_F(ExportVideo, NamesAVideoWhoseNameIsEmptyByItsWholeIdentifier) {
  addVideo("a.b", "");
  const RecordedReply reply = start(kMp4, false, "a.b");
  finish(Status::completed);
  EXPECT_EQ(reply.value(), exportReply("/temporary/video/video-a.b.mp4"));
}

TEST_F(ExportVideo, NamesTheFileByTheAssetsFirstPhotoOrVideo) {
  addVideo("edited", std::nullopt);
  resources.add("edited", PHAssetResourceType::fullSizeVideo, "FullSizeRender.mov");
  resources.add("edited", PHAssetResourceType::photo, "Still.JPG");
  resources.add("edited", PHAssetResourceType::video, "V.MOV");
  const RecordedReply reply = start(kMp4, false, "edited");
  finish(Status::completed);
  EXPECT_EQ(reply.value(), exportReply("/temporary/video/Still.mp4"));
}

// The folder and the earlier file

TEST_F(ExportVideo, ReportsAFolderThatCannotBeMadeAndTouchesNothing) {
  files.createDirectoryFails = failure;
  const RecordedReply reply = start();
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to create temp video folder",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.count("removeItem") + log.count("exportSession"), 0u);
}

TEST_F(ExportVideo, MakesTheFolderOnEveryExport) {
  const RecordedReply first = start();
  finish(Status::completed);
  const RecordedReply second = start();
  EXPECT_EQ(log.count("createDirectory /temporary/video"), 1u);
  finish(Status::completed);
  EXPECT_EQ(first.value(), second.value());
}

TEST_F(ExportVideo, RemovesTheEarlierFile) {
  files.addFile(kExportPath, ByteBuffer({9}));
  const RecordedReply reply = start();
  EXPECT_FALSE(files.file(kExportPath));
  finish(Status::completed);
}

TEST_F(ExportVideo, ReplacesAnEarlierFileThatCannotBeRemoved) {
  files.addFile(kExportPath, ByteBuffer({9}));
  files.removeItemFails = failure;
  const RecordedReply reply = start();
  session().complete();
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), exportReply(kExportPath));
  EXPECT_NE(files.file(kExportPath)->data, ByteBuffer({9}));
}

// The session

TEST_F(ExportVideo, ChoosesThePresetByQualityFirst) {
  struct Case {
    std::int64_t format;
    bool mediumQuality;
    std::string_view preset;
  };
  for (const Case& c : {Case{kOriginal, false, "AVAssetExportPresetPassthrough"},
                        Case{kMov, false, "AVAssetExportPresetHighestQuality"},
                        Case{kMp4, false, "AVAssetExportPresetHighestQuality"},
                        Case{kOriginal, true, "AVAssetExportPresetMediumQuality"},
                        Case{kMov, true, "AVAssetExportPresetMediumQuality"},
                        Case{kMp4, true, "AVAssetExportPresetMediumQuality"}}) {
    const RecordedReply reply = start(c.format, c.mediumQuality);
    EXPECT_EQ(session().preset, c.preset);
    finish(Status::completed);
  }
}

TEST_F(ExportVideo, ReportsASessionThatCannotBeMadeAfterItRemovedTheEarlierFile) {
  files.addFile(kExportPath, ByteBuffer({9}));
  media.makesSessions = false;
  const RecordedReply reply = start();
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to create export session", Value()}));
  EXPECT_FALSE(files.file(kExportPath));
}

TEST_F(ExportVideo, TakesTheTypeOfTheFormatWhereTheSessionSupportsIt) {
  for (const auto& [format, type] : {std::pair{kOriginal, AVFileType::AVFileTypeQuickTimeMovie},
                                     std::pair{kMov, AVFileType::AVFileTypeQuickTimeMovie},
                                     std::pair{kMp4, AVFileType::AVFileTypeMPEG4}}) {
    const RecordedReply reply = start(format);
    EXPECT_EQ(session().startedWith->fileType, type);
    finish(Status::completed);
  }
}

TEST_F(ExportVideo, FallsBackToQuickTimeUnderTheAskedExtension) {
  for (const std::vector<AVFileType>& supported :
       {std::vector<AVFileType>{}, std::vector{AVFileType::AVFileTypeQuickTimeMovie}}) {
    media.supportedFileTypes = supported;
    const RecordedReply reply = start(kMp4);
    EXPECT_EQ(session().startedWith->fileType, AVFileType::AVFileTypeQuickTimeMovie);
    finish(Status::completed);
    EXPECT_EQ(reply.value(), exportReply("/temporary/video/IMG_0001.mp4"));
  }
  media.supportedFileTypes = {AVFileType::AVFileTypeMPEG4};
  const RecordedReply reply = start(kMov);
  EXPECT_EQ(session().startedWith->fileType, AVFileType::AVFileTypeQuickTimeMovie);
  finish(Status::completed);
}

TEST_F(ExportVideo, OptimizesForNetworkUse) {
  const RecordedReply reply = start(kMp4, true);
  EXPECT_TRUE(session().startedWith->optimizesForNetworkUse);
  EXPECT_EQ(session().startedWith->outputPath, "/temporary/video/IMG_0001.mp4");
  finish(Status::completed);
}

TEST_F(ExportVideo, KeepsTheSessionUntilItsEndAndNoLonger) {
  const RecordedReply reply = start();
  const std::weak_ptr<FakeExportSession> watched = media.sessions.at(0);
  const auto handler = std::exchange(media.sessions.at(0)->completionHandler, nullptr);
  files.addFile(kExportPath, storedBytes);
  media.sessions.at(0)->setFinal(Status::completed);
  media.sessions.clear();
  ASSERT_FALSE(watched.expired());
  onPlatformThread(handler);
  EXPECT_EQ(reply.value(), exportReply(kExportPath));
}

TEST_F(ExportVideo, LetsGoOfSessionAndReplyAfterTheEnd) {
  const auto witness = std::make_shared<int>(0);
  plugin.plugin().handle(
      {"getVideoUrl", Map{{"assetId", "v"}, {"mediumQuality", false}, {"videoFormat", kMov}}},
      [witness](const FlutterReply&) {});
  plugin.runToEnd();
  deliverVideo(composition);
  images.forgetRequests();
  const std::weak_ptr<FakeExportSession> watched = media.sessions.at(0);
  EXPECT_GT(witness.use_count(), 1);
  finish(Status::completed);
  EXPECT_EQ(witness.use_count(), 1);
  media.sessions.clear();
  EXPECT_TRUE(watched.expired());
}

// The end

TEST_F(ExportVideo, StampsOnlyTheDatesThatTheAssetHas) {
  struct Case {
    std::optional<NSDate> created, modified;
  };
  int id = 0;
  for (const Case& c : {Case{NSDate(1000.5), NSDate(2000.25)}, Case{NSDate(-3.5), std::nullopt},
                        Case{std::nullopt, NSDate(2000.25)}, Case{std::nullopt, std::nullopt}}) {
    const std::string asset = "dated" + std::to_string(++id);
    addVideo(asset, asset + ".MOV", c.created, c.modified);
    const RecordedReply reply = start(kMov, false, asset);
    finish(Status::completed);
    const std::string path = "/temporary/video/" + asset + ".mov";
    EXPECT_EQ(attributesOf(path), (NSFileAttributes{c.created, c.modified}));
    EXPECT_EQ(reply.value(), exportReply(path));
  }
}

TEST_F(ExportVideo, SucceedsAlsoWhenTheDatesCannotBeSet) {
  files.setAttributesFails = failure;
  testing::internal::CaptureStdout();
  const RecordedReply reply = start();
  finish(Status::completed);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(reply.value(), exportReply(kExportPath));
  EXPECT_EQ(log.count("setAttributes"), 1u);
}

TEST_F(ExportVideo, ReportsAFailedAndACancelledExportAlike) {
  for (const Status status : {Status::failed, Status::cancelled}) {
    const RecordedReply described = start();
    log.clear();
    finish(status, failure);
    EXPECT_EQ(described.error(),
              (FlutterError{"Error", "Export failed", Value("The disk is on fire.")}));
    EXPECT_EQ(log.events(), (Names{"main.async", "reply getVideoUrl"}));

    const RecordedReply bare = start();
    finish(status);
    EXPECT_EQ(bare.error(), (FlutterError{"Error", "Export failed", Value()}));
  }
}

TEST_F(ExportVideo, TakesACompletedExportForOneWhateverErrorItNames) {
  const RecordedReply reply = start();
  finish(Status::completed, failure);
  EXPECT_EQ(reply.value(), exportReply(kExportPath));
}

TEST_F(ExportVideo, SaysNothingAboutAnExportThatHasNotEnded) {
  for (const Status status : {Status::unknown, Status::waiting, Status::exporting}) {
    RecordedReply reply = start();
    reply.expectSilence();
    log.clear();
    finish(status, failure);
    EXPECT_EQ(log.events(), Names{});
  }
}

TEST_F(ExportVideo, ReadsTheDatesBeforeTheExport) {
  const RecordedReply reply = start();
  library.removeAsset("v");
  finish(Status::completed);
  EXPECT_EQ(attributesOf(kExportPath), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(ExportVideo, StampsOnThePlatformsThreadAndRepliesOnTheMainQueue) {
  const RecordedReply reply = start();
  files.addFile(kExportPath, storedBytes);
  log.clear();
  std::thread([this] { session().finish(Status::completed); }).join();
  EXPECT_EQ(log.events(), (Names{"setAttributes " + kExportPath, "main.async"}));
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(ExportVideo, KeepsTheExportsApart) {
  addVideo("w", "IMG_0002.MOV");
  const RecordedReply first = start(kMov);
  const RecordedReply second = start(kMp4, false, "w");
  finishExport(Status::completed, {}, 1);
  EXPECT_EQ(first.answerCount(), 0u);
  EXPECT_EQ(second.value(), exportReply("/temporary/video/IMG_0002.mp4"));
  finishExport(Status::failed, failure, 0);
  EXPECT_EQ(first.error().message, "Export failed");
}

}  // namespace
}  // namespace quorvin
