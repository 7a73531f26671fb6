// What the catalogue holds that new files may belong to.
#pragma once

#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/grouping/grouping.h"

namespace quorvin {

/// Appends the files of these assets, and of all that the parts, or any that are appended, may
/// belong to; in excess of some thousand the rest is left out.
void appendNeighbours(Database& database, const LibraryFolder& folder, std::vector<Part>& parts,
                      const std::vector<std::int64_t>& assets);

}  // namespace quorvin
