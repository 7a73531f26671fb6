#include "platform_linux/library/catalogue/trash_rows.h"

#include <algorithm>
#include <limits>
#include <set>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/places/place_moves.h"
#include "platform_linux/library/values/asset_date.h"

namespace quorvin {
namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t kDay = std::chrono::nanoseconds(std::chrono::days(1)).count();
constexpr std::int64_t kFarthestJump = 7 * kDay;
// Side files that wait count as deleted later than that.
constexpr std::int64_t kLatestDeletion = std::numeric_limits<std::int64_t>::max() - 1;

std::set<std::string> burstsAmong(Database& database, const std::string& rows) {
  Statement find = database.prepare(
      "SELECT DISTINCT burst_id FROM assets WHERE id IN (SELECT value FROM json_each(?))"
      " AND burst_id IS NOT NULL");
  find.bind(rows);
  std::set<std::string> bursts;
  while (find.next()) bursts.emplace(find.text(0));
  return bursts;
}

bool settleBursts(Database& database, const std::set<std::string>& bursts) {
  for (const std::string& burst : bursts) {
    if (!settleBurst(database, burst, BurstChoice::keep)) return false;
  }
  return true;
}

// Of so many at once the places are seen to together; of fewer triggers do.
bool areMany(const std::string& rows) {
  constexpr std::ptrdiff_t kMany = 100;
  return std::ranges::count(rows, ',') >= kMany;
}

/// No trigger fires while it lives.
class WithoutTriggers {
 public:
  explicit WithoutTriggers(Database& database) : database_(database) {
    database_.setTriggers(false);
  }
  ~WithoutTriggers() { database_.setTriggers(true); }
  WithoutTriggers(const WithoutTriggers&) = delete;
  WithoutTriggers& operator=(const WithoutTriggers&) = delete;

 private:
  Database& database_;
};

// A clock that was put back would make the term end too early.
std::int64_t timeOfDeletion(Database& database) {
  const auto clock = trashClock(database);
  return std::max(presentTime(), clock ? clock->latest : 0);
}

}  // namespace

