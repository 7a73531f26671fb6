// Where the parts of a library are.
#pragma once

#include <string>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

struct LibraryFolder {
  std::string root;  ///< absolute

  std::string catalogue() const { return root + "/library.sqlite"; }
  std::string lockFile() const { return root + "/library.lock"; }
  std::string originals() const { return root + "/originals"; }      ///< named by identifier
  std::string derivatives() const { return root + "/derivatives"; }  ///< can be made again
  std::string incoming() const { return root + "/incoming"; }        ///< being copied
  std::string recovered() const { return root + "/recovered"; }      ///< originals of no asset
};

enum class FolderState {
  missing,    ///< there is no such folder
  empty,      ///< nothing in it, or only what an interrupted creation leaves behind
  catalogue,  ///< holds a catalogue
};

/// What stands at the path. An error when it is no folder, cannot be read, or holds anything that
/// is no library; nothing is changed.
Result<FolderState> folderState(const LibraryFolder& folder);

/// Makes the folders and the lock file where they are missing.
Done makeFolders(const LibraryFolder& folder);

/// The path, absolute and without "." and ".." parts; an error for an empty one.
Result<LibraryFolder> libraryFolderAt(const std::string& path);

}  // namespace quorvin
