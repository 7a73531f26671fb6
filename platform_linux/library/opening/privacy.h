// Keeping a library to its owner.
#pragma once

#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// Takes from everybody but the owner what an earlier version, or whoever copied the library, left
/// them: folders become 0700, files 0600 and originals 0400. Where the library is another user's,
/// or its file system has no modes, it stays as it is.
void closeToOthers(const LibraryFolder& folder);

}  // namespace quorvin
