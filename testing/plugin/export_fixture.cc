#include "testing/plugin/export_fixture.h"

#include <thread>
#include <utility>

namespace quorvin {

Value exportReply(const std::string& path, bool deletable) {
  return Map{{"url", path}, {"deletable", deletable}};
}

PHImageInfo infoOf(std::string_view key, PHImageInfo::Entry entry) {
  PHImageInfo info;
  info.set(key, std::move(entry));
  return info;
}

std::vector<PHImageInfo> saysNothing() {
  const NSError error{"Domain", 7, "Ignored."};
  std::vector<PHImageInfo> infos = {PHImageInfo()};
  for (const std::string_view key : {PHImageResultIsDegradedKey, PHImageCancelledKey}) {
    for (const PHImageInfo::Entry& entry :
         {PHImageInfo::Entry(false), PHImageInfo::Entry(std::int64_t{1}), PHImageInfo::Entry(1.0),
          PHImageInfo::Entry(std::string("true")), PHImageInfo::Entry(error)}) {
      infos.push_back(infoOf(key, entry));
    }
  }
  for (const PHImageInfo::Entry& entry :
       {PHImageInfo::Entry(true), PHImageInfo::Entry(std::int64_t{1}),
        PHImageInfo::Entry(std::string("failed"))}) {
    infos.push_back(infoOf(PHImageErrorKey, entry));
  }
  for (const std::string_view key : {PHImageResultIsInCloudKey, PHImageResultRequestIDKey}) {
    infos.push_back(infoOf(key, true));
    infos.push_back(infoOf(key, std::int64_t{1}));
    infos.push_back(infoOf(key, error));
  }
  return infos;
}

PHImageInfo infoOfEverything(const NSError& error) {
  PHImageInfo info;
  info.set(PHImageCancelledKey, true);
  info.set(PHImageErrorKey, error);
  info.set(PHImageResultIsDegradedKey, true);
  return info;
}

bool isFrom(const std::optional<NSDate>& date, std::chrono::system_clock::time_point start) {
  const auto seconds = [](std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
  };
  if (!date) return false;
  return date->timeIntervalSince1970() >= seconds(start) - 0.001 &&
         date->timeIntervalSince1970() <= seconds(std::chrono::system_clock::now()) + 0.001;
}

ExportTest::ExportTest() = default;
ExportTest::~ExportTest() = default;

void ExportTest::haveCached(const std::string& asset) {
  library.addCollection(userAlbum("album"), {asset});
  plugin.answer("getGalleryAssetCount",
                Map{{"collectionId", "album"}, {"sort", 0}, {"mediaType", 0}});
  log.clear();
}

std::shared_ptr<int> ExportTest::heldByTheReplyOf(const std::string& method, const Map& arguments) {
  const auto witness = std::make_shared<int>(0);
  plugin.plugin().handle({method, arguments}, [witness](const FlutterReply&) {});
  plugin.runToEnd();
  EXPECT_GT(witness.use_count(), 1);
  return witness;
}

void ExportTest::onPlatformThread(const std::function<void()>& delivery) {
  std::thread(delivery).join();
  plugin.runToEnd();
}

void ExportTest::deliverData(const std::optional<ByteBuffer>& data,
                             const std::optional<std::string>& typeIdentifier,
                             const std::optional<PHImageInfo>& info, std::size_t index,
                             std::int64_t orientation) {
  const auto handler = images.dataRequests().at(index).handler;
  onPlatformThread([&] { handler(data, typeIdentifier, orientation, info ? &*info : nullptr); });
}

void ExportTest::deliverImage(const std::shared_ptr<const UIImage>& image,
                              const std::optional<PHImageInfo>& info, std::size_t index) {
  const auto handler = images.imageRequests().at(index).handler;
  onPlatformThread([&] { handler(image, info ? &*info : nullptr); });
}

void ExportTest::deliverVideo(const std::shared_ptr<const AVAsset>& asset,
                              const std::optional<PHImageInfo>& info, std::size_t index) {
  const auto handler = images.videoRequests().at(index).handler;
  onPlatformThread([&] { handler(asset, info ? &*info : nullptr); });
}

void ExportTest::deliverLivePhoto(const std::shared_ptr<const PHLivePhoto>& livePhoto,
                                  const std::optional<PHImageInfo>& info, std::size_t index) {
  const auto handler = images.livePhotoRequests().at(index).handler;
  onPlatformThread([&] { handler(livePhoto, info ? &*info : nullptr); });
}

void ExportTest::finishWrite(const std::optional<NSError>& error, std::size_t index) {
  const FakeAssetResourceManager::Write write = plugin.platform.resourceManager.writes.at(index);
  if (!error) {
    EXPECT_FALSE(files.writeNew(storedBytes, write.path)) << write.path;
  }
  onPlatformThread([&] { write.finish(error); });
}

void ExportTest::expectOneErrorOfAFailedWrite(const RecordedReply& reply,
                                              const std::string& method) {
  log.clear();
  finishWrite(failure);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to export live photo video id = p",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply " + method}));
}

void ExportTest::finishExport(AVAssetExportSessionStatus status,
                              const std::optional<NSError>& error, std::size_t index) {
  const auto session = media.sessions.at(index);
  if (status == AVAssetExportSessionStatus::completed) {
    EXPECT_FALSE(files.writeNew(storedBytes, session->outputPath)) << session->outputPath;
  }
  onPlatformThread([&] { session->finish(status, error); });
}

NSFileAttributes ExportTest::attributesOf(const std::string& path) const {
  const auto file = files.file(path);
  EXPECT_TRUE(file) << path;
  return file ? file->attributes : NSFileAttributes{};
}

}  // namespace quorvin
