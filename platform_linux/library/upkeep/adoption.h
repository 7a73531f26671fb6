// Originals that have lost their rows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

struct Adopted {
  std::int64_t originals = 0;
  std::int64_t withoutRecord = 0;       ///< among them: their names and dates are guessed
  std::vector<std::string> impossible;  ///< paths below `originals/` of those that could not be
};

/// Makes the rows of all originals that have none, from the records that they carry. Inside the
/// transaction of a salvage.
Adopted adoptOriginals(const LibraryFolder& folder, Database& into);

}  // namespace quorvin
