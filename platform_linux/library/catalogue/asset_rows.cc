#include "platform_linux/library/catalogue/asset_rows.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform_linux/library/catalogue/time_maps.h"
#include "platform_linux/library/values/side_resources.h"
#include "platform_linux/videos/slow_motion.h"

namespace quorvin {
namespace {

constexpr auto kLive = static_cast<std::int64_t>(PHAssetMediaSubtype::photoLive);

std::int64_t mediaType(MediaKind kind) {
  switch (kind) {
    case MediaKind::image:
      return static_cast<std::int64_t>(PHAssetMediaType::image);
    case MediaKind::video:
      return static_cast<std::int64_t>(PHAssetMediaType::video);
    case MediaKind::audio:
      return static_cast<std::int64_t>(PHAssetMediaType::audio);
    case MediaKind::side:
      break;
  }
  return static_cast<std::int64_t>(PHAssetMediaType::unknown);
}

// A photo is live only once its video is there.
std::int64_t subtypes(const MediaProbe& probe) {
  auto bits = static_cast<std::int64_t>(probe.mediaSubtypes) & ~kLive;
  if (isSlowMotion(probe)) {
    bits |= static_cast<std::int64_t>(PHAssetMediaSubtype::videoHighFrameRate);
  }
  return bits;
}

double duration(const MediaProbe& probe) {
  const bool lasts = probe.kind != MediaKind::image && std::isfinite(probe.duration);
  return lasts ? std::max(probe.duration, 0.0) : 0;
}

std::optional<std::string> nonEmpty(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return text;
}

void bindProperties(Statement& statement, const NewAsset& asset) {
  const MediaProbe& probe = asset.probe;
  statement.bind(
      mediaType(probe.kind), subtypes(probe), std::max<std::int64_t>(probe.pixelWidth, 0),
      std::max<std::int64_t>(probe.pixelHeight, 0), duration(probe),
      probe.creationDate.value_or(asset.modified), asset.modified, probe.frontCamera ? 1 : 0,
      probe.animated ? 1 : 0, probe.raw ? 1 : 0, probe.burstPrimary ? 1 : 0);
}

// The place of a resource among those of its asset: the original and what plays with it, then what
// was made of them. Types without a place come last.
int rankOf(PHAssetResourceType type) {
  using Type = PHAssetResourceType;
  constexpr std::array<Type, 12> kOrder = {Type::photo,
                                           Type::video,
                                           Type::audio,
                                           Type::alternatePhoto,
                                           Type::pairedVideo,
                                           Type::fullSizePhoto,
                                           Type::fullSizeVideo,
                                           Type::fullSizePairedVideo,
                                           Type::adjustmentBasePhoto,
                                           Type::adjustmentBasePairedVideo,
                                           Type::adjustmentBaseVideo,
                                           Type::adjustmentData};
  return static_cast<int>(std::find(kOrder.begin(), kOrder.end(), type) - kOrder.begin());
}

// Behind all that have a place of their own, side files stand as they came.
constexpr std::int64_t kUnseen = 100;

std::int64_t positionOf(Database& database, std::int64_t asset, PHAssetResourceType type) {
  if (!isUnseen(type)) return rankOf(type);
  Statement last = database.prepare("SELECT max(pos) FROM resources WHERE asset = ?");
  const auto position = last.bind(asset).next() ? last.optionalInteger(0) : std::nullopt;
  return std::max(kUnseen, position.value_or(0) + 1);
}

}  // namespace

std::optional<std::int64_t> insertAsset(Database& database, const NewAsset& asset) {
  const std::optional<std::string> burst = nonEmpty(asset.probe.burstIdentifier);
  const std::optional<std::string> content = nonEmpty(asset.probe.contentIdentifier);
  Statement insert = database.prepare(
      "INSERT INTO assets(media_type, subtypes, width, height, duration, created_ns, modified_ns,"
      " front_camera, animated, raw, burst_primary, ident, added_ns, burst_id, content_id,"
      " source_folder) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  bindProperties(insert, asset);
  insert.bind(asset.identifier, asset.added, burst, content, asset.sourceFolder);
  if (!insert.run()) return std::nullopt;
  const std::int64_t row = database.lastInsertedRow();
  if (!insertTimeMap(database, row, slowMotionTimeMap(asset.probe))) return std::nullopt;
  return row;
}

bool updateAsset(Database& database, std::int64_t row, const NewAsset& asset) {
  Statement update = database.prepare(
      "UPDATE assets SET media_type = ?, subtypes = ?, width = ?, height = ?, duration = ?,"
      " created_ns = ?, modified_ns = ?, front_camera = ?, animated = ?, raw = ?,"
      " burst_primary = ?, burst_id = coalesce(?, burst_id), content_id = ?, source_folder = ?"
      " WHERE id = ?");
  bindProperties(update, asset);
  const std::optional<std::string> burst = nonEmpty(asset.probe.burstIdentifier);
  const std::optional<std::string> content = nonEmpty(asset.probe.contentIdentifier);
  return update.bind(burst, content, asset.sourceFolder, row).run();
}

bool setLive(Database& database, std::int64_t asset, bool isLive) {
  Statement mark = database.prepare(
      "UPDATE assets SET subtypes = subtypes & ~?1 | ?2"
      " WHERE id = ?3 AND subtypes & ?1 <> ?2");
  return mark.bind(kLive, isLive ? kLive : 0, asset).run();
}

bool setTimeMap(Database& database, std::int64_t asset, const TimeMap& map) {
  return removeTimeMap(database, asset) && insertTimeMap(database, asset, map);
}

bool insertResource(Database& database, std::int64_t asset, const NewResource& resource) {
  // Positions are wide apart, one for each type.
  Statement insert = database.prepare(
      "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash, orientation)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(asset, positionOf(database, asset, resource.type),
              static_cast<std::int64_t>(resource.type), resource.name,
              resource.uniformTypeIdentifier, resource.path, resource.size, Blob{resource.hash},
              std::clamp(resource.orientation, 1, 8));
  return insert.run();
}

bool placeResource(Database& database, std::int64_t asset, const NewResource& resource) {
  Statement place = database.prepare(
      "UPDATE resources SET pos = ?, type = ?, name = ? WHERE asset = ? AND path = ?");
  return place
      .bind(positionOf(database, asset, resource.type), static_cast<std::int64_t>(resource.type),
            resource.name, asset, resource.path)
      .run();
}

bool insertPairedVideo(Database& database, std::int64_t photo, NewResource video) {
  video.type = PHAssetResourceType::pairedVideo;
  return insertResource(database, photo, video) && setLive(database, photo, true);
}

}  // namespace quorvin
