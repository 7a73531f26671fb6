#include "platform_linux/library/catalogue/family_rows.h"

#include <algorithm>
#include <utility>

#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

// Part of version 6, which never changes.
constexpr const char* kFamilyTable = R"(
CREATE TABLE families(
  family INTEGER NOT NULL,
  asset INTEGER NOT NULL REFERENCES assets(id) ON DELETE CASCADE,
  PRIMARY KEY (family, asset)
) WITHOUT ROWID;
CREATE INDEX families_by_asset ON families(asset);
)";

constexpr auto kRelatedByFamily = sql("SELECT a.id FROM families AS f JOIN assets AS a ON a.id = "
                                      "f.asset WHERE f.family = ? AND ") +
                                  kPresentOrWaiting + " ORDER BY a.id";
constexpr auto kRelatedByContent = sql("SELECT a.id FROM assets AS a WHERE a.content_id = ? AND ") +
                                   kPresentOrWaiting + " ORDER BY a.id";

void append(Statement& rows, std::vector<std::int64_t>& found) {
  while (rows.next()) found.push_back(rows.integer(0));
}

MediaKind kindOf(std::int64_t mediaType) {
  return mediaType == 0 ? MediaKind::side : static_cast<MediaKind>(mediaType);
}

}  // namespace

bool makeFamilies(Database& database) {
  return database.execute(kFamilyTable) && fillFamilies(database);
}

bool fillFamilies(Database& database) {
  Statement rows = database.prepare(
      "SELECT a.id, a.source_folder, r.name FROM assets AS a JOIN resources AS r ON r.asset = a.id"
      " WHERE a.source_folder IS NOT NULL AND r.type IN (1, 2, 3, 4, 9)"
      " AND a.id NOT IN (SELECT asset FROM families)");
  std::vector<std::pair<std::int64_t, std::int64_t>> found;
  while (rows.next()) {
    const std::string family = familyOf(std::string(rows.text(2)));
    found.emplace_back(rows.integer(0), familyNumber(rows.integer(1), family));
  }
  if (rows.failed()) return false;
  return std::ranges::all_of(found, [&database](const auto& each) {
    return addFamilies(database, each.first, std::span(&each.second, 1));
  });
}

std::vector<std::int64_t> relatedAssets(Database& database, std::span<const std::int64_t> families,
                                        const std::string& contentIdentifier) {
  std::vector<std::int64_t> found;
  for (const std::int64_t family : families) {
    Statement rows = database.prepare(kRelatedByFamily);
    append(rows.bind(family), found);
  }
  if (!contentIdentifier.empty()) {
    Statement rows = database.prepare(kRelatedByContent);
    append(rows.bind(contentIdentifier), found);
  }
  return found;
}

std::vector<HeldResource> resourcesOf(Database& database, std::int64_t asset) {
  Statement rows = database.prepare(
      "SELECT r.type, r.name, r.uti, r.path, r.size, r.hash, r.orientation, a.ident, a.media_type,"
      " a.subtypes, a.width, a.height, a.duration, a.created_ns, a.modified_ns, a.added_ns,"
      " a.front_camera, a.animated, a.raw, a.burst_primary, a.burst_id, a.content_id,"
      " a.source_folder FROM resources AS r JOIN assets AS a ON a.id = r.asset"
      " WHERE r.asset = ? ORDER BY r.pos");
  rows.bind(asset);
  std::vector<HeldResource> held;
  while (rows.next()) {
    HeldResource each;
    each.resource = {.type = static_cast<PHAssetResourceType>(rows.integer(0)),
                     .name = std::string(rows.text(1)),
                     .uniformTypeIdentifier = std::string(rows.text(2)),
                     .path = std::string(rows.text(3)),
                     .size = rows.integer(4),
                     .hash = std::string(rows.blob(5)),
                     .orientation = static_cast<int>(rows.integer(6))};
    each.asset.identifier = std::string(rows.text(7));
    MediaProbe& probe = each.asset.probe;
    probe.kind = kindOf(rows.integer(8));
    probe.mediaSubtypes = static_cast<std::uint64_t>(rows.integer(9));
    probe.pixelWidth = rows.integer(10);
    probe.pixelHeight = rows.integer(11);
    probe.duration = rows.real(12);
    probe.creationDate = rows.optionalInteger(13);
    each.asset.modified = rows.integer(14);
    each.asset.added = rows.integer(15);
    probe.frontCamera = rows.integer(16) != 0;
    probe.animated = rows.integer(17) != 0;
    probe.raw = rows.integer(18) != 0;
    probe.burstPrimary = rows.integer(19) != 0;
    probe.burstIdentifier = rows.optionalText(20).value_or("");
    probe.contentIdentifier = rows.optionalText(21).value_or("");
    each.asset.sourceFolder = rows.optionalInteger(22);
    held.push_back(std::move(each));
  }
  return held;
}

