#include "platform_linux/library/catalogue/shown_files.h"

#include "platform_linux/library/database/sql_text.h"

namespace quorvin {
namespace {

constexpr std::int64_t kAtOnce = 256;

constexpr auto kWithPictures =
    sql(" FROM assets AS a WHERE a.trashed_ns IS NULL AND a.media_type IN (1, 2)"
        " AND max(a.width, a.height) >= ?");

}  // namespace

std::optional<std::vector<ShownFile>> shownFiles(Database& database, std::int64_t before,
                                                 std::int64_t after, std::int64_t leastSide) {
  // The edited photo (5) or video (6) comes before the original (1, 2).
  constexpr auto kFiles =
      sql("SELECT a.id, a.media_type = 2, a.width, a.height, (SELECT path FROM resources AS r"
          " WHERE r.asset = a.id AND r.type IN (1, 2, 5, 6) ORDER BY r.type DESC LIMIT 1)") +
      kWithPictures + sql(" AND a.id < ? AND a.id > ? ORDER BY a.id DESC LIMIT ?");
  Statement rows = database.prepare(kFiles);
  rows.bind(leastSide, before, after, kAtOnce);
  std::vector<ShownFile> files;
  while (rows.next()) {
    files.push_back({rows.integer(0), rows.integer(1) != 0, rows.integer(2), rows.integer(3),
                     std::string(rows.text(4))});
  }
  if (rows.failed()) return std::nullopt;
  return files;
}

std::optional<std::int64_t> countShownFiles(Database& database, std::int64_t after,
                                            std::int64_t leastSide) {
  constexpr auto kCount = sql("SELECT count(*)") + kWithPictures + sql(" AND a.id > ?");
  Statement count = database.prepare(kCount);
  if (!count.bind(leastSide, after).next()) return std::nullopt;
  return count.integer(0);
}

std::int64_t lastAsset(Database& database) {
  return database.integer("SELECT max(id) FROM assets").value_or(0);
}

std::vector<std::string> trashedFiles(Database& database) {
  Statement rows = database.prepare(
      "SELECT r.path FROM resources AS r JOIN assets AS a ON a.id = r.asset"
      " WHERE a.trashed_ns IS NOT NULL");
  std::vector<std::string> paths;
  while (rows.next()) paths.emplace_back(rows.text(0));
  return paths;
}

}  // namespace quorvin
