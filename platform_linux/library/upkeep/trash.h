// The trash, as a library's owner sees it: deleted assets can be had back for 30 days.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/originals/removal.h"

namespace quorvin {

/// The deleted assets of the library at the path, what was deleted last first.
Result<std::vector<TrashedAsset>> listTrash(const std::string& path);

/// Brings these assets back, with their albums and marks; all of them or, when one is not in the
/// trash, none.
Done restoreFromTrash(const std::string& path, std::span<const std::string> identifiers);

/// Removes all deleted assets for good, with their files.
Result<EmptiedTrash> emptyTrash(const std::string& path);

}  // namespace quorvin
