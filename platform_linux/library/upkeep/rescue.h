// A catalogue made anew, of what is left of the old one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// Why the library at the folder cannot be used as it is: "is missing", "is empty" or "is damaged".
/// None also where it cannot be helped: nothing there, no library, a later version's.
std::optional<std::string> troubleOf(const LibraryFolder& folder);

/// Makes a new catalogue: of the rows that the old one still gives, of the newest snapshot, and of
/// the originals themselves, each of which is an asset again. What is left of the old one is kept
/// aside. Tells what came from where, and what did not come back, a sentence each. Nobody else has
/// the library open, or it is an error.
Result<std::vector<std::string>> rescueCatalogue(const LibraryFolder& folder);

}  // namespace quorvin
