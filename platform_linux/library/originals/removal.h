// Removing deleted assets for good, with their files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "platform_linux/errors/failure.h"

namespace quorvin {

class Catalogue;

struct EmptiedTrash {
  std::size_t assets = 0;
  std::int64_t bytes = 0;
};

/// Removes what was deleted at this time or earlier: nanoseconds since 1970. Others may change the
/// catalogue in between. `goesOn`, asked now and then, ends it early.
Result<EmptiedTrash> removeTrashed(Catalogue& catalogue, std::int64_t until,
                                   const std::function<bool()>& goesOn = {});

}  // namespace quorvin
