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
};

std::optional<VideoFileArguments> readArguments(const FlutterMethodCall& call) {
  const Arguments read(call.arguments);
  VideoFileArguments a;
  std::int64_t rawFormat = 0;
  if (!(read.string("assetId", a.assetId) && read.boolean("mediumQuality", a.mediumQuality) &&
        read.integer("videoFormat", rawFormat))) {
    return std::nullopt;
  }
  const auto format = videoFormatFromRawValue(rawFormat);
  if (!format) return std::nullopt;
  a.videoFormat = *format;
  return a;
}

PHVideoRequestOptions videoOptions() {
  PHVideoRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.isNetworkAccessAllowed = true;
  return options;
}

}  // namespace

void ImageManager::getVideoUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  const auto arguments = readArguments(call);
  if (!arguments) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const Asset phAsset = getPHAsset(arguments->assetId);
  if (phAsset == nullptr) {
    return sendError(result, errors::kCode,
                     errors::withId(errors::kAssetNotFound, arguments->assetId));
  }
  const bool isMp4 = arguments->videoFormat == VideoFormat::Mp4;
  VideoExport video;
  video.assetId = arguments->assetId;
  video.phAsset = phAsset;
  video.avFileType = isMp4 ? AVFileType::AVFileTypeMPEG4 : AVFileType::AVFileTypeQuickTimeMovie;
  video.videoFormat = arguments->videoFormat;
  video.videoExt = isMp4 ? "mp4" : "mov";
  video.mediumQuality = arguments->mediumQuality;
  video.result = result;
  if (imageManager == nullptr) return;
  imageManager->requestAVAssetForVideo(phAsset, videoOptions(),
                                       [self = shared_from_this(), video = std::move(video)](
                                           const std::shared_ptr<const AVAsset>& asset,
                                           const PHImageInfo*) { self->replyVideo(video, asset); });
}

void ImageManager::replyVideo(VideoExport video, std::shared_ptr<const AVAsset> asset) {
  if (asset == nullptr) {
    return sendError(video.result, errors::kCode, errors::kFailedToLoadAVAsset);
  }
  const auto* file = dynamic_cast<const AVURLAsset*>(asset.get());
  if (file != nullptr && video.videoFormat == VideoFormat::Original && !video.mediumQuality) {
    if (file->URL.empty()) {
      return sendError(video.result, errors::kCode, errors::kUnexpectedAVAssetType);
    }
    return sendResult(video.result, exportReply(file->URL, false));
  }
  video.asset = std::move(asset);
  video.creationDate = video.phAsset->creationDate;
  video.modificationDate = video.phAsset->modificationDate;
  exportVideo(std::move(video));
}

}  // namespace quorvin
