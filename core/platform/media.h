// Videos, live photos and export sessions.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/asset_resources.h"
#include "core/platform/foundation.h"

namespace quorvin {

/// A loaded video. Immutable, any thread.
class AVAsset {
 public:
  virtual ~AVAsset() = default;
};

/// A video that is one file.
class AVURLAsset : public AVAsset {
 public:
  explicit AVURLAsset(std::string path) : URL(std::move(path)) {}
  const std::string URL;  ///< absolute path
};

/// A video put together from parts of files, so that no single file holds it.
class AVComposition : public AVAsset {};

/// A still with its motion part.
class PHLivePhoto {
 public:
  explicit PHLivePhoto(PHAssetResources resources) : resources(std::move(resources)) {}
  virtual ~PHLivePhoto() = default;
  const PHAssetResources resources;  ///< in the library's order
};

inline constexpr std::string_view AVAssetExportPresetPassthrough = "AVAssetExportPresetPassthrough";
inline constexpr std::string_view AVAssetExportPresetHighestQuality =
    "AVAssetExportPresetHighestQuality";
inline constexpr std::string_view AVAssetExportPresetMediumQuality =
    "AVAssetExportPresetMediumQuality";

enum class AVFileType { AVFileTypeQuickTimeMovie, AVFileTypeMPEG4 };

enum class AVAssetExportSessionStatus : std::int64_t {
  unknown = 0,
  waiting = 1,
  exporting = 2,
  completed = 3,
  failed = 4,
  cancelled = 5,
};

/// One export. The setters are called before the start, on one thread.
class AVAssetExportSession {
 public:
  virtual ~AVAssetExportSession() = default;
  virtual void setOutputURL(std::string path) = 0;
  virtual std::vector<AVFileType> supportedFileTypes() const = 0;
  virtual void setOutputFileType(AVFileType type) = 0;
  virtual void setShouldOptimizeForNetworkUse(bool optimize) = 0;
  /// Returns at once; `completionHandler` is called once, on any thread, when `status` is final.
  virtual void exportAsynchronously(std::function<void()> completionHandler) = 0;
  virtual AVAssetExportSessionStatus status() const = 0;
  virtual std::optional<NSError> error() const = 0;
};

/// Makes export sessions. Any thread.
class MediaFramework {
 public:
  virtual ~MediaFramework() = default;
  /// Null when the preset does not fit the asset.
  virtual std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      std::shared_ptr<const AVAsset> asset, std::string_view presetName) = 0;
};

}  // namespace quorvin
