// The sizes that image requests name.
#pragma once

#include <optional>

#include "core/platform/foundation.h"
#include "core/platform/images.h"

namespace quorvin {

/// An error unless it is `PHImageManagerMaximumSize` or both sides are above 0; an infinite side
/// does not constrain.
std::optional<NSError> targetSizeError(CGSize targetSize);

}  // namespace quorvin
