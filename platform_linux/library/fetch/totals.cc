#include "platform_linux/library/fetch/totals.h"

#include <algorithm>
#include <string_view>

#include "core/platform/photo_library.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/values/asset_date.h"

namespace quorvin {
namespace {

constexpr auto kByType =
    sql("SELECT media_type, count(*), total(") + kHasSubtype<PHAssetMediaSubtype::photoLive> +
    "), total(hidden), total(favorite), min(created_ns), max(created_ns) FROM assets"
    " WHERE trashed_ns IS NULL GROUP BY media_type";

void countByType(Database& database, CatalogueTotals& totals) {
  Statement types = database.prepare(kByType);
  std::optional<std::int64_t> oldest;
  std::optional<std::int64_t> newest;
  while (types.next()) {
    const auto count = types.integer(1);
    switch (static_cast<PHAssetMediaType>(types.integer(0))) {
      case PHAssetMediaType::image:
        totals.photos = count;
        totals.livePhotos = types.integer(2);
        break;
      case PHAssetMediaType::video:
        totals.videos = count;
        break;
      case PHAssetMediaType::audio:
        totals.audio = count;
        break;
      case PHAssetMediaType::unknown:
        totals.others = count;
        break;
    }
    totals.hidden += types.integer(3);
    totals.favorites += types.integer(4);
    if (types.isNull(5)) continue;
    oldest = std::min(oldest.value_or(types.integer(5)), types.integer(5));
    newest = std::max(newest.value_or(types.integer(6)), types.integer(6));
  }
  if (oldest) totals.oldest = dateFromNanoseconds(*oldest);
  if (newest) totals.newest = dateFromNanoseconds(*newest);
}

std::int64_t number(Database& database, std::string_view sql) {
  return database.integer(sql).value_or(0);
}

}  // namespace

std::optional<CatalogueTotals> readTotals(Database& database) {
  CatalogueTotals totals;
  countByType(database, totals);
  totals.bursts = number(database,
                         "SELECT count(DISTINCT burst_id) FROM assets"
                         " WHERE burst_id IS NOT NULL AND trashed_ns IS NULL");
  constexpr auto kDeleted = sql("SELECT count(*) FROM assets WHERE trashed_ns < ") + kWaitingTime;
  totals.deleted = number(database, kDeleted);
  totals.originalFiles = countOriginals(database);
  totals.originalBytes = number(database, "SELECT coalesce(sum(size), 0) FROM resources");
  if (database.hasMetDamage()) return std::nullopt;
  return totals;
}

}  // namespace quorvin
