// getVideoUrl: a video as a file: the library's own, or an exported one.
#include <optional>
#include <utility>

#include "core/export/temporary_files.h"
#include "core/export/video_export.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"

namespace quorvin {
namespace {

struct VideoFileArguments {
  std::string assetId;
  bool mediumQuality = false;
  VideoFormat videoFormat = VideoFormat::Original;

  bool read(const Arguments& from) {
    std::int64_t rawFormat = 0;
    if (!(from.string("assetId", assetId) && from.boolean("mediumQuality", mediumQuality) &&
          from.integer("videoFormat", rawFormat))) {
      return false;
    }
    const auto format = videoFormatFromRawValue(rawFormat);
    if (format) videoFormat = *format;
    return format.has_value();
  }
};

PHVideoRequestOptions videoOptions() {
  PHVideoRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.isNetworkAccessAllowed = true;
  return options;
}

}  // namespace

/// A video that is awaited.
struct ImageManager::VideoRequest {
  std::shared_ptr<ImageManager> manager;
  ResultHolder result;
  VideoFileArguments arguments;
  Asset phAsset;

  void deliver(const std::shared_ptr<const AVAsset>& asset) const {
    if (asset == nullptr) return manager->fail(result, errors::kFailedToLoadAVAsset);
    const auto* file = dynamic_cast<const AVURLAsset*>(asset.get());
    const bool asItIs = arguments.videoFormat == VideoFormat::Original && !arguments.mediumQuality;
    if (file == nullptr || !asItIs) return exportCopy(asset);
    if (file->URL.empty()) return manager->fail(result, errors::kUnexpectedAVAssetType);
    manager->sendResult(result, exportReply(file->URL, false));
  }

  void exportCopy(const std::shared_ptr<const AVAsset>& asset) const {
    const bool isMp4 = arguments.videoFormat == VideoFormat::Mp4;
    manager->readingLibrary(result, [&] {
      manager->exportVideo(
          {.assetId = arguments.assetId,
           .asset = asset,
           .phAsset = phAsset,
           .avFileType = isMp4 ? AVFileType::AVFileTypeMPEG4 : AVFileType::AVFileTypeQuickTimeMovie,
           .videoFormat = arguments.videoFormat,
           .videoExt = isMp4 ? "mp4" : "mov",
           .mediumQuality = arguments.mediumQuality,
           .creationDate = phAsset->creationDate,
           .modificationDate = phAsset->modificationDate,
           .result = result});
    });
  }
};

void ImageManager::getVideoUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  VideoFileArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kErrorArguments);
  const Asset phAsset = findAsset(arguments.assetId, result);
  if (phAsset == nullptr || imageManager == nullptr) return;
  imageManager->requestAVAssetForVideo(
      phAsset, videoOptions(),
      [request = VideoRequest{shared_from_this(), result, arguments, phAsset}](
          const std::shared_ptr<const AVAsset>& asset, const PHImageInfo*) {
        request.deliver(asset);
      });
}

}  // namespace quorvin
