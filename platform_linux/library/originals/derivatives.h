// Previews that were made of originals. They can be made again.
#pragma once

#include <string>

#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// Removes every derivative of the asset: in `derivatives/`, as in `originals/`, the names of an
/// asset's files begin with its UUID, and lie in a folder of its first two characters.
void removeDerivatives(const LibraryFolder& folder, const std::string& uuid);

}  // namespace quorvin
