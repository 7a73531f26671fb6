// The system that the plugin runs on, as references to its parts.
#pragma once

#include <string>

namespace quorvin {

class Dispatch;
class ImageCodec;
class MediaFramework;
class NSFileManager;
class PHAssetResourceLister;
class PHAssetResourceManager;
class PHImageManager;
class PHPhotoLibrary;
class PHPhotoLibraryChanges;

/// The device that the plugin runs on.
class UIDevice {
 public:
  virtual ~UIDevice() = default;
  /// The operating system's version, for example "17.2".
  virtual std::string systemVersion() = 0;
};

/// Outlives everything that is built on it.
struct Platform {
  Dispatch& dispatch;
  PHPhotoLibrary& sharedPhotoLibrary;
  PHPhotoLibraryChanges& photoLibraryChanges;
  PHAssetResourceLister& assetResources;
  PHAssetResourceManager& assetResourceManager;
  PHImageManager* defaultImageManager;  ///< null when the system has none
  ImageCodec& imageCodec;
  MediaFramework& mediaFramework;
  NSFileManager& fileManager;
  UIDevice& currentDevice;
};

}  // namespace quorvin
