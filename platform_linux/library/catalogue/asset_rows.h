// Writing assets to the catalogue. Everything here runs inside a change.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/platform/asset_resources.h"
#include "core/platform/foundation.h"
#include "core/platform/value.h"
#include "media_protocol/time_map.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

struct NewResource {
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::string name;  ///< valid UTF-8
  std::string uniformTypeIdentifier;
  std::string path;  ///< relative to `originals/`
  std::int64_t size = 0;
  std::string hash;
  int orientation = 1;
};

struct NewAsset {
  std::string identifier;
  MediaProbe probe;
  std::int64_t modified = 0;  ///< nanoseconds since 1970; also the creation date if there is none
  std::int64_t added = 0;
  std::optional<std::int64_t> sourceFolder;  ///< stands for the folder that the file came from
};

/// The new asset's row id; none when writing failed.
std::optional<std::int64_t> insertAsset(Database& database, const NewAsset& asset);

/// The asset becomes what this one is, but keeps its identifier, when it was added, its marks and
/// the burst that it is in. False when writing failed.
bool updateAsset(Database& database, std::int64_t row, const NewAsset& asset);

/// It has a paired video, or has not. False when writing failed.
bool setLive(Database& database, std::int64_t asset, bool isLive);
/// How its video plays. False when writing failed.
bool setTimeMap(Database& database, std::int64_t asset, const TimeMap& map);

/// Adds the resource behind those that the asset has, in the library's order of types. False when
/// writing failed.
bool insertResource(Database& database, std::int64_t asset, const NewResource& resource);

/// The same for a resource that the asset has somewhere.
bool placeResource(Database& database, std::int64_t asset, const NewResource& resource);

/// Makes the photo a live photo by this video.
bool insertPairedVideo(Database& database, std::int64_t photo, NewResource video);

}  // namespace quorvin
