// exportVideo: a video as a file of its own, in another container or encoded again.
#include "core/export/video_export.h"

#include <algorithm>
#include <utility>

#include "core/export/file_names.h"
#include "core/export/temporary_files.h"
#include "core/manager/errors.h"
#include "core/platform/file_manager.h"

namespace quorvin {
namespace {

std::string videoFileName(const std::optional<std::string>& resourceName,
                          const std::string& assetId, const std::string& extension) {
  const std::string fallback = "video-" + assetId;
  const std::string base = deletingPathExtension(resourceName.value_or(fallback));
  return appendingPathExtension(base, extension).value_or(fallback + "." + extension);
}

std::string_view presetFor(VideoFormat format, bool mediumQuality) {
  if (mediumQuality) return AVAssetExportPresetMediumQuality;
  if (format == VideoFormat::Original) return AVAssetExportPresetPassthrough;
  return AVAssetExportPresetHighestQuality;
}

/// QuickTime when the session cannot make the wanted type; the file's name is not changed by that.
AVFileType outputFileType(const AVAssetExportSession& session, AVFileType wanted) {
  const auto supported = session.supportedFileTypes();
  const bool isSupported = std::ranges::find(supported, wanted) != supported.end();
  return isSupported ? wanted : AVFileType::AVFileTypeQuickTimeMovie;
}

}  // namespace

void ImageManager::exportVideo(VideoExport video) {
  const std::string name =
      videoFileName(getResourceName(*video.phAsset), video.assetId, video.videoExt);
  const std::string folder = temporaryFolder(platform.fileManager, "video");
  if (const auto error = platform.fileManager.createDirectory(folder)) {
    return fail(video.result, errors::kFailedToCreateVideoFolder, error->localizedDescription);
  }
  const std::string path = pathIn(folder, name);
  // Mostly there is nothing; what cannot be removed fails the export.
  platform.fileManager.removeItem(path);
  const auto session = platform.mediaFramework.exportSessionWithAsset(
      video.asset, presetFor(video.videoFormat, video.mediumQuality));
  if (session == nullptr) return fail(video.result, errors::kFailedToCreateExportSession);
  session->setOutputURL(path);
  session->setOutputFileType(outputFileType(*session, video.avFileType));
  session->setShouldOptimizeForNetworkUse(true);
  // The handler holds the session until it has run; nothing else does.
  session->exportAsynchronously([self = shared_from_this(), session, path,
                                 video = std::move(video)] { video.reply(*self, *session, path); });
}

void ImageManager::VideoExport::reply(ImageManager& manager, const AVAssetExportSession& session,
                                      const std::string& path) const {
  switch (session.status()) {
    case AVAssetExportSessionStatus::completed:
      // A file whose dates cannot be set is as good.
      manager.platform.fileManager.setAttributes(
          {.NSFileCreationDate = creationDate, .NSFileModificationDate = modificationDate}, path);
      return manager.sendResult(result, exportReply(path, true));
    case AVAssetExportSessionStatus::failed:
    case AVAssetExportSessionStatus::cancelled:
      return manager.fail(result, errors::kExportFailed, errors::detailsOf(session.error()));
    case AVAssetExportSessionStatus::unknown:
    case AVAssetExportSessionStatus::waiting:
    case AVAssetExportSessionStatus::exporting:
      return;  // no end, and so no reply
  }
}

}  // namespace quorvin
