// Assets that files may belong to, found by families of names and by what cameras write into files,
// and what becomes of assets whose files are shared out anew.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Makes the table, with the families that assets have by the names of their files: a step of the
/// schema, never changed afterwards.
bool makeFamilies(Database& database);
/// Gives families to assets that have none. Inside a change.
bool fillFamilies(Database& database);

// Deleted assets are in none of the following.

/// Those of assets that have a file of one of the families, and of those that hold this content
/// identifier, if it is not empty. Side files that wait are among them.
std::vector<std::int64_t> relatedAssets(Database& database, std::span<const std::int64_t> families,
                                        const std::string& contentIdentifier);

/// A resource, and what the catalogue alone says of the asset that has it.
struct HeldResource {
  NewResource resource;  ///< by the name that applications see
  NewAsset asset;        ///< as its row is
};
std::vector<HeldResource> resourcesOf(Database& database, std::int64_t asset);
std::vector<std::int64_t> familiesOf(Database& database, std::int64_t asset);
bool isOfFamily(Database& database, std::int64_t asset, std::span<const std::int64_t> families);

// Inside a change. False when writing failed.

bool addFamilies(Database& database, std::int64_t asset, std::span<const std::int64_t> families);

/// An asset that nobody sees, for a side file that waits for its photo or video. Its row.
std::optional<std::int64_t> insertWaiting(Database& database, const NewAsset& asset);

/// Assets that have side files alone are seen by nobody again. A rescue cannot tell by itself.
bool hideWaiting(Database& database);

/// Takes the resource from where it is and gives it to the asset, at a position of its own that
/// `number`, 0 or more, stands for, until it gets a real one.
bool setAside(Database& database, std::int64_t asset, const std::string& path, std::int64_t number);
/// An asset without resources goes; its albums and marks go to the other one.
bool mergeAsset(Database& database, std::int64_t from, std::int64_t into);
bool hasResources(Database& database, std::int64_t asset);

/// What a row says beside what its files are.
struct AssetMarks {
  bool favorite = false;
  bool hidden = false;
  std::optional<std::uint64_t> burstSelection;
  std::optional<bool> represents;
};
/// Favourites and hidden ones stay so.
bool markAsset(Database& database, std::int64_t row, const AssetMarks& marks);

}  // namespace quorvin
