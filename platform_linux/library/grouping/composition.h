// What an asset is, by what its files are.
#pragma once

#include <string>
#include <vector>

#include "media_protocol/time_map.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/grouping/grouping.h"

namespace quorvin {

struct Composition {
  NewAsset asset;  ///< shows its rendering, if it has one
  bool isLive = false;
  TimeMap timeMap;
  std::vector<NewResource> resources;  ///< by the names that applications see, in any order
};
Composition compose(const std::vector<Part>& parts, const std::vector<Role>& roles);

/// What side files say of an asset beside its files.
struct SideFacts {
  AssetMarks marks;
  std::vector<std::string> albums;  ///< titles
};
SideFacts factsOf(const Part& sideFile);

}  // namespace quorvin
