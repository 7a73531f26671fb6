// Files that a library keeps beside an original, and that no application sees among its resources.
#pragma once

#include <cstdint>

#include "core/platform/asset_resources.h"
#include "media_protocol/side_notes.h"

namespace quorvin {

inline constexpr auto kXmpFile = static_cast<PHAssetResourceType>(1001);
inline constexpr auto kTakeoutFile = static_cast<PHAssetResourceType>(1002);
constexpr bool isUnseen(std::int64_t type) {
  return type >= static_cast<std::int64_t>(kXmpFile);
}
constexpr bool isUnseen(PHAssetResourceType type) {
  return isUnseen(static_cast<std::int64_t>(type));
}

constexpr PHAssetResourceType resourceTypeOf(SideKind kind) {
  if (kind == SideKind::adjustment) return PHAssetResourceType::adjustmentData;
  return kind == SideKind::xmp ? kXmpFile : kTakeoutFile;
}

}  // namespace quorvin
