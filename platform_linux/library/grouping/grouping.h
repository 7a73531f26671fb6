// Which files make one asset, and as what. It does not depend on the order in which they came.
#pragma once

#include <cstddef>
#include <vector>

#include "core/platform/asset_resources.h"
#include "platform_linux/library/grouping/part.h"

namespace quorvin {

struct Role {
  std::size_t part = 0;  ///< index
  PHAssetResourceType type = PHAssetResourceType::photo;
  friend bool operator==(const Role&, const Role&) = default;
};

struct Grouping {
  /// Of each asset; the first one is what the others belong to.
  std::vector<std::vector<Role>> assets;
  /// Side files whose photo or video is not there.
  std::vector<std::size_t> waiting;
};

/// Where names leave a choice, what is together stays together.
Grouping groupParts(const std::vector<Part>& parts);

/// Gives stills whose names mark them as one burst its identifier, if there are two or more in a
/// folder.
void markBurstsByName(std::vector<Part>& parts, const Grouping& grouping);

}  // namespace quorvin
