#include "platform_linux/library/fetch/asset_fetch.h"

#include <algorithm>
#include <utility>

#include "platform_linux/errors/presented.h"

namespace quorvin {
namespace {

// So many rows are loaded with the query itself: a first page. Beyond that, the ids that come
// before the asked page are much cheaper than their rows.
constexpr std::size_t kRowsAtOnce = 128;
// The next pages are near: what is read ahead of a limit, at least and as a part of it.
constexpr std::size_t kReadAheadAtLeast = 1024;
constexpr std::size_t kReadAheadPart = 4;

// Row ids; an object is read when it is asked for.
class ListedResult final : public PHFetchResult<PHAsset> {
 public:
  ListedResult(std::shared_ptr<Catalogue> catalogue, std::shared_ptr<const Listing> listing,
               std::size_t count)
      : catalogue_(std::move(catalogue)), listing_(std::move(listing)), count_(count) {}

  std::size_t count() const override { return count_; }

  std::optional<std::vector<std::int64_t>> rowsIn(const Catalogue& catalogue) const {
    if (catalogue_.get() != &catalogue) return std::nullopt;
    return std::vector<std::int64_t>(listing_->rows.begin(),
                                     listing_->rows.begin() + static_cast<std::ptrdiff_t>(count_));
  }

  std::vector<Object> objectsAtIndexes(IndexRange range) const override {
    requireRange(range, count_);
    Objects objects = listing_->loaded.find(range);
    if (std::find(objects.begin(), objects.end(), nullptr) == objects.end()) return objects;
    Catalogue::Reader database = catalogue_->reader();
    requireOpen(database);
    load(*database, range, objects);
    listing_->loaded.store(range, objects);
    // Rows stay as long as an asset can be restored. Whoever holds a result for longer than that
    // gets assets of which nothing is known any more.
    std::replace(objects.begin(), objects.end(), Object(), std::make_shared<const PHAsset>());
    return objects;
  }

 private:
  void load(Database& database, IndexRange range, Objects& objects) const {
    static const std::string kSql =
        "SELECT " + std::string(kAssetColumns) + " FROM assets AS a WHERE a.id = ?";
    const ReadTransaction moment(database);
    Statement row = database.prepare(kSql);
    for (std::size_t i = range.first; i < range.last; ++i) {
      Object& object = objects[i - range.first];
      if (object != nullptr) continue;
      row.rewind();
      if (row.bind(listing_->rows[i]).next()) object = assetFromRow(row);
      requireRead(row, database);
    }
  }

