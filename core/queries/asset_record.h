// The asset record: the one map that describes an asset in every reply.
#pragma once

#include "core/platform/photo_library.h"
#include "core/platform/value.h"

namespace quorvin {

/// assetToMap(asset:). Exactly 13 keys, none of them null: missing values become 0, "" or false.
/// Dates are whole milliseconds since 1970, the duration is milliseconds with their fraction. A
/// date beyond the range of milliseconds in 64 bits is fatal.
Map assetToMap(const PHAsset& asset);

}  // namespace quorvin
