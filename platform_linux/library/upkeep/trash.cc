#include "platform_linux/library/upkeep/trash.h"

#include <unistd.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "platform_linux/errors/errors.h"
#include "platform_linux/library/catalogue/asset_date.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/originals/derivatives.h"
#include "platform_linux/library/originals/staging.h"

namespace quorvin {
namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t kStay = nanoseconds(kDaysInTrash).count();

std::int64_t now() {
  return std::chrono::duration_cast<nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// Nobody else is to wait for long, and there may be very many.
constexpr std::int64_t kAssetsAtOnce = 1000;

// Assets whose rows are gone, or about to go.
struct Doomed {
  std::size_t assets = 0;
  std::int64_t bytes = 0;
  std::vector<std::string> originals;  ///< relative to `originals/`
  std::vector<std::string> uuids;
};

bool readDoomed(Database& database, const std::string& rows, Doomed& doomed) {
  Statement files = database.prepare(
      "SELECT path, size FROM resources WHERE asset IN (SELECT value FROM json_each(?))");
  files.bind(rows);
  while (files.next()) {
    doomed.originals.emplace_back(files.text(0));
    doomed.bytes += files.integer(1);
  }
  Statement assets =
      database.prepare("SELECT ident FROM assets WHERE id IN (SELECT value FROM json_each(?))");
  assets.bind(rows);
  while (assets.next()) {
    const std::string_view identifier = assets.text(0);
    doomed.uuids.emplace_back(identifier.substr(0, identifier.find('/')));
    ++doomed.assets;
  }
  return !files.failed() && !assets.failed();
}

// Deletes the rows of some assets that were deleted until then. The files' names are listed first,
// so that whoever opens the library after a crash removes what was left of them.
Result<Doomed> dropRows(Catalogue& catalogue, Staging& staging, std::int64_t until) {
  Doomed doomed;
  const auto done = catalogue.change([&](Database& database) -> Result<Null> {
    std::vector<std::int64_t> rows;
    {
      Statement find = database.prepare(
          "SELECT id FROM assets WHERE trashed_ns <= ? ORDER BY trashed_ns LIMIT ?");
      find.bind(until, kAssetsAtOnce);
      while (find.next()) rows.push_back(find.integer(0));
    }
    const std::string list = listOfRows(rows);
    if (!rows.empty() && readDoomed(database, list, doomed)) {
      if (auto announced = staging.announce(doomed.originals); !announced) return announced;
    }
    Statement drop =
        database.prepare("DELETE FROM assets WHERE id IN (SELECT value FROM json_each(?))");
    if (doomed.assets != rows.size() || !drop.bind(list).run()) {
      return database.lastError("The trash cannot be emptied");
    }
    return Null{};
  });
  if (!done) return done.error();
  return doomed;
}

// False when an original is still there. Previews that are do no harm.
bool removeFiles(const LibraryFolder& folder, const Doomed& doomed) {
  bool gone = true;
  for (const std::string& path : doomed.originals) {
    gone = (::unlink((folder.originals() + "/" + path).c_str()) == 0 || errno == ENOENT) && gone;
  }
  for (const std::string& uuid : doomed.uuids) removeDerivatives(folder, uuid);
  return gone;
}

Result<EmptiedTrash> dropTrashed(Catalogue& catalogue, std::int64_t until) {
  auto staging = Staging::begin(catalogue.folder());
  if (!staging) return staging.error();
  EmptiedTrash emptied;
  bool gone = true;
  for (;;) {
    const auto doomed = dropRows(catalogue, **staging, until);
    if (!doomed) return doomed.error();
    gone = removeFiles(catalogue.folder(), *doomed) && gone;
    // Else the next opening removes the rest.
    if (gone) (*staging)->forget();
    emptied.assets += doomed->assets;
    emptied.bytes += doomed->bytes;
    if (doomed->assets < static_cast<std::size_t>(kAssetsAtOnce)) return emptied;
  }
}

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

Result<Null> restore(Database& database, std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  for (const std::string& identifier : identifiers) {
    Statement find =
        database.prepare("SELECT id FROM assets WHERE ident = ? AND trashed_ns IS NOT NULL");
    if (!find.bind(identifier).next()) {
      return libraryError(LibraryErrorCode::identifierNotFound,
                          "The asset “" + identifier + "” is not in the trash.");
    }
    rows.push_back(find.integer(0));
  }
  const std::string list = listOfRows(rows);
  Statement restored = database.prepare(
      "UPDATE assets SET trashed_ns = NULL WHERE id IN (SELECT value FROM json_each(?))");
  if (restored.bind(list).run() && settleBursts(database, burstsAmong(database, list))) {
    return Null{};
  }
  return database.lastError("The assets cannot be restored");
}

}  // namespace

bool trashAssets(Database& database, const std::string& rows) {
  const std::set<std::string> bursts = burstsAmong(database, rows);
  Statement trash = database.prepare(
      "UPDATE assets SET trashed_ns = ? WHERE id IN (SELECT value FROM json_each(?))"
      " AND trashed_ns IS NULL");
  return trash.bind(now(), rows).run() && settleBursts(database, bursts);
}

void purgeTrash(Catalogue& catalogue) {
  const std::int64_t until = now() - kStay;
  {
    Catalogue::Reader database = catalogue.reader();
    if (!database) return;
    Statement find = database->prepare("SELECT 1 FROM assets WHERE trashed_ns <= ? LIMIT 1");
    if (!find.bind(until).next()) return;
  }
  // Opening does not wait for a writer.
  const bool isFree =
      LibraryLock::tryAcquire(catalogue.folder().lockFile(), LibraryLock::Area::writer,
                              LibraryLock::Mode::exclusive)
          .has_value();
  if (isFree) dropTrashed(catalogue, until);
}

Result<std::vector<TrashedAsset>> listTrash(const std::string& path) {
  auto catalogue = Catalogue::open(path, Catalogue::Missing::refuse);
  if (!catalogue) return catalogue.error();
  const NSError unreadable =
      libraryError(LibraryErrorCode::internal, "The catalogue cannot be read.");
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return unreadable;
  Statement rows = database->prepare(
      "SELECT a.ident, a.media_type, a.trashed_ns,"
      " coalesce((SELECT r.name FROM resources AS r WHERE r.asset = a.id ORDER BY r.pos LIMIT 1),"
      " ''), (SELECT coalesce(sum(r.size), 0) FROM resources AS r WHERE r.asset = a.id)"
      " FROM assets AS a WHERE a.trashed_ns IS NOT NULL ORDER BY a.trashed_ns DESC, a.id");
  std::vector<TrashedAsset> assets;
  while (rows.next()) {
    assets.push_back({.localIdentifier = std::string(rows.text(0)),
                      .originalFilename = std::string(rows.text(3)),
                      .mediaType = static_cast<PHAssetMediaType>(rows.integer(1)),
                      .bytes = rows.integer(4),
                      .deleted = dateFromNanoseconds(rows.integer(2)),
                      .goneAfter = dateFromNanoseconds(rows.integer(2) + kStay)});
  }
  if (rows.failed()) return unreadable;
  return assets;
}

Result<Null> restoreFromTrash(const std::string& path, std::span<const std::string> identifiers) {
  auto catalogue = Catalogue::open(path, Catalogue::Missing::refuse);
  if (!catalogue) return catalogue.error();
  return (*catalogue)->change([identifiers](Database& database) {
    return restore(database, identifiers);
  });
}

Result<EmptiedTrash> emptyTrash(const std::string& path) {
  auto catalogue = Catalogue::open(path, Catalogue::Missing::refuse);
  if (!catalogue) return catalogue.error();
  return dropTrashed(**catalogue, std::numeric_limits<std::int64_t>::max());
}

}  // namespace quorvin