std::int64_t presentTime() {
  return std::chrono::duration_cast<nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool trashAssets(Database& database, const std::string& rows) {
  const std::set<std::string> bursts = burstsAmong(database, rows);
  const auto trash = [&database, &rows] {
    return journalAssets(database, JournalKind::assetWent, rows) &&
           database
               .prepare(
                   "UPDATE assets SET trashed_ns = ? WHERE id IN (SELECT value FROM json_each(?))"
                   " AND trashed_ns IS NULL")
               .bind(timeOfDeletion(database), rows)
               .run();
  };
  const auto trashAtOnce = [&database, &rows, &trash] {
    const WithoutTriggers quiet(database);
    return removePlaces(database, rows) && trash();
  };
  return (areMany(rows) ? trashAtOnce() : trash()) && settleBursts(database, bursts);
}

Done restoreAssets(Database& database, std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  for (const std::string& identifier : identifiers) {
    Statement find = database.prepare("SELECT id FROM assets WHERE ident = ? AND trashed_ns <= ?");
    if (!find.bind(identifier, kLatestDeletion).next()) {
      return Failure(LibraryErrorCode::identifierNotFound,
                     "the asset “" + identifier + "” is not in the trash.");
    }
    rows.push_back(find.integer(0));
  }
  const std::string list = listOfRows(rows);
  const auto restore = [&database, &list] {
    return journalAssets(database, JournalKind::assetCame, list) &&
           database
               .prepare(
                   "UPDATE assets SET trashed_ns = NULL WHERE id IN"
                   " (SELECT value FROM json_each(?))")
               .bind(list)
               .run();
  };
  const auto restoreAtOnce = [&database, &list, &restore] {
    const WithoutTriggers quiet(database);
    return restore() && addPlaces(database, list);
  };
  if ((areMany(list) ? restoreAtOnce() : restore()) &&
      settleBursts(database, burstsAmong(database, list))) {
    return Null{};
  }
  return database.lastError("the assets cannot be restored");
}

std::optional<std::vector<TrashedAsset>> trashedAssets(Database& database) {
  constexpr std::int64_t kStay = nanoseconds(kDaysInTrash).count();
  constexpr auto kRows =
      sql("SELECT a.ident, a.media_type, a.trashed_ns,"
          " coalesce((SELECT r.name FROM resources AS r WHERE r.asset = a.id ORDER BY r.pos LIMIT "
          "1),"
          " ''), (SELECT coalesce(sum(r.size), 0) FROM resources AS r WHERE r.asset = a.id)"
          " FROM assets AS a WHERE a.trashed_ns < ") +
      kWaitingTime + " ORDER BY a.trashed_ns DESC, a.id";
  Statement rows = database.prepare(kRows);
  std::vector<TrashedAsset> assets;
  while (rows.next()) {
    assets.push_back({.localIdentifier = std::string(rows.text(0)),
                      .originalFilename = std::string(rows.text(3)),
                      .mediaType = static_cast<PHAssetMediaType>(rows.integer(1)),
                      .bytes = rows.integer(4),
                      .deleted = dateFromNanoseconds(rows.integer(2)),
                      .goneAfter = dateFromNanoseconds(rows.integer(2) + kStay)});
  }
  if (rows.failed()) return std::nullopt;
  return assets;
}

bool isAnyTrashed(Database& database, std::int64_t until) {
  Statement find = database.prepare("SELECT 1 FROM assets WHERE trashed_ns <= ? LIMIT 1");
  return find.bind(std::min(until, kLatestDeletion)).next();
}

std::optional<DoomedAssets> doomedAssets(Database& database, std::int64_t until,
                                         std::size_t atMost) {
  DoomedAssets doomed;
  Statement assets =
      database.prepare("SELECT id FROM assets WHERE trashed_ns <= ? ORDER BY trashed_ns LIMIT ?");
  assets.bind(std::min(until, kLatestDeletion), static_cast<std::int64_t>(atMost));
  while (assets.next()) doomed.rows.push_back(assets.integer(0));
  const std::string list = listOfRows(doomed.rows);
  Statement files = database.prepare(
      "SELECT path, size FROM resources WHERE asset IN (SELECT value FROM json_each(?))");
  files.bind(list);
  while (files.next()) {
    doomed.originals.emplace_back(files.text(0));
    doomed.bytes += files.integer(1);
  }
  if (assets.failed() || files.failed()) return std::nullopt;
  return doomed;
}

bool dropAssets(Database& database, const DoomedAssets& doomed) {
  const std::string list = listOfRows(doomed.rows);
  Statement drop =
      database.prepare("DELETE FROM assets WHERE id IN (SELECT value FROM json_each(?))");
  return drop.bind(list).run();
}

std::optional<TrashClock> trashClock(Database& database) {
  Statement find = database.prepare(
      "SELECT (SELECT value FROM meta WHERE key = 'latest_time'),"
      " (SELECT value FROM meta WHERE key = 'doubted_time')");
  if (!find.next()) return std::nullopt;
  return TrashClock{find.optionalInteger(0).value_or(0), find.optionalInteger(1).value_or(0)};
}

bool storeTrashClock(Database& database, const TrashClock& clock) {
  Statement store = database.prepare(
      "INSERT INTO meta(key, value) VALUES ('latest_time', ?), ('doubted_time', ?)"
      " ON CONFLICT (key) DO UPDATE SET value = excluded.value");
  return store.bind(clock.latest, clock.doubted).run();
}

TrashClock lookedAt(const TrashClock& before, std::int64_t now) {
  if (now - kFarthestJump <= before.latest) {
    // To write it down once a day is enough.
    const bool isNewDay = now - before.latest >= kDay;
    return {isNewDay ? now : before.latest, 0};
  }
  if (before.doubted == 0 || now < before.doubted) return {before.latest, now};
  return now - before.doubted >= kDay ? TrashClock{now, 0} : before;
}

}  // namespace quorvin