  const std::shared_ptr<Catalogue> catalogue_;
  const std::shared_ptr<const Listing> listing_;
  const std::size_t count_;
};

// A first page, with its assets.
void readFewRows(Database& database, const AssetQuery& query, Listing& listing) {
  std::string sql = "SELECT ";
  sql.append(kAssetColumns).append(", a.id ").append(query.from).append(query.order);
  Statement rows = database.prepare(sql.append(" LIMIT ?"));
  query.bind(rows);
  rows.bind(static_cast<std::int64_t>(query.limit));
  LoadedAssets::Assets assets;
  assets.reserve(query.limit);
  while (rows.next()) {
    assets.push_back(assetFromRow(rows));
    listing.rows.push_back(rows.integer(kAssetColumnCount));
  }
  requireRead(rows, database);
  listing.complete = assets.size() < query.limit;
  listing.loaded.store({0, assets.size()}, assets);
}

// All rows of a listing in order of addition. Reading them in any order and sorting the numbers is
// several times quicker than having SQLite step through them in order.
void readByAddition(Database& database, const AssetQuery& query, Listing& listing) {
  Statement rows = database.prepare("SELECT collect(a.id) " + query.from);
  query.bind(rows);
  database.collect(rows, listing.rows);
  requireRead(rows, database);
  listing.complete = true;
  if (!std::is_sorted(listing.rows.begin(), listing.rows.end())) {
    std::sort(listing.rows.begin(), listing.rows.end());
  }
}

void readInOrder(Database& database, const AssetQuery& query, Listing& listing) {
  std::int64_t most = -1;
  if (query.isIndexed && query.limit > 0) {
    most = static_cast<std::int64_t>(query.limit +
                                     std::max(kReadAheadAtLeast, query.limit / kReadAheadPart));
    listing.rows.reserve(static_cast<std::size_t>(std::min<std::int64_t>(most, 100'000)));
  }
  Statement rows = database.prepare("SELECT a.id " + query.from + query.order + " LIMIT ?");
  query.bind(rows);
  rows.bind(most);
  while (rows.next()) listing.rows.push_back(rows.integer(0));
  requireRead(rows, database);
  listing.complete = most < 0 || static_cast<std::int64_t>(listing.rows.size()) < most;
}

}  // namespace

void throwUnreadable(const Failure& failure) {
  throw LibraryUnreadable(presented(failure));
}

void requireRead(const Statement& statement, const Database& database) {
  if (statement.failed()) throwUnreadable(unreadable(database));
}

void requireOpen(const Catalogue::Reader& database) {
  if (!database) throwUnreadable(database.error());
}

void requireRange(IndexRange range, std::size_t count) {
  if (range.first <= range.last && range.last <= count) return;
  fatalError("Index out of range: " + std::to_string(range.first) + "..<" +
             std::to_string(range.last) + " of " + std::to_string(count));
}

FetchResult<PHAsset> fetchAssets(const std::shared_ptr<Catalogue>& catalogue, std::int64_t version,
                                 const AssetQuery& query) {
  const std::string key = query.key();
  const std::size_t needed = query.limit > 0 ? query.limit : std::string::npos;
  std::shared_ptr<const Listing> listing = catalogue->listings().find(version, key, needed);
  if (listing == nullptr) {
    auto read = std::make_shared<Listing>();
    Catalogue::Reader database = catalogue->reader();
    requireOpen(database);
    if (query.isIndexed && query.limit > 0 && query.limit <= kRowsAtOnce) {
      readFewRows(*database, query, *read);
    } else if (query.isByAddition && (!query.isIndexed || query.limit == 0)) {
      readByAddition(*database, query, *read);
    } else {
      readInOrder(*database, query, *read);
    }
    listing = read;
    const bool isWhole = listing->complete || listing->rows.size() >= needed;
    if (isWhole && query.isWorthKeeping) catalogue->listings().store(version, key, listing);
  }
  const std::size_t count = std::min(listing->rows.size(), needed);
  return std::make_shared<ListedResult>(catalogue, std::move(listing), count);
}

FetchResult<PHAsset> listAssets(std::shared_ptr<Catalogue> catalogue,
                                std::vector<std::int64_t> rows) {
  auto listing = std::make_shared<Listing>();
  listing->rows = std::move(rows);
  const std::size_t count = listing->rows.size();
  return std::make_shared<ListedResult>(std::move(catalogue), std::move(listing), count);
}

std::optional<std::vector<std::int64_t>> rowsOf(const PHFetchResult<PHAsset>& result,
                                                const Catalogue& catalogue) {
  const auto* listed = dynamic_cast<const ListedResult*>(&result);
  return listed == nullptr ? std::nullopt : listed->rowsIn(catalogue);
}

std::vector<std::int64_t> assetRows(Catalogue& catalogue,
                                    std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  Catalogue::Reader database = catalogue.reader();
  requireOpen(database);
  const ReadTransaction moment(*database);
  Statement find =
      database->prepare("SELECT id FROM assets WHERE ident = ? AND trashed_ns IS NULL");
  for (const std::string& identifier : identifiers) {
    find.rewind();
    if (find.bind(identifier).next()) rows.push_back(find.integer(0));
    requireRead(find, *database);
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows;
}

}  // namespace quorvin
