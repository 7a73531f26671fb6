#include "platform_linux/library/catalogue/source_rows.h"

#include "platform_linux/library/catalogue/resource_rows.h"

namespace quorvin {
namespace {

// Numbers of the system have 64 bits, too; which of them are negative here matters to nobody.
std::int64_t asInteger(std::uint64_t number) {
  return static_cast<std::int64_t>(number);
}

constexpr std::int64_t kSourcesAnOriginal = 4;

constexpr std::string_view kTable = R"(CREATE TABLE sources(
  device INTEGER NOT NULL,
  inode INTEGER NOT NULL,
  name BLOB NOT NULL,
  size INTEGER NOT NULL,
  modified_ns INTEGER NOT NULL,
  changed_ns INTEGER NOT NULL,
  asset INTEGER NOT NULL REFERENCES assets(id) ON DELETE CASCADE,
  hash BLOB NOT NULL,
  PRIMARY KEY (device, inode, name)
) WITHOUT ROWID)";
constexpr const char* kIndex = "CREATE INDEX sources_by_asset ON sources(asset)";

}  // namespace

std::optional<std::int64_t> findSource(Database& database, std::string_view name,
                                       const SourceState& state,
                                       const std::function<bool(std::string_view)>& isThere) {
  // The hash tells the few resources of the asset apart; to find it among all takes longer.
  Statement find = database.prepare(
      "SELECT a.id, r.path FROM sources AS s"
      " CROSS JOIN assets AS a ON a.id = s.asset"
      " CROSS JOIN resources AS r ON r.asset = a.id AND +r.size = s.size AND +r.hash = s.hash"
      " WHERE s.device = ? AND s.inode = ? AND s.name = ? AND s.size = ? AND s.modified_ns = ?"
      " AND s.changed_ns = ? AND a.trashed_ns IS NULL");
  find.bind(asInteger(state.device), asInteger(state.inode), Blob{name}, state.size, state.modified,
            state.changed);
  if (!find.next() || !isThere(find.text(1))) return std::nullopt;
  return find.integer(0);
}

bool noteSource(Database& database, std::string_view name, const SourceState& state,
                const std::string& path) {
  Statement forget =
      database.prepare("DELETE FROM sources WHERE device = ? AND inode = ? AND changed_ns <> ?");
  forget.bind(asInteger(state.device), asInteger(state.inode), state.changed);
  if (!forget.run()) return false;
  Statement note = database.prepare(
      "INSERT OR REPLACE INTO sources(device, inode, name, size, modified_ns, changed_ns, asset,"
      " hash) SELECT ?, ?, ?, ?, ?, ?, asset, hash FROM resources WHERE path = ?");
  note.bind(asInteger(state.device), asInteger(state.inode), Blob{name}, state.size, state.modified,
            state.changed, path);
  return note.run();
}

bool makeSourceTable(Database& database) {
  std::string kind;
  {
    Statement find =
        database.prepare("SELECT type, sql FROM sqlite_schema WHERE name = 'sources' LIMIT 1");
    if (find.next()) {
      if (find.text(1) == kTable) return true;
      kind = find.text(0);
    }
    if (find.failed()) return false;
  }
  if (!kind.empty() && !database.execute("DROP " + kind + " sources")) return false;
  return database.execute(std::string(kTable)) && database.execute(kIndex);
}

bool areTooManySources(Database& database, std::int64_t few) {
  const std::int64_t count = database.integer("SELECT count(*) FROM sources").value_or(0);
  return count > few && count / kSourcesAnOriginal > countOriginals(database);
}

bool dropSources(Database& database) {
  return database.execute("DROP TABLE IF EXISTS sources");
}

}  // namespace quorvin
