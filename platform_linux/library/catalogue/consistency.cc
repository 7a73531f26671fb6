#include "platform_linux/library/catalogue/consistency.h"

#include <array>
#include <string_view>

#include "platform_linux/errors/presented.h"
#include "platform_linux/library/database/sql_text.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

constexpr auto kLiveWithoutVideo =
    sql("SELECT a.ident FROM assets AS a WHERE (a.subtypes & ") + kLiveBit +
    ") <> 0 AND NOT EXISTS (SELECT 1 FROM resources AS r WHERE r.asset = a.id AND r.type = " +
    kPairedVideoResource + ")";
constexpr auto kVideoWithoutLive =
    sql("SELECT a.ident FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = ") +
    kPairedVideoResource + " WHERE (a.subtypes & " + kLiveBit + ") = 0";
constexpr auto kMark =
    sql("UPDATE assets SET subtypes = subtypes | ") + kLiveBit + " WHERE ident = ?";
constexpr auto kUnmark =
    sql("UPDATE assets SET subtypes = subtypes & ~") + kLiveBit + " WHERE ident = ?";
constexpr auto kNoOriginal =
    sql("SELECT a.ident FROM assets AS a WHERE NOT EXISTS"
        " (SELECT 1 FROM resources AS r WHERE r.asset = a.id AND r.type <> ") +
    kPairedVideoResource + ")";

// What the triggers of the schema keep.
constexpr auto kVisible =
    sql("(burst_id IS NULL OR represents OR (burst_sel & ") + kUserPickBit + ") <> 0)";
constexpr auto kWronglyListed = sql("SELECT ident FROM assets WHERE visible <> ") + kVisible;
constexpr auto kSettleListings =
    sql("UPDATE assets SET visible = ") + kVisible + " WHERE visible <> " + kVisible;

struct TableOfReferences {
  std::string_view name;
  std::string_view dropDangling;
};
constexpr std::array<TableOfReferences, 5> kTables = {{
    {"resources", "DELETE FROM resources WHERE asset NOT IN (SELECT id FROM assets)"},
    {"members",
     "DELETE FROM members WHERE asset NOT IN (SELECT id FROM assets)"
     " OR collection NOT IN (SELECT id FROM collections)"},
    {"limited_selection",
     "DELETE FROM limited_selection WHERE asset NOT IN (SELECT id FROM assets)"},
    {"time_maps", "DELETE FROM time_maps WHERE asset NOT IN (SELECT id FROM assets)"},
    {"families", "DELETE FROM families WHERE asset NOT IN (SELECT id FROM assets)"},
}};

// The first column of every row.
Texts texts(Database& database, std::string_view statement) {
  Texts found;
  Statement rows = database.prepare(statement);
  while (rows.next()) found.emplace_back(rows.text(0));
  if (rows.failed()) {
    found.push_back(presented(database.lastError("it cannot be read")).description());
  }
  return found;
}

}  // namespace

Texts damageOf(Database& database) {
  Texts found = texts(database, "PRAGMA integrity_check(20)");
  if (found == Texts{"ok"}) found.clear();
  return found;
}

bool remakeIndexes(Database& database) {
  return database.execute("REINDEX");
}

std::map<std::string, int> danglingRows(Database& database) {
  std::map<std::string, int> dangling;
  for (const std::string& table : texts(database, "PRAGMA foreign_key_check")) ++dangling[table];
  return dangling;
}

bool dropDanglingRows(Database& database, const std::string& table) {
  for (const TableOfReferences& known : kTables) {
    if (known.name == table) return database.prepare(known.dropDangling).run();
  }
  return false;
}

Texts repeatedIdentifiers(Database& database) {
  // An index would give each only once.
  Texts repeated =
      texts(database, "SELECT ident FROM assets NOT INDEXED GROUP BY ident HAVING count(*) > 1");
  const Texts collections = texts(
      database, "SELECT ident FROM collections NOT INDEXED GROUP BY ident HAVING count(*) > 1");
  repeated.insert(repeated.end(), collections.begin(), collections.end());
  return repeated;
}

std::vector<WrongBurst> wrongBursts(Database& database) {
  std::vector<WrongBurst> wrong;
  Statement rows = database.prepare(
      "SELECT burst_id, sum(represents) FROM assets WHERE burst_id IS NOT NULL"
      " AND trashed_ns IS NULL GROUP BY burst_id HAVING sum(represents) <> 1");
  while (rows.next()) wrong.push_back({std::string(rows.text(0)), rows.integer(1)});
  return wrong;
}

Texts livePhotosWithoutVideo(Database& database) {
  return texts(database, kLiveWithoutVideo);
}

Texts videosWithoutLivePhoto(Database& database) {
  return texts(database, kVideoWithoutLive);
}

bool markAsLivePhoto(Database& database, const std::string& identifier, bool isLive) {
  Statement mark = database.prepare(isLive ? std::string_view(kMark) : kUnmark);
  return mark.bind(identifier).run();
}

Texts wronglyListed(Database& database) {
  return texts(database, kWronglyListed);
}

bool settleListings(Database& database) {
  return database.prepare(kSettleListings).run();
}

Texts assetsWithoutOriginal(Database& database) {
  return texts(database, kNoOriginal);
}

std::int64_t countAssets(Database& database) {
  return database.integer("SELECT count(*) FROM assets").value_or(0);
}

bool isAsset(Database& database, const std::string& identifier) {
  Statement find = database.prepare("SELECT 1 FROM assets WHERE ident = ?");
  return find.bind(identifier).next();
}

}  // namespace quorvin
