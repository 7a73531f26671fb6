// The small tables of a catalogue, as they were at one moment.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/platform/photo_library.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/places/place.h"

namespace quorvin {

struct CollectionRow {
  std::int64_t row = 0;
  ListedGallery gallery = 0;
  TypeCounts counts;  ///< of what it lists with default options
  std::shared_ptr<const PHAssetCollection> collection;
};

struct Overview {
  std::vector<CollectionRow> collections;  ///< by type, then in the order of listings
  std::unordered_map<std::string_view, std::size_t> byIdentifier;

  /// Null when there is none.
  const CollectionRow* find(std::string_view identifier) const;
};

/// Of a statement that failed, or of a connection when nothing more is known.
Failure unreadable(const Database& database);

/// Inside a `ReadTransaction`, as are those that follow. Never null.
Result<std::shared_ptr<const Overview>> readOverview(Database& database);
/// The status for all who have none of their own.
Result<PHAuthorizationStatus> readStatus(Database& database);
/// One row of the overview; null when there is none.
Result<std::shared_ptr<const CollectionRow>> readCollection(Database& database,
                                                            const std::string& identifier);

}  // namespace quorvin
