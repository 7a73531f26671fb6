#include "platform_linux/library/catalogue/journal.h"

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {
namespace {

// What the conditions of smart albums look at is packed into one number, for entries are many and
// each byte of them is written twice.
constexpr const char* kPacked =
    "OLD.favorite + OLD.hidden * 2 + OLD.visible * 4 + OLD.front_camera * 8 + OLD.animated * 16"
    " + OLD.raw * 32 + (OLD.burst_id IS NOT NULL) * 64 + OLD.media_type * 256"
    " + OLD.subtypes * 65536";

constexpr const char* kTable = R"(
CREATE TABLE journal(
  id INTEGER PRIMARY KEY,
  kind INTEGER NOT NULL,
  subject INTEGER NOT NULL,
  ident TEXT,
  was INTEGER
);

CREATE TRIGGER journal_asset_made AFTER INSERT ON assets WHEN NEW.trashed_ns IS NULL
BEGIN
  INSERT INTO journal(kind, subject) VALUES (1, NEW.id);
END;
CREATE TRIGGER journal_selected AFTER INSERT ON limited_selection
BEGIN
  INSERT INTO journal(kind, subject) VALUES (5, NEW.asset);
END;
CREATE TRIGGER journal_deselected AFTER DELETE ON limited_selection
WHEN EXISTS (SELECT 1 FROM assets WHERE id = OLD.asset)
BEGIN
  INSERT INTO journal(kind, subject) VALUES (6, OLD.asset);
END;

CREATE TRIGGER journal_collection_made AFTER INSERT ON collections
BEGIN
  INSERT INTO journal(kind, subject) VALUES (7, NEW.id);
END;
CREATE TRIGGER journal_collection_named AFTER UPDATE OF title ON collections
WHEN NEW.title IS NOT OLD.title
BEGIN
  INSERT INTO journal(kind, subject) VALUES (7, NEW.id);
END;
CREATE TRIGGER journal_collection_dropped AFTER DELETE ON collections
BEGIN
  INSERT INTO journal(kind, subject, ident, was) VALUES (8, OLD.id, OLD.ident, OLD.type);
END;
CREATE TRIGGER journal_member_added AFTER INSERT ON members
BEGIN
  INSERT INTO journal(kind, subject) VALUES (7, NEW.collection);
END;
CREATE TRIGGER journal_member_removed AFTER DELETE ON members
WHEN EXISTS (SELECT 1 FROM assets WHERE id = OLD.asset AND trashed_ns IS NULL)
BEGIN
  INSERT INTO journal(kind, subject) VALUES (7, OLD.collection);
END;
)";

// What a record shows, and what decides who sees it.
std::string changeTrigger() {
  const std::string columns[] = {"media_type", "subtypes",     "width",       "height",
                                 "duration",   "created_ns",   "modified_ns", "favorite",
                                 "hidden",     "burst_id",     "burst_sel",   "represents",
                                 "visible",    "front_camera", "animated",    "raw"};
  std::string names;
  std::string before;
  std::string after;
  for (const std::string& column : columns) {
    const char* joint = names.empty() ? "" : ", ";
    names.append(joint).append(column);
    before.append(joint).append("OLD.").append(column);
    after.append(joint).append("NEW.").append(column);
  }
  return "CREATE TRIGGER journal_asset_changed AFTER UPDATE OF " + names +
         " ON assets WHEN NEW.trashed_ns IS NULL AND OLD.trashed_ns IS NULL AND (" + before +
         ") IS NOT (" + after +
         ") BEGIN INSERT INTO journal(kind, subject, was) VALUES (4, NEW.id, " + kPacked +
         "); END;";
}

// The members of an asset that was deleted before had changed then. What it was is still asked for
// when the row goes soon after.
std::string dropTrigger() {
  return std::string(
             "CREATE TRIGGER journal_asset_dropped BEFORE DELETE ON assets BEGIN"
             " INSERT INTO journal(kind, subject) SELECT 7, collection FROM members"
             " WHERE asset = OLD.id AND OLD.trashed_ns IS NULL;"
             " INSERT INTO journal(kind, subject, ident, was) VALUES (3, OLD.id, OLD.ident, ") +
         kPacked +
         " + (OLD.trashed_ns IS NULL) * 1024"
         " + EXISTS (SELECT 1 FROM limited_selection WHERE asset = OLD.id) * 2048); END;";
}

}  // namespace

bool makeJournal(Database& database) {
  return database.execute(kTable) && database.execute(changeTrigger()) &&
         database.execute(dropTrigger());
}

bool journalAssets(Database& database, JournalKind kind, const std::string& rows) {
  Statement note = database.prepare(
      "INSERT INTO journal(kind, subject) SELECT ?, id FROM assets"
      " WHERE id IN (SELECT value FROM json_each(?)) AND (trashed_ns IS NULL) = ?");
  const bool isGoing = kind == JournalKind::assetWent;
  return note.bind(static_cast<std::int64_t>(kind), rows, isGoing ? 1 : 0).run();
}

std::optional<std::int64_t> lastJournalEntry(Database& database) {
  return database.integer("SELECT coalesce(max(id), 0) FROM journal");
}

bool trimJournal(Database& database) {
  return database.prepare("DELETE FROM journal WHERE id <= (SELECT max(id) FROM journal) - ?")
      .bind(kJournalLength)
      .run();
}

std::string_view columnsOfWhatAssetWas() {
  return "was >> 16 AS subtypes, was >> 8 & 3 AS media_type, was & 1 AS favorite,"
         " was >> 1 & 1 AS hidden, was >> 2 & 1 AS visible, was >> 3 & 1 AS front_camera,"
         " was >> 4 & 1 AS animated, was >> 5 & 1 AS raw,"
         " CASE WHEN was & 64 THEN 1 END AS burst_id, was >> 10 & 1 AS present,"
         " was >> 11 & 1 AS selected";
}

}  // namespace quorvin
