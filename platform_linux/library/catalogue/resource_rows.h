// What the catalogue knows of original files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// An asset, not deleted, that holds this content.
struct KnownContent {
  std::int64_t asset = 0;
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::string path;  ///< relative to `originals/`
};
/// The resources that have this size and hash. The bytes are still to be compared.
std::vector<KnownContent> findContent(Database& database, std::int64_t size,
                                      const std::string& hash);
/// True when some resource has this size.
bool isKnownSize(Database& database, std::int64_t size);

/// Whether a row names this path; none when the catalogue cannot tell.
std::optional<bool> isNamedOriginal(Database& database, const std::string& path);
/// Whether a row names a path that begins so, up to its "." or "-".
std::optional<bool> isAnyOriginalNamed(Database& database, const std::string& stem);

struct OriginalRow {
  std::int64_t asset = 0;
  std::int64_t position = 0;
  std::string name;
  std::string path;  ///< relative to `originals/`
  std::int64_t size = 0;
  std::string hash;
};
/// The next few originals behind the given one, by asset and position. The first ones are behind
/// -1, 0.
std::vector<OriginalRow> originalsAfter(Database& database, std::int64_t asset,
                                        std::int64_t position);

/// False when writing failed.
bool storeHash(Database& database, const std::string& path, const std::string& hash);

/// Of the asset's resource of this type; empty when it has none.
std::string resourcePath(Database& database, std::int64_t asset, std::int64_t type);
/// Every path that a row names.
std::vector<std::string> resourcePaths(Database& database);
bool dropResource(Database& database, const std::string& path);

/// Of all assets, deleted ones included.
std::int64_t countOriginals(Database& database);

}  // namespace quorvin