std::vector<std::int64_t> familiesOf(Database& database, std::int64_t asset) {
  Statement rows = database.prepare("SELECT family FROM families WHERE asset = ?");
  std::vector<std::int64_t> found;
  append(rows.bind(asset), found);
  return found;
}

bool isOfFamily(Database& database, std::int64_t asset, std::span<const std::int64_t> families) {
  return std::ranges::any_of(families, [&](std::int64_t family) {
    Statement find = database.prepare("SELECT 1 FROM families WHERE family = ? AND asset = ?");
    return find.bind(family, asset).next();
  });
}

bool addFamilies(Database& database, std::int64_t asset, std::span<const std::int64_t> families) {
  return std::ranges::all_of(families, [&](std::int64_t family) {
    Statement insert =
        database.prepare("INSERT OR IGNORE INTO families(family, asset) VALUES (?, ?)");
    return insert.bind(family, asset).run();
  });
}

std::optional<std::int64_t> insertWaiting(Database& database, const NewAsset& asset) {
  constexpr auto kInsert =
      sql("INSERT INTO assets(ident, media_type, modified_ns, added_ns, source_folder, trashed_ns)"
          " VALUES (?, 0, ?, ?, ?, ") +
      kWaitingTime + ")";
  Statement insert = database.prepare(kInsert);
  insert.bind(asset.identifier, asset.modified, asset.added, asset.sourceFolder);
  if (!insert.run()) return std::nullopt;
  return database.lastInsertedRow();
}

bool hideWaiting(Database& database) {
  constexpr auto kHide = sql("UPDATE assets SET trashed_ns = ") + kWaitingTime +
                         " WHERE media_type = 0 AND trashed_ns IS NOT " + kWaitingTime +
                         " AND EXISTS (SELECT 1 FROM resources AS r WHERE r.asset = assets.id)"
                         " AND NOT EXISTS (SELECT 1 FROM resources AS r WHERE r.asset = assets.id"
                         " AND r.type <> " +
                         sqlNumber<PHAssetResourceType::adjustmentData>() + " AND r.type < " +
                         sqlNumber<kXmpFile>() + ")";
  return database.prepare(kHide).run();
}

bool setAside(Database& database, std::int64_t asset, const std::string& path,
              std::int64_t number) {
  Statement move = database.prepare("UPDATE resources SET asset = ?, pos = ? WHERE path = ?");
  return move.bind(asset, -1 - number, path).run();
}

bool hasResources(Database& database, std::int64_t asset) {
  Statement find = database.prepare("SELECT 1 FROM resources WHERE asset = ? LIMIT 1");
  return find.bind(asset).next();
}

bool mergeAsset(Database& database, std::int64_t from, std::int64_t into) {
  for (const char* statement :
       {"INSERT OR IGNORE INTO members(collection, asset, pos)"
        " SELECT collection, ?2, pos FROM members WHERE asset = ?1",
        "INSERT OR IGNORE INTO limited_selection(asset)"
        " SELECT ?2 FROM limited_selection WHERE asset = ?1",
        "INSERT OR IGNORE INTO families(family, asset)"
        " SELECT family, ?2 FROM families WHERE asset = ?1",
        "UPDATE assets SET favorite = max(favorite, (SELECT favorite FROM assets WHERE id = ?1)),"
        " hidden = max(hidden, (SELECT hidden FROM assets WHERE id = ?1)) WHERE id = ?2"}) {
    if (!database.prepare(statement).bind(from, into).run()) return false;
  }
  return database.prepare("DELETE FROM assets WHERE id = ?").bind(from).run();
}

bool markAsset(Database& database, std::int64_t row, const AssetMarks& marks) {
  if (marks.favorite || marks.hidden) {
    Statement mark = database.prepare(
        "UPDATE assets SET favorite = max(favorite, ?), hidden = max(hidden, ?) WHERE id = ?");
    if (!mark.bind(marks.favorite ? 1 : 0, marks.hidden ? 1 : 0, row).run()) return false;
  }
  if (!marks.burstSelection && !marks.represents) return true;
  Statement choose = database.prepare(
      "UPDATE assets SET burst_sel = coalesce(?, burst_sel), represents = coalesce(?, represents)"
      " WHERE id = ?");
  const auto number = [](const auto& value) {
    return value ? std::optional(static_cast<std::int64_t>(*value)) : std::nullopt;
  };
  return choose.bind(number(marks.burstSelection), number(marks.represents), row).run();
}

}  // namespace quorvin
