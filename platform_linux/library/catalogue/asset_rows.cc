#include "platform_linux/library/catalogue/asset_rows.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform_linux/library/catalogue/identifiers.h"
#include "platform_linux/library/catalogue/time_maps.h"
#include "platform_linux/library/import/import_plan.h"
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

int rankOf(std::int64_t type) {
  constexpr std::array<std::int64_t, 12> kOrder = {1, 2, 3, 4, 9, 5, 6, 10, 8, 11, 12, 7};
  return static_cast<int>(std::find(kOrder.begin(), kOrder.end(), type) - kOrder.begin());
}

// Assets that could still get their other half, with that half's counterpart as `r`.
constexpr const char* kWaitingPhoto =
    "FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = 1"
    " WHERE a.media_type = 1 AND a.trashed_ns IS NULL AND NOT EXISTS"
    " (SELECT 1 FROM resources AS v WHERE v.asset = a.id AND v.type = 9)";
constexpr const char* kWaitingVideo =
    "FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = 2"
    " WHERE a.media_type = 2 AND a.trashed_ns IS NULL AND NOT EXISTS"
    " (SELECT 1 FROM resources AS v WHERE v.asset = a.id AND v.type <> 2)";

std::optional<std::int64_t> findWaiting(Database& database, const std::string& from,
                                        const std::string& contentIdentifier) {
  if (contentIdentifier.empty()) return std::nullopt;
  Statement find =
      database.prepare("SELECT a.id " + from + " AND a.content_id = ? ORDER BY a.id LIMIT 1");
  if (!find.bind(contentIdentifier).next()) return std::nullopt;
  return find.integer(0);
}

std::optional<std::int64_t> findWaiting(Database& database, const std::string& from,
                                        const std::string& contentIdentifier, std::int64_t folder,
                                        const std::string& name) {
  Statement find = database.prepare(
      "SELECT a.id " + from +
      " AND r.name = ?1 COLLATE NOCASE AND a.source_folder = ?2"
      " AND (?3 = '' OR a.content_id IS NULL OR a.content_id = ?3) ORDER BY a.id LIMIT 1");
  if (!find.bind(name, folder, contentIdentifier).next()) return std::nullopt;
  return find.integer(0);
}

}  // namespace

std::string listOfRows(const std::vector<std::int64_t>& rows) {
  std::string list = "[";
  for (const std::int64_t row : rows) {
    if (list.size() > 1) list += ',';
    list += std::to_string(row);
  }
  return list + "]";
}

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

bool insertResource(Database& database, std::int64_t asset, const NewResource& resource) {
  const auto type = static_cast<std::int64_t>(resource.type);
  // Positions are wide apart, one for each type.
  Statement insert = database.prepare(
      "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash, orientation)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(asset, rankOf(type), type, resource.name, resource.uniformTypeIdentifier,
              resource.path, resource.size, Blob{resource.hash},
              std::clamp(resource.orientation, 1, 8));
  return insert.run();
}

bool insertPairedVideo(Database& database, std::int64_t photo, NewResource video) {
  video.type = PHAssetResourceType::pairedVideo;
  Statement mark = database.prepare("UPDATE assets SET subtypes = subtypes | ? WHERE id = ?");
  return insertResource(database, photo, video) && mark.bind(kLive, photo).run();
}

bool joinStill(Database& database, std::int64_t video, const NewAsset& still,
               const NewResource& photo) {
  Statement demote =
      database.prepare("UPDATE resources SET type = 9, pos = ? WHERE asset = ? AND type = 2");
  if (!demote.bind(rankOf(9), video).run() || !removeTimeMap(database, video)) return false;
  const std::optional<std::string> burst = nonEmpty(still.probe.burstIdentifier);
  Statement update = database.prepare(
      "UPDATE assets SET media_type = ?, subtypes = ? | 8, width = ?, height = ?, duration = ?,"
      " created_ns = ?, modified_ns = ?, front_camera = ?, animated = ?, raw = ?,"
      " burst_primary = ?, burst_id = ?, content_id = coalesce(content_id, ?),"
      " source_folder = ? WHERE id = ?");
  bindProperties(update, still);
  const std::optional<std::string> content = nonEmpty(still.probe.contentIdentifier);
  update.bind(burst, content, still.sourceFolder, video);
  return update.run() && insertResource(database, video, photo);
}

