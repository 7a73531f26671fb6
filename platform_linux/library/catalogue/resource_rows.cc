#include "platform_linux/library/catalogue/resource_rows.h"

namespace quorvin {
namespace {

constexpr std::int64_t kOriginalsAtOnce = 500;

}  // namespace

std::vector<KnownContent> findContent(Database& database, std::int64_t size,
                                      const std::string& hash) {
  Statement rows = database.prepare(
      "SELECT r.asset, r.type, r.path FROM resources AS r JOIN assets AS a ON a.id = r.asset"
      " WHERE r.size = ? AND r.hash = ? AND a.trashed_ns IS NULL ORDER BY r.asset, r.pos");
  rows.bind(size, Blob{hash});
  std::vector<KnownContent> found;
  while (rows.next()) {
    found.push_back({rows.integer(0), static_cast<PHAssetResourceType>(rows.integer(1)),
                     std::string(rows.text(2))});
  }
  return found;
}

bool isKnownSize(Database& database, std::int64_t size) {
  Statement find = database.prepare("SELECT 1 FROM resources WHERE size = ? LIMIT 1");
  return find.bind(size).next();
}

std::optional<bool> isNamedOriginal(Database& database, const std::string& path) {
  Statement find = database.prepare("SELECT 1 FROM resources WHERE path = ?");
  const bool isNamed = find.bind(path).next();
  if (find.failed()) return std::nullopt;
  return isNamed;
}

std::optional<bool> isAnyOriginalNamed(Database& database, const std::string& stem) {
  Statement find = database.prepare("SELECT 1 FROM resources WHERE path >= ? AND path < ? LIMIT 1");
  const bool isAny = find.bind(stem, stem + "~").next();
  if (find.failed()) return std::nullopt;
  return isAny;
}

std::vector<OriginalRow> originalsAfter(Database& database, std::int64_t asset,
                                        std::int64_t position) {
  Statement rows = database.prepare(
      "SELECT asset, pos, name, path, size, hash FROM resources WHERE (asset, pos) > (?, ?)"
      " ORDER BY asset, pos LIMIT ?");
  rows.bind(asset, position, kOriginalsAtOnce);
  std::vector<OriginalRow> originals;
  while (rows.next()) {
    originals.push_back({rows.integer(0), rows.integer(1), std::string(rows.text(2)),
                         std::string(rows.text(3)), rows.integer(4), std::string(rows.blob(5))});
  }
  return originals;
}

bool storeHash(Database& database, const std::string& path, const std::string& hash) {
  Statement store = database.prepare("UPDATE resources SET hash = ? WHERE path = ?");
  return store.bind(Blob{hash}, path).run();
}

std::string resourcePath(Database& database, std::int64_t asset, std::int64_t type) {
  Statement find = database.prepare("SELECT path FROM resources WHERE asset = ? AND type = ?");
  return find.bind(asset, type).next() ? std::string(find.text(0)) : std::string();
}

std::vector<std::string> resourcePaths(Database& database) {
  std::vector<std::string> paths;
  Statement rows = database.prepare("SELECT path FROM resources");
  while (rows.next()) paths.emplace_back(rows.text(0));
  return paths;
}

bool dropResource(Database& database, const std::string& path) {
  return database.prepare("DELETE FROM resources WHERE path = ?").bind(path).run();
}

std::int64_t countOriginals(Database& database) {
  return database.integer("SELECT count(*) FROM resources").value_or(0);
}

}  // namespace quorvin
