// Finds the files that an import is asked to bring in.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// The files among the paths and, recursively, in the folders among them: by name within a folder.
/// Symbolic links are followed; a folder that is reached twice, also through a loop of links, is
/// searched once, and the library not at all. What cannot be read, and what lies in the library,
/// goes to `problem` with the reason.
std::vector<std::string> findFiles(
    const std::vector<std::string>& paths, const LibraryFolder& library,
    const std::function<void(const std::string& path, const std::string& reason)>& problem);

}  // namespace quorvin
