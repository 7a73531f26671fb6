// Runs fetches of assets, and what they found.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/photo_library.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/fetch/asset_query.h"

namespace quorvin {

/// Throws `LibraryUnreadable`.
[[noreturn]] void throwUnreadable(const Failure& failure);
/// What there is, or throws.
template <class T>
T orThrow(Result<T> result) {
  if (!result) throwUnreadable(result.error());
  return *std::move(result);
}
/// Throws unless all that was asked for so far was read.
void requireRead(const Statement& statement, const Database& database);
/// Throws unless it could be opened.
void requireOpen(const Catalogue::Reader& database);

/// Fatal unless the range lies within `count`.
void requireRange(IndexRange range, std::size_t count);

/// A result that holds all its objects.
template <class T>
class LoadedResult final : public PHFetchResult<T> {
 public:
  using typename PHFetchResult<T>::Object;
  explicit LoadedResult(std::vector<Object> objects) : objects_(std::move(objects)) {}

  std::size_t count() const override { return objects_.size(); }
  std::vector<Object> objectsAtIndexes(IndexRange range) const override {
    requireRange(range, objects_.size());
    return {objects_.begin() + static_cast<std::ptrdiff_t>(range.first),
            objects_.begin() + static_cast<std::ptrdiff_t>(range.last)};
  }

 private:
  const std::vector<Object> objects_;
};

/// One query, at once, that keeps the row ids.
FetchResult<PHAsset> fetchAssets(std::shared_ptr<Catalogue> catalogue, Catalogue::Moment& moment,
                                 const AssetQuery& query);

/// Nothing is read before it is asked for, then as it was at the moment; the result keeps that, or
/// the row ids when somebody else needs the connection.
FetchResult<PHAsset> fetchPlaces(std::shared_ptr<Catalogue> catalogue,
                                 std::unique_ptr<Catalogue::Moment> moment,
                                 const PlaceQuery& query);

/// These rows, in this order.
FetchResult<PHAsset> listAssets(std::shared_ptr<Catalogue> catalogue,
                                std::vector<std::int64_t> rows);

/// The row ids of a result that `catalogue` gave; none for results from elsewhere. Spares reading
/// the assets.
std::optional<std::vector<std::int64_t>> rowsOf(const PHFetchResult<PHAsset>& result,
                                                const Catalogue& catalogue);

/// The row ids, in their order, of the assets that have these identifiers and are not deleted.
std::vector<std::int64_t> assetRows(Database& database, std::span<const std::string> identifiers);

}  // namespace quorvin
