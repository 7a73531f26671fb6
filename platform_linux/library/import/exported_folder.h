// Folders that an export filled, among those that are imported.
#pragma once

#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/import/file_walk.h"

namespace quorvin {

/// What the lists of such folders say of the order of files and of albums.
class ExportedFolders {
 public:
  /// Looks for lists in the folders of the files, up to the named paths. Files of such a folder
  /// come where the first of them is, in the order in which their assets were added; what is not
  /// listed comes last.
  void arrange(std::vector<FoundFile>& files, const std::vector<std::string>& paths);

  /// Makes the albums of the lists that there are not, in their order.
  Done makeAlbums(Catalogue& catalogue) const;

 private:
  std::vector<std::string> albums_;
};

}  // namespace quorvin
