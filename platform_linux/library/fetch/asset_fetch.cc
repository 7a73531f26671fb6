#include "platform_linux/library/fetch/asset_fetch.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform_linux/errors/presented.h"

namespace quorvin {
namespace {

using Objects = PHFetchResult<PHAsset>::Objects;

// The assets of rows, as they are now.
Objects loadAssets(Catalogue& catalogue, std::span<const std::int64_t> rows) {
  static const std::string kSql =
      "SELECT " + std::string(kAssetColumns) + " FROM assets AS a WHERE a.id = ?";
  Objects objects;
  objects.reserve(rows.size());
  Catalogue::Reader database = catalogue.reader();
  requireOpen(database);
  const ReadTransaction moment(*database);
  Statement row = database->prepare(kSql);
  for (const std::int64_t id : rows) {
    row.rewind();
    // Rows stay as long as an asset can be restored. Whoever holds a result for longer than that
    // gets assets of which nothing is known any more.
    objects.push_back(row.bind(id).next() ? assetFromRow(row) : std::make_shared<const PHAsset>());
    requireRead(row, *database);
  }
  return objects;
}

/// What can give the row ids of its assets.
class RowsOfResult {
 public:
  virtual ~RowsOfResult() = default;
  virtual std::vector<std::int64_t> rows() const = 0;
  virtual bool isOf(const Catalogue& catalogue) const = 0;
};

// Row ids; an object is read when it is asked for.
class ListedResult final : public PHFetchResult<PHAsset>, public RowsOfResult {
 public:
  ListedResult(std::shared_ptr<Catalogue> catalogue, std::vector<std::int64_t> rows)
      : catalogue_(std::move(catalogue)), rows_(std::move(rows)) {}

  std::size_t count() const override { return rows_.size(); }
  std::vector<Object> objectsAtIndexes(IndexRange range) const override {
    requireRange(range, rows_.size());
    return loadAssets(*catalogue_, std::span(rows_).subspan(range.first, range.last - range.first));
  }

  std::vector<std::int64_t> rows() const override { return rows_; }
  bool isOf(const Catalogue& catalogue) const override { return catalogue_.get() == &catalogue; }

 private:
  const std::shared_ptr<Catalogue> catalogue_;
  const std::vector<std::int64_t> rows_;
};

// Places, as they were at a moment.
class PlacedResult final : public PHFetchResult<PHAsset>, public RowsOfResult, public MomentHolder {
 public:
  PlacedResult(std::shared_ptr<Catalogue> catalogue, std::unique_ptr<Catalogue::Moment> moment,
               const PlaceQuery& query)
      : catalogue_(std::move(catalogue)), query_(query), moment_(std::move(moment)) {}

  std::size_t count() const override { return query_.count; }

  std::vector<Object> objectsAtIndexes(IndexRange range) const override {
    requireRange(range, query_.count);
    if (range.first == range.last) return {};
    {
      NSLockHolder holder(lock_);
      if (moment_ != nullptr) return read(moment_->database(), range);
      if (failure_) throwUnreadable(*failure_);
    }
    // They stay as they are once they are there.
    return loadAssets(*catalogue_, std::span(kept_).subspan(range.first, range.last - range.first));
  }

  void letGo() override {
    std::unique_ptr<Catalogue::Moment> given;
    NSLockHolder holder(lock_);
    if (moment_ == nullptr) return;
    auto rows = readRows(moment_->database());
    if (rows) {
      kept_ = *std::move(rows);
    } else {
      failure_ = rows.error();
    }
    given = std::move(moment_);
  }

  std::vector<std::int64_t> rows() const override {
    NSLockHolder holder(lock_);
    if (moment_ != nullptr) return orThrow(readRows(moment_->database()));
    if (failure_) throwUnreadable(*failure_);
    return kept_;
  }
  bool isOf(const Catalogue& catalogue) const override { return catalogue_.get() == &catalogue; }

