// Finds the files that an import is asked to bring in.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/source_rows.h"

namespace quorvin {

struct FoundFile {
  std::string path;
  SourceState state;     ///< when it was found
  bool isApart = false;  ///< it need not lie in a folder that was searched
};

/// What is told of a search, on the thread that searches.
struct SearchListener {
  std::function<void(const std::string& path, const std::string& reason)> problem;
  std::function<void(std::size_t files)> found;  ///< so far; after each folder
};

/// The files among the paths and, recursively, in the folders among them: by name within a folder.
/// Symbolic links are followed; a folder that is reached twice, also through a loop of links, is
/// searched once, and the library not at all. What cannot be read, and what lies in the library, is
/// a problem.
std::vector<FoundFile> findFiles(const std::vector<std::string>& paths,
                                 const LibraryFolder& library, const SearchListener& listener);

}  // namespace quorvin
