#include "platform_linux/library/catalogue/time_maps.h"

#include <chrono>
#include <cstddef>

namespace quorvin {

bool insertTimeMap(Database& database, std::int64_t asset, const TimeMap& map) {
  if (map.empty()) return true;
  Statement insert = database.prepare(
      "INSERT INTO time_maps(asset, pos, source_start, source_duration, target_duration)"
      " VALUES (?, ?, ?, ?, ?)");
  for (std::size_t i = 0; i < map.size(); ++i) {
    insert.bind(asset, static_cast<std::int64_t>(i), map[i].sourceStart.count(),
                map[i].sourceDuration.count(), map[i].targetDuration.count());
    if (!insert.run()) return false;
    insert.rewind();
  }
  return true;
}

bool removeTimeMap(Database& database, std::int64_t asset) {
  return database.prepare("DELETE FROM time_maps WHERE asset = ?").bind(asset).run();
}

std::optional<TimeMap> findTimeMap(Database& database, const std::string& localIdentifier) {
  using std::chrono::nanoseconds;
  TimeMap map;
  Statement rows = database.prepare(
      "SELECT t.source_start, t.source_duration, t.target_duration FROM assets AS a "
      "JOIN time_maps AS t ON t.asset = a.id WHERE a.ident = ? ORDER BY t.pos");
  rows.bind(localIdentifier);
  while (rows.next()) {
    map.push_back(
        {nanoseconds(rows.integer(0)), nanoseconds(rows.integer(1)), nanoseconds(rows.integer(2))});
  }
  if (rows.failed()) return std::nullopt;
  return map;
}

}  // namespace quorvin