 private:
  Objects read(Database& database, IndexRange range) const {
    Objects objects;
    objects.reserve(range.last - range.first);
    Statement rows = select(database, std::string(kAssetColumns),
                            "CROSS JOIN assets AS a ON a.id = p.asset", range);
    while (rows.next()) objects.push_back(assetFromRow(rows));
    requireRead(rows, database);
    if (objects.size() != range.last - range.first) throwUnreadable(contradiction());
    return objects;
  }

  Result<std::vector<std::int64_t>> readRows(Database& database) const {
    std::vector<std::int64_t> ids;
    ids.reserve(query_.count);
    Statement rows = select(database, "p.asset", "", {0, query_.count});
    while (rows.next()) ids.push_back(rows.integer(0));
    if (rows.failed()) return unreadable(database);
    if (ids.size() != query_.count) return contradiction();
    return ids;
  }

  Statement select(Database& database, const std::string& columns, const char* join,
                   IndexRange range) const {
    const auto first = static_cast<std::int64_t>(range.first);
    const PlaceStart start = findPlace(database, query_.listing, first);
    Statement rows = database.prepare("SELECT " + columns + " FROM (" +
                                      selectPlaces(query_.listing) + ") AS p " + join);
    bindPlaces(rows, query_.listing, start, static_cast<std::int64_t>(range.last) - first);
    return rows;
  }

  // Counts and places are not of each other.
  Failure contradiction() const { return needsRescue(catalogue_->folder().catalogue()); }

  const std::shared_ptr<Catalogue> catalogue_;
  const PlaceQuery query_;
  mutable NSLock lock_;
  std::unique_ptr<Catalogue::Moment> moment_ QUORVIN_GUARDED_BY(lock_);
  std::vector<std::int64_t> kept_;  // once there is no moment
  std::optional<Failure> failure_ QUORVIN_GUARDED_BY(lock_);
};

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

FetchResult<PHAsset> fetchAssets(std::shared_ptr<Catalogue> catalogue, Catalogue::Moment& moment,
                                 const AssetQuery& query) {
  Database& database = moment.database();
  Statement found = database.prepare("SELECT a.id " + query.from + query.order + " LIMIT ?");
  query.bind(found);
  found.bind(query.limit > 0 ? static_cast<std::int64_t>(query.limit) : -1);
  std::vector<std::int64_t> rows;
  while (found.next()) rows.push_back(found.integer(0));
  requireRead(found, database);
  return listAssets(std::move(catalogue), std::move(rows));
}

FetchResult<PHAsset> fetchPlaces(std::shared_ptr<Catalogue> catalogue,
                                 std::unique_ptr<Catalogue::Moment> moment,
                                 const PlaceQuery& query) {
  if (query.count == 0) return listAssets(std::move(catalogue), {});
  auto result = std::make_shared<PlacedResult>(catalogue, std::move(moment), query);
  catalogue->enlist(result);
  return result;
}

FetchResult<PHAsset> listAssets(std::shared_ptr<Catalogue> catalogue,
                                std::vector<std::int64_t> rows) {
  return std::make_shared<ListedResult>(std::move(catalogue), std::move(rows));
}

std::optional<std::vector<std::int64_t>> rowsOf(const PHFetchResult<PHAsset>& result,
                                                const Catalogue& catalogue) {
  const auto* known = dynamic_cast<const RowsOfResult*>(&result);
  if (known == nullptr || !known->isOf(catalogue)) return std::nullopt;
  return known->rows();
}

std::vector<std::int64_t> assetRows(Database& database, std::span<const std::string> identifiers) {
  std::vector<std::int64_t> rows;
  Statement find = database.prepare("SELECT id FROM assets WHERE ident = ? AND trashed_ns IS NULL");
  for (const std::string& identifier : identifiers) {
    find.rewind();
    if (find.bind(identifier).next()) rows.push_back(find.integer(0));
    requireRead(find, database);
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows;
}

}  // namespace quorvin
