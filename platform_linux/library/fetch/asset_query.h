// Fetches of assets as SQL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/platform/photo_library.h"
#include "platform_linux/library/catalogue/overview.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/places/place_reader.h"

namespace quorvin {

struct SmartAlbum;

/// Where a fetch looks.
struct AssetScope {
  struct Smart {
    const SmartAlbum* album;
  };
  struct Album {
    std::int64_t collection;  ///< row id
  };
  struct Burst {
    std::string identifier;
  };
  /// The assets of these rows, hidden ones and all burst members included.
  struct Rows {
    std::vector<std::int64_t> rows;
  };
  std::variant<Smart, Album, Burst, Rows> place;
};

/// One fetch, ready to be asked. A plain value.
struct AssetQuery {
  std::string from;   ///< "FROM … WHERE …"
  std::string order;  ///< "ORDER BY …"
  std::vector<std::variant<std::int64_t, std::string>> values;
  std::size_t limit = 0;  ///< 0: none

  void bind(Statement& statement) const;
};

/// `limitedAccess` leaves out what the user did not select for this program.
AssetQuery assetQuery(const AssetScope& scope, const PHFetchOptions& options, bool limitedAccess);

/// A fetch of the places of a gallery, which need not be looked for.
struct PlaceQuery {
  PlaceListing listing;
  std::size_t count = 0;  ///< how many it finds
};

/// None when these options ask for something else than places.
std::optional<PlaceQuery> placeQuery(const CollectionRow& gallery, const PHFetchOptions& options);

/// The columns of a record, for `assetFromRow`.
inline constexpr std::string_view kAssetColumns =
    "a.ident, a.media_type, a.subtypes, a.width, a.height, a.created_ns, a.modified_ns, "
    "a.duration, a.favorite, a.hidden, a.burst_id, a.represents, a.burst_sel";
inline constexpr int kAssetColumnCount = 13;

/// The asset of the statement's present row.
std::shared_ptr<const PHAsset> assetFromRow(const Statement& row);

}  // namespace quorvin
