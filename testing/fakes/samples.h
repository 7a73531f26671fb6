// Assets and collections in one line.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "core/platform/photo_library.h"

namespace quorvin {

/// The methods that do their work on the platform thread, or leave it to the change queue.
inline constexpr std::array kInlineMethods = {
    "getPlatformVersion", "getPermission",     "clearAllCache", "stopAllCachingImages",
    "startCachingImages", "stopCachingImages", "deleteAssets",  "createAlbum"};

/// Those that do it on the background queue.
inline constexpr std::array kQueuedMethods = {"getGalleryList",
                                              "getGalleryAssetCount",
                                              "getGalleryFirstAssetId",
                                              "getAssetList",
                                              "getAssetInfo",
                                              "getThumbnail",
                                              "getImageData",
                                              "getImageUrl",
                                              "getLivePhotoUrl",
                                              "getVideoUrl",
                                              "getBurstAssetList",
                                              "getAssetOriginalFilename",
                                              "saveImage",
                                              "saveVideo"};

inline PHAsset assetOf(PHAssetMediaType type, std::string identifier,
                       std::optional<double> created = {}) {
  PHAsset asset;
  asset.localIdentifier = std::move(identifier);
  asset.mediaType = type;
  if (created) asset.creationDate = NSDate(*created);
  return asset;
}

/// `created` is in seconds since 1970.
inline PHAsset photo(std::string identifier, std::optional<double> created = {}) {
  return assetOf(PHAssetMediaType::image, std::move(identifier), created);
}
inline PHAsset video(std::string identifier, std::optional<double> created = {}) {
  return assetOf(PHAssetMediaType::video, std::move(identifier), created);
}
inline PHAsset audio(std::string identifier, std::optional<double> created = {}) {
  return assetOf(PHAssetMediaType::audio, std::move(identifier), created);
}

/// A member that is neither the representative nor picked, unless the caller says more.
inline PHAsset burstMember(std::string identifier, std::string burst, bool represents = false) {
  PHAsset asset = photo(std::move(identifier));
  asset.burstIdentifier = std::move(burst);
  asset.representsBurst = represents;
  return asset;
}

inline PHAssetCollection userAlbum(std::string identifier, std::optional<std::string> title = {},
                                   std::int64_t subtype = PHAssetCollectionSubtype::albumRegular) {
  return {std::move(identifier), PHAssetCollectionType::album, subtype, std::move(title)};
}

inline PHAssetCollection smartAlbum(std::string identifier, std::int64_t subtype,
                                    std::optional<std::string> title = {}) {
  return {std::move(identifier), PHAssetCollectionType::smartAlbum, subtype, std::move(title)};
}

inline PHAssetCollection userLibrary(std::string identifier = "recents") {
  return smartAlbum(std::move(identifier), PHAssetCollectionSubtype::smartAlbumUserLibrary,
                    "Recents");
}

}  // namespace quorvin
