// The sizes that image requests name.
#pragma once

#include <optional>

#include "core/platform/images.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

/// An error unless it is `PHImageManagerMaximumSize` or both sides are above 0; an infinite side
/// does not constrain.
Done checkTargetSize(CGSize targetSize);

}  // namespace quorvin
