// The files of originals, found by the paths that rows and lists give.
#pragma once

#include <string>
#include <vector>

#include "platform_linux/files/folder.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// The original at a path below `originals/`. A path of another form than the library's own has no
/// file, wherever it may lead.
HeldFile originalFile(const LibraryFolder& folder, const std::string& path);

/// Removes the original. True when there is none of the library's own at the path now, nor was one.
bool removeOriginal(const LibraryFolder& folder, const std::string& path);

/// Everything below one of the library's folders that is no folder, relative to it. Links are
/// listed and not followed.
std::vector<std::string> filesBelow(const LibraryFolder& folder, const std::string& name);

}  // namespace quorvin