bool settleBurst(Database& database, const std::string& burstIdentifier, BurstChoice choice) {
  struct Member {
    std::int64_t row;
    bool isPrimary;
    bool represents;
  };
  std::vector<Member> members;
  {
    Statement rows = database.prepare(
        "SELECT a.id, a.burst_primary, a.represents FROM assets AS a"
        " WHERE a.burst_id = ? AND a.trashed_ns IS NULL ORDER BY a.created_ns,"
        " (SELECT r.name FROM resources AS r WHERE r.asset = a.id ORDER BY r.pos LIMIT 1), a.id");
    rows.bind(burstIdentifier);
    while (rows.next()) {
      members.push_back({rows.integer(0), rows.integer(1) != 0, rows.integer(2) != 0});
    }
    if (rows.failed()) return false;
  }
  if (members.empty()) return true;
  const auto represents = [choice](const Member& member) {
    return choice == BurstChoice::keep && member.represents;
  };
  const auto isPrimary = [](const Member& member) { return member.isPrimary; };
  const auto present = std::find_if(members.begin(), members.end(), represents);
  const auto primary = std::find_if(members.begin(), members.end(), isPrimary);
  auto chosen = present;
  if (present == members.end() || (primary != members.end() && !present->isPrimary)) {
    chosen = primary != members.end() ? primary : members.begin();
  }
  if (chosen == present && present != members.end()) return true;
  Statement retire = database.prepare(
      "UPDATE assets SET represents = 0, burst_sel = burst_sel & ~1"
      " WHERE burst_id = ? AND represents = 1");
  Statement appoint =
      database.prepare("UPDATE assets SET represents = 1, burst_sel = burst_sel | 1 WHERE id = ?");
  return retire.bind(burstIdentifier).run() && appoint.bind(chosen->row).run();
}

bool isRepresented(Database& database, const std::string& burstIdentifier) {
  Statement find = database.prepare(
      "SELECT 1 FROM assets WHERE burst_id = ? AND represents = 1 AND trashed_ns IS NULL LIMIT 1");
  return find.bind(burstIdentifier).next();
}

std::optional<std::int64_t> findWaitingPhoto(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& movieName) {
  if (const auto found = findWaiting(database, kWaitingPhoto, contentIdentifier)) return found;
  if (lowerExtension(movieName) != "mov") return std::nullopt;
  const std::string stem = nameStem(movieName);
  for (const char* extension : {".heic", ".heif", ".jpg", ".jpeg"}) {
    const auto found =
        findWaiting(database, kWaitingPhoto, contentIdentifier, folder, stem + extension);
    if (found) return found;
  }
  return std::nullopt;
}

std::optional<std::int64_t> findWaitingVideo(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& photoName) {
  if (const auto found = findWaiting(database, kWaitingVideo, contentIdentifier)) return found;
  const std::string movieName = nameStem(photoName) + ".mov";
  if (!namesMakeAPair(photoName, movieName)) return std::nullopt;
  return findWaiting(database, kWaitingVideo, contentIdentifier, folder, movieName);
}

bool isWaitingPhoto(Database& database, std::int64_t asset) {
  Statement find = database.prepare(std::string("SELECT 1 ") + kWaitingPhoto + " AND a.id = ?");
  return find.bind(asset).next();
}

bool isWaitingVideo(Database& database, std::int64_t asset) {
  Statement find = database.prepare(std::string("SELECT 1 ") + kWaitingVideo + " AND a.id = ?");
  return find.bind(asset).next();
}

std::optional<std::int64_t> albumWithTitle(Database& database, const std::string& title) {
  {
    Statement find = database.prepare(
        "SELECT id FROM collections WHERE type = 1 AND subtype = 2 AND title = ?"
        " ORDER BY pos, id LIMIT 1");
    if (find.bind(title).next()) return find.integer(0);
    if (find.failed()) return std::nullopt;
  }
  return insertAlbum(database, newCollectionIdentifier(), title);
}

std::optional<std::int64_t> insertAlbum(Database& database, const std::string& identifier,
                                        const std::string& title) {
  Statement insert = database.prepare(
      "INSERT INTO collections(ident, type, subtype, title, pos) SELECT ?, 1, 2, ?,"
      " coalesce(max(pos) + 1, 0) FROM collections WHERE type = 1");
  if (!insert.bind(identifier, title).run()) return std::nullopt;
  return database.lastInsertedRow();
}

bool addToAlbum(Database& database, std::int64_t album, std::int64_t asset) {
  Statement insert = database.prepare(
      "INSERT OR IGNORE INTO members(collection, asset, pos) SELECT ?1, ?2,"
      " coalesce((SELECT max(pos) + 1 FROM members WHERE collection = ?1), 0)");
  return insert.bind(album, asset).run();
}

std::vector<KnownContent> findContent(Database& database, std::int64_t size,
                                      const std::string& hash) {
  Statement rows = database.prepare(
      "SELECT r.asset, r.type, r.path FROM resources AS r JOIN assets AS a ON a.id = r.asset"
      " WHERE r.size = ? AND r.hash = ? AND a.trashed_ns IS NULL ORDER BY r.asset, r.pos");
  rows.bind(size, Blob{hash});
  std::vector<KnownContent> found;
  while (rows.next()) {
    found.push_back({rows.integer(0), static_cast<PHAssetResourceType>(rows.integer(1)),
                     std::string(rows.text(2))});
  }
  return found;
}

}  // namespace quorvin
