// What the catalogue tells of assets that leave the library as files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

struct AlbumRow {
  std::int64_t row = 0;
  std::string title;
};
/// The user's albums, in the order of listings. None when they cannot be read.
std::optional<std::vector<AlbumRow>> userAlbums(Database& database);

/// The identifiers of the album's members that are not deleted, in its order. None when they cannot
/// be read.
std::optional<std::vector<std::string>> membersOf(Database& database, std::int64_t album);

/// The asset, not deleted, that has this file; none when there is none.
std::optional<std::int64_t> assetWithFile(Database& database, std::int64_t size,
                                          const std::string& hash);

/// Makes these the album's members, in this order; the others stay behind them, or go. Inside a
/// change. False when writing failed.
enum class OtherMembers { stay, go };
bool setMembers(Database& database, std::int64_t album, std::vector<std::int64_t> assets,
                OtherMembers others);

struct LeavingResource {
  std::int64_t type = 0;
  std::string name;
  std::string path;  ///< relative to `originals/`
  std::int64_t size = 0;
  std::string hash;
};

struct LeavingAsset {
  std::int64_t row = 0;
  std::string identifier;
  std::optional<std::int64_t> created;  ///< nanoseconds since 1970
  std::optional<std::int64_t> modified;
  bool favorite = false;
  bool hidden = false;
  std::string burst;  ///< empty: in none
  bool burstPrimary = false;
  bool represents = false;
  std::uint64_t burstSelection = 0;
  std::vector<LeavingResource> resources;  ///< in their order
  std::vector<std::int64_t> albums;        ///< rows, in the order of listings
};

/// The next few assets behind the row, by addition, that are not deleted: those of all albums of
/// this title, or all. None when they cannot be read.
std::optional<std::vector<LeavingAsset>> leavingAssetsAfter(
    Database& database, std::int64_t row, const std::optional<std::string>& album);
std::optional<std::int64_t> countLeavingAssets(Database& database,
                                               const std::optional<std::string>& album);

}  // namespace quorvin
