// Files that a library keeps beside an original, and that no application sees among its resources.
#pragma once

#include <cstdint>

#include "core/platform/asset_resources.h"
#include "media_protocol/side_notes.h"

namespace quorvin {

inline constexpr auto kXmpFile = static_cast<PHAssetResourceType>(1001);
inline constexpr auto kTakeoutFile = static_cast<PHAssetResourceType>(1002);
/// From this type on.
inline constexpr std::int64_t kFirstUnseenType = 1001;

constexpr PHAssetResourceType resourceTypeOf(SideKind kind) {
  if (kind == SideKind::adjustment) return PHAssetResourceType::adjustmentData;
  return kind == SideKind::xmp ? kXmpFile : kTakeoutFile;
}

}  // namespace quorvin
