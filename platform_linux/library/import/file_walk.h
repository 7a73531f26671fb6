// Finds the files that an import is asked to bring in.
#pragma once

#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
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
  std::function<void(const std::string& path)> passedOver;  ///< a file, or a folder with all in it
  std::function<void(std::size_t files)> found;             ///< so far; after each folder
  /// If given: an open folder that is about to be listed.
  std::function<void(const std::string& path, int folder)> entering;
  std::stop_token stop;  ///< ends it before its time
};

/// The files among the paths and, recursively, in the folders among them: within a folder by name,
/// but what belongs together by its names side by side. Symbolic links are followed; a folder that
/// is reached twice, also through a loop of links, is searched once. What cannot be read is a
/// problem. What is hidden, what systems keep beside photos, and the library are passed over; a
/// path that is named is taken, and is a problem where it lies in the library. A path may lead
/// nowhere any more when the search is over.
std::vector<FoundFile> findFiles(const std::vector<std::string>& paths,
                                 const LibraryFolder& library, const SearchListener& listener);

/// Whether a search passes over an entry of this name that it finds in a folder: hidden ones, and
/// what systems and servers keep beside photos.
bool isPassedOver(std::string_view name, bool isFolder);

}  // namespace quorvin
