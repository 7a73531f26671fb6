#include "platform_linux/library/catalogue/pair_rows.h"

#include <string_view>

#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

// Assets that could still get their other half, with that half's counterpart as `r`.
constexpr auto kWaitingPhoto =
    sql("FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = ") + kPhotoResource +
    " WHERE a.media_type = " + kImageType +
    " AND a.trashed_ns IS NULL AND NOT EXISTS"
    " (SELECT 1 FROM resources AS v WHERE v.asset = a.id AND v.type = " +
    kPairedVideoResource + ")";
constexpr auto kWaitingVideo =
    sql("FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = ") + kVideoResource +
    " WHERE a.media_type = " + kVideoType +
    " AND a.trashed_ns IS NULL AND NOT EXISTS"
    " (SELECT 1 FROM resources AS v WHERE v.asset = a.id AND v.type <> " +
    kVideoResource + ")";

std::optional<std::int64_t> findWaiting(Database& database, std::string_view from,
                                        const std::string& contentIdentifier) {
  if (contentIdentifier.empty()) return std::nullopt;
  Statement find = database.prepare("SELECT a.id " + std::string(from) +
                                    " AND a.content_id = ? ORDER BY a.id LIMIT 1");
  if (!find.bind(contentIdentifier).next()) return std::nullopt;
  return find.integer(0);
}

std::optional<std::int64_t> findWaiting(Database& database, std::string_view from,
                                        const std::string& contentIdentifier, std::int64_t folder,
                                        const std::string& name) {
  Statement find = database.prepare(
      "SELECT a.id " + std::string(from) +
      " AND r.name = ?1 COLLATE NOCASE AND a.source_folder = ?2"
      " AND (?3 = '' OR a.content_id IS NULL OR a.content_id = ?3) ORDER BY a.id LIMIT 1");
  if (!find.bind(name, folder, contentIdentifier).next()) return std::nullopt;
  return find.integer(0);
}

}  // namespace

std::string contentIdentifierOf(Database& database, std::int64_t asset) {
  Statement row = database.prepare("SELECT content_id FROM assets WHERE id = ?");
  return row.bind(asset).next() ? row.optionalText(0).value_or("") : "";
}

std::optional<std::int64_t> findWaitingPhoto(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& movieName) {
  if (const auto found = findWaiting(database, kWaitingPhoto, contentIdentifier)) return found;
  if (lowerExtension(movieName) != kPairedMovieExtension) return std::nullopt;
  const std::string stem = nameStem(movieName) + ".";
  for (const std::string_view extension : kPairedStillExtensions) {
    const auto found = findWaiting(database, kWaitingPhoto, contentIdentifier, folder,
                                   stem + std::string(extension));
    if (found) return found;
  }
  return std::nullopt;
}

std::optional<std::int64_t> findWaitingVideo(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& photoName) {
  if (const auto found = findWaiting(database, kWaitingVideo, contentIdentifier)) return found;
  const std::string movieName = nameStem(photoName) + "." + std::string(kPairedMovieExtension);
  if (!namesMakeAPair(photoName, movieName)) return std::nullopt;
  return findWaiting(database, kWaitingVideo, contentIdentifier, folder, movieName);
}

bool isWaitingPhoto(Database& database, std::int64_t asset) {
  Statement find = database.prepare("SELECT 1 " + std::string(kWaitingPhoto) + " AND a.id = ?");
  return find.bind(asset).next();
}

bool isWaitingVideo(Database& database, std::int64_t asset) {
  Statement find = database.prepare("SELECT 1 " + std::string(kWaitingVideo) + " AND a.id = ?");
  return find.bind(asset).next();
}

}  // namespace quorvin
