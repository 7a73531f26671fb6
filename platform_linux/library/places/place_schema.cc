// Triggers fire in no order that is promised, and one of them changes `visible` after the rest was
// written. So what a row was is taken from OLD, and what it is from the table as it stands:
// whichever comes first, the last one leaves what is right.
#include "platform_linux/library/places/place_schema.h"

#include <array>
#include <string>
#include <string_view>

#include "platform_linux/library/places/place_counts.h"

namespace quorvin {
namespace {

// Types come before keys, so that a page of a rare type is read without the others; a page of more
// types is merged.
constexpr const char* kTables = R"(
CREATE TABLE places(
  listing INTEGER NOT NULL,
  media_type INTEGER NOT NULL,
  key INTEGER NOT NULL,
  asset INTEGER NOT NULL,
  PRIMARY KEY (listing, media_type, key, asset)
) WITHOUT ROWID;

CREATE TABLE place_counts(
  level INTEGER NOT NULL,
  listing INTEGER NOT NULL,
  first_key INTEGER NOT NULL,
  first_asset INTEGER NOT NULL,
  others INTEGER NOT NULL DEFAULT 0,
  images INTEGER NOT NULL DEFAULT 0,
  videos INTEGER NOT NULL DEFAULT 0,
  sounds INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (level, listing, first_key, first_asset)
) WITHOUT ROWID;
)";

constexpr std::string_view kLowest = "-9223372036854775808";

struct Rule {
  int subtype;
  std::string_view column;
  std::string_view condition;  // on the column
};
// The user library first. `smart_albums.h` says the same for the present version; this stays as it
// is. The album of hidden assets lists nothing.
constexpr std::array<Rule, 14> kRules = {{
    {209, "id", " IS NOT NULL"},
    {203, "favorite", " = 1"},
    {202, "media_type", " = 2"},
    {210, "front_camera", " = 1"},
    {213, "subtypes", " & 8 <> 0"},
    {201, "subtypes", " & 1 <> 0"},
    {204, "subtypes", " & 262144 <> 0"},
    {208, "subtypes", " & 131072 <> 0"},
    {207, "burst_id", " IS NOT NULL"},
    {211, "subtypes", " & 4 <> 0"},
    {212, "subtypes", " & 16 <> 0"},
    {220, "subtypes", " & 524288 <> 0"},
    {214, "animated", " = 1"},
    {217, "raw", " = 1"},
}};

std::string textOf(std::string_view pattern, const std::string& place, std::string_view value) {
  std::string text(pattern);
  for (auto at = text.find(place); at != std::string::npos;
       at = text.find(place, at + value.size())) {
    text.replace(at, place.size(), value);
  }
  return text;
}

// "OLD" or "NEW", or the name of a table, in a condition or key.
std::string listed(std::string_view row) {
  return textOf("@.trashed_ns IS NULL AND @.hidden = 0 AND @.visible = 1", "@", row);
}
std::string dateKey(std::string_view row) {
  return textOf("coalesce(@.created_ns, -9223372036854775808)", "@", row);
}
std::string member(const Rule& rule, std::string_view row) {
  return std::string(row) + "." + std::string(rule.column) + std::string(rule.condition);
}

// Smart albums and orders; whether what `row` stands for belongs to one; and its key there. No text
// may be longer than a page: a repair moves those of the schema.
std::string smartListings() {
  std::string text;
  for (const Rule& rule : kRules) {
    text += (text.empty() ? "(VALUES (" : ", (") + std::to_string(rule.subtype) + ")";
  }
  return text + ") AS r CROSS JOIN (VALUES (0), (1)) AS o";
}
std::string isInSmartListing(std::string_view row) {
  std::string text = "CASE r.column1";
  for (const Rule& rule : kRules) {
    text += " WHEN " + std::to_string(rule.subtype) + " THEN " + member(rule, row);
  }
  return text + " END";
}
std::string placeInSmartListing(std::string_view row) {
  return textOf("o.column1 - 2 * r.column1, @.media_type, iif(o.column1, ", "@", row) +
         dateKey(row) + textOf(", @.id), @.id", "@", row);
}

// What the asset's row was goes from the listings.
std::string removal() {
  const std::string removed = "DELETE FROM places WHERE " + listed("OLD") +
                              " AND (listing, media_type, key, asset) IN (SELECT ";
  std::string text = removed + placeInSmartListing("OLD") + " FROM " + smartListings() + " WHERE " +
                     isInSmartListing("OLD") + ");\n";
  for (const bool byDate : {false, true}) {
    text += removed + "collection * 2" +
            (byDate ? " + 1, OLD.media_type, " + dateKey("OLD") : ", OLD.media_type, pos") +
            ", OLD.id FROM members WHERE asset = OLD.id);\n";
  }
  return text;
}

// What it is now comes into them.
std::string addition() {
  const std::string isPossible = " WHERE NEW.trashed_ns IS NULL AND NEW.hidden = 0 AND ";
  const std::string isListed = listed("a") + " ON CONFLICT DO NOTHING;\n";
  std::string text = "INSERT INTO places SELECT " + placeInSmartListing("a") + " FROM " +
                     smartListings() + " CROSS JOIN assets AS a" + isPossible +
                     isInSmartListing("NEW") + " AND a.id = NEW.id AND " + isListed;
  for (const bool byDate : {false, true}) {
    text += std::string("INSERT INTO places SELECT m.collection * 2") +
            (byDate ? " + 1, a.media_type, " + dateKey("a") : ", a.media_type, m.pos") +
            ", a.id FROM members AS m CROSS JOIN assets AS a ON a.id = m.asset" + isPossible +
            "m.asset = NEW.id AND " + isListed;
  }
  return text;
}

std::string assetTriggers() {
  const std::string_view columns =
      "@id, @media_type, @subtypes, @created_ns, @favorite, @hidden, @visible, @trashed_ns,"
      " @front_camera, @animated, @raw, @burst_id";
  std::string text =
      "CREATE TRIGGER places_of_new_asset AFTER INSERT ON assets BEGIN\n" + addition() + "END;\n";
  text += "CREATE TRIGGER places_of_changed_asset AFTER UPDATE OF " + textOf(columns, "@", "") +
          " ON assets WHEN (" + textOf(columns, "@", "OLD.") + ") IS NOT (" +
          textOf(columns, "@", "NEW.") + ") BEGIN\n" + removal() + addition() + "END;\n";
  // Before, for members go with their asset.
  text += "CREATE TRIGGER places_of_gone_asset BEFORE DELETE ON assets WHEN " + listed("OLD") +
          " BEGIN\n" + removal() + "END;\n";
  return text;
}

// A listing's counts begin with its first member.
std::string memberTriggers() {
  const std::string beginning =
      "INSERT INTO place_counts(level, listing, first_key, first_asset)"
      " SELECT column1, NEW.collection * 2 + column2, @, @"
      " FROM (VALUES (0, 0), (0, 1), (1, 0), (1, 1), (2, 0), (2, 1)) WHERE NOT EXISTS"
      " (SELECT 1 FROM place_counts WHERE level = 2 AND listing = NEW.collection * 2);\n";
  std::string arrival = textOf(beginning, "@", kLowest);
  std::string departure;
  for (const bool byDate : {false, true}) {
    const std::string order =
        byDate ? " + 1, a.media_type, " + dateKey("a") : ", a.media_type, @.pos";
    const std::string row = "SELECT @.collection * 2" + order +
                            ", a.id FROM assets AS a WHERE a.id = @.asset AND " + listed("a");
    arrival += "INSERT INTO places " + textOf(row, "@", "NEW") + " ON CONFLICT DO NOTHING;\n";
    departure += "DELETE FROM places WHERE (listing, media_type, key, asset) IN (" +
                 textOf(row, "@", "OLD") + ");\n";
  }
  const std::string begin = " ON members BEGIN\n";
  return "CREATE TRIGGER places_of_new_member AFTER INSERT" + begin + arrival +
         "END;\nCREATE TRIGGER places_of_moved_member AFTER UPDATE OF collection, asset, pos" +
         begin + departure + arrival + "END;\nCREATE TRIGGER places_of_gone_member AFTER DELETE" +
         begin + departure + "END;\n";
}

std::string countTrigger(const char* name, const char* event, std::string_view row,
                         std::string_view sign) {
  std::string change = "UPDATE place_counts SET";
  constexpr std::array<const char*, 4> kColumns = {"others", "images", "videos", "sounds"};
  for (std::size_t type = 0; type < kColumns.size(); ++type) {
    change += textOf(type == 0 ? " # = # $" : ", # = # $", "#", kColumns[type]) +
              " (@.media_type = " + std::to_string(type) + ")";
  }
  std::string body;
  for (const char* level : {"0", "1"}) {
    body += textOf(change +
                       " WHERE level = % AND listing = @.listing AND (first_key, first_asset) ="
                       " (SELECT first_key, first_asset FROM place_counts WHERE level = % AND"
                       " listing = @.listing AND (first_key, first_asset) <= (@.key, @.asset)"
                       " ORDER BY first_key DESC, first_asset DESC LIMIT 1);\n",
                   "%", level);
  }
  body += change + " WHERE level = 2 AND listing = @.listing;\n";
  body = textOf(textOf(body, "@", row), "$", sign);
  return std::string("CREATE TRIGGER ") + name + " AFTER " + event + " ON places BEGIN\n" + body +
         "END;\n";
}

std::string countTriggers() {
  return countTrigger("place_taken", "INSERT", "NEW", "+") +
         countTrigger("place_left", "DELETE", "OLD", "-");
}

std::string formerIndexes() {
  std::string text;
  for (const char* name : {"by_addition", "by_date", "by_type", "203", "210", "213", "201", "204",
                           "208", "207", "211", "212", "220", "214", "217"}) {
    text += std::string("DROP INDEX IF EXISTS listed_") + name + ";\n";
  }
  return text;
}

// In order of addition: the user library alone, as a row of it is a row of each asset, and then the
// smart albums, each asset of which is looked at once.
bool fillInOrderOfAddition(Database& database) {
  std::string flags;
  for (std::size_t i = 1; i < kRules.size(); ++i) {
    flags += (i == 1 ? "((a." : " | ((a.") + std::string(kRules[i].column) +
             std::string(kRules[i].condition) + ") << " + std::to_string(i) + ")";
  }
  if (!database.execute("INSERT INTO places SELECT -418, a.media_type, a.id, a.id"
                        " FROM assets AS a WHERE " +
                        listed("a"))) {
    return false;
  }
  Statement insert = database.prepare("INSERT INTO places VALUES (?1, ?2, ?3, ?3)");
  Statement rows =
      database.prepare("SELECT a.id, a.media_type, " + flags + " AS flags FROM assets AS a WHERE " +
                       listed("a") + " AND flags <> 0");
  while (rows.next()) {
    for (std::size_t i = 1; i < kRules.size(); ++i) {
      if ((rows.integer(2) >> i & 1) == 0) continue;
      insert.rewind();
      if (!insert.bind(-2 * kRules[i].subtype, rows.integer(1), rows.integer(0)).run())
        return false;
    }
  }
  return !rows.failed();
}

bool fillByDate(Database& database) {
  const std::string order = "SELECT ?1 + 1, a.media_type, " + dateKey("a") + " AS date, a.id FROM ";
  Statement smart =
      database.prepare("INSERT INTO places " + order +
                       "places AS p CROSS JOIN assets AS a ON a.id = p.asset WHERE p.listing = ?1"
                       " ORDER BY a.media_type, date, a.id");
  for (const Rule& rule : kRules) {
    smart.rewind();
    if (!smart.bind(-2 * rule.subtype).run()) return false;
  }
  return true;
}

bool fillAlbums(Database& database) {
  const std::string members =
      " FROM members AS m INDEXED BY members_by_position CROSS JOIN assets AS a ON a.id = m.asset"
      " WHERE " +
      listed("a");
  if (!database.execute("INSERT INTO places SELECT m.collection * 2, a.media_type, m.pos, a.id" +
                        members)) {
    return false;
  }
  Statement byDate = database.prepare("INSERT INTO places SELECT ?1 * 2 + 1, a.media_type, " +
                                      dateKey("a") + " AS date, a.id" + members +
                                      " AND m.collection = ?1 ORDER BY a.media_type, date, a.id");
  Statement albums = database.prepare("SELECT DISTINCT collection FROM members");
  while (albums.next()) {
    byDate.rewind();
    if (!byDate.bind(albums.integer(0)).run()) return false;
  }
  return !albums.failed();
}

// Each listing as one stretch, which is then divided.
bool fillCounts(Database& database) {
  std::string known;
  for (const Rule& rule : kRules) {
    known += (known.empty() ? "(" : ", (") + std::to_string(-2 * rule.subtype) + ")";
  }
  const std::string lowest = ", " + std::string(kLowest) + ", " + std::string(kLowest);
  return database.execute(
             "INSERT INTO place_counts SELECT 2, listing" + lowest +
             ", sum(media_type = 0), sum(media_type = 1), sum(media_type = 2),"
             " sum(media_type = 3) FROM places GROUP BY listing;\n"
             "INSERT INTO place_counts(level, listing, first_key, first_asset)"
             " SELECT 2, column1 + d.n" +
             lowest + " FROM (VALUES " + known +
             " UNION ALL SELECT DISTINCT collection * 2 FROM members),"
             " (SELECT 0 AS n UNION ALL SELECT 1) AS d WHERE true ON CONFLICT DO NOTHING;\n"
             "INSERT INTO place_counts SELECT d.n, listing, first_key, first_asset, others, images,"
             " videos, sounds FROM place_counts, (SELECT 0 AS n UNION ALL SELECT 1) AS d"
             " WHERE level = 2") &&
         settleCounts(database);
}

}  // namespace

bool makePlaces(Database& database) {
  return rebuildPlaces(database) && database.execute(assetTriggers()) &&
         database.execute(memberTriggers()) && database.execute(formerIndexes());
}

bool rebuildPlaces(Database& database) {
  return database.execute("DROP TABLE IF EXISTS places; DROP TABLE IF EXISTS place_counts") &&
         database.execute(kTables) && database.execute(indexesOfCounts()) &&
         fillInOrderOfAddition(database) && fillByDate(database) && fillAlbums(database) &&
         fillCounts(database) && database.execute(countTriggers());
}

}  // namespace quorvin
