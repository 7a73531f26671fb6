// The asset record, and the name that an asset's data is stored under.
#include "core/queries/asset_record.h"

#include <algorithm>

#include "core/manager/image_manager.h"
#include "core/platform/asset_resources.h"

namespace quorvin {
namespace {

/// Truncates towards zero.
std::int64_t milliseconds(const std::optional<NSDate>& date) {
  if (!date) return 0;
  const double value = date->timeIntervalSince1970() * 1000.0;
  // The comparison is false for a value that is no number.
  if (!(value > -9223372036854777856.0 && value < 9223372036854775808.0)) {
    fatalError("a date is out of the range of milliseconds in 64 bits");
  }
  return static_cast<std::int64_t>(value);
}

}  // namespace

Map assetToMap(const PHAsset& asset) {
  const std::int64_t modificationDate = milliseconds(asset.modificationDate);
  const std::int64_t creationDate = milliseconds(asset.creationDate);
  Map record;
  record.reserve(13);
  record.emplace_back("id"_lit, asset.localIdentifier);
  record.emplace_back("mediaType"_lit, static_cast<std::int64_t>(asset.mediaType));
  record.emplace_back("width"_lit, asset.pixelWidth);
  record.emplace_back("height"_lit, asset.pixelHeight);
  record.emplace_back("creationDate"_lit, creationDate);
  record.emplace_back("modificationDate"_lit, modificationDate);
  record.emplace_back("duration"_lit, asset.duration * 1000.0);
  record.emplace_back("isFavorite"_lit, asset.isFavorite);
  record.emplace_back("isHidden"_lit, asset.isHidden);
  record.emplace_back("burstIdentifier"_lit,
                      asset.burstIdentifier ? std::string_view(*asset.burstIdentifier) : "");
  record.emplace_back("representsBurst"_lit, asset.representsBurst);
  record.emplace_back("burstSelectionTypes"_lit,
                      static_cast<std::int64_t>(asset.burstSelectionTypes));
  record.emplace_back("isLivePhoto"_lit,
                      (asset.mediaSubtypes & PHAssetMediaSubtype::photoLive) != 0);
  return record;
}

std::optional<std::string> ImageManager::getResourceName(const PHAsset& asset) {
  const PHAssetResources resources = platform.assetResources.assetResourcesForAsset(asset);
  if (resources.empty()) return std::nullopt;
  const auto named = std::ranges::find_if(resources, [](const auto& resource) {
    return resource->type == PHAssetResourceType::photo ||
           resource->type == PHAssetResourceType::video;
  });
  return (named == resources.end() ? resources.front() : *named)->originalFilename;
}

}  // namespace quorvin
