// One export of a video. getVideoUrl asks for it, exportVideo carries it out.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/export/video_format.h"
#include "core/manager/image_manager.h"
#include "core/platform/media.h"

namespace quorvin {

struct ImageManager::VideoExport {
  std::string assetId;  ///< as the caller sent it
  std::shared_ptr<const AVAsset> asset;
  Asset phAsset;
  AVFileType avFileType = AVFileType::AVFileTypeQuickTimeMovie;
  VideoFormat videoFormat = VideoFormat::Original;
  std::string videoExt;  ///< "mov" or "mp4"
  bool mediumQuality = false;
  std::optional<NSDate> creationDate;
  std::optional<NSDate> modificationDate;
  ResultHolder result;

  /// Answers when the session has ended.
  void reply(ImageManager& manager, const AVAssetExportSession& session,
             const std::string& path) const;
};

}  // namespace quorvin
