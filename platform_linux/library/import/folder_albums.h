// The albums that an import puts assets into.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/import/import_file.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/import/looked_group.h"

namespace quorvin {

/// One thread. The options outlive it.
class FolderAlbums {
 public:
  explicit FolderAlbums(const ImportOptions& options) : options_(options) {}

  /// Looks for the files by which photo services say that a folder is an album.
  void find(const std::vector<FoundFile>& files, FileLooks& looks);

  /// Whether assets of files in the folder of this one come into an album.
  bool has(const FoundFile& file) const;
  /// Titles of those albums. `folder` is absolute and without symbolic links.
  std::vector<std::string> of(const std::string& folder) const;

 private:
  const ImportOptions& options_;
  std::map<std::string, std::string> titles_;  ///< by folder
};

}  // namespace quorvin
