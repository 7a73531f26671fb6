// Folders that an export filled, among those that are imported.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/values/export_list.h"

namespace quorvin {

/// What the lists of such folders say of the order of files and of albums.
class ExportedFolders {
 public:
  /// Looks for lists in the folders of the files, up to the named paths. Files of such a folder
  /// come where the first of them is, in the order in which their assets were added; what is not
  /// listed comes last.
  void arrange(std::vector<FoundFile>& files, const std::vector<std::string>& paths);

  /// Before assets come in: makes the albums of the lists that there are not, in their order.
  Done makeAlbums(Catalogue& catalogue);
  /// After they came in: albums that were made have their members, in their order.
  Done fillAlbums(Catalogue& catalogue) const;

 private:
  std::vector<ListedAlbum> albums_;
  std::map<std::string, ListedFile> firstFiles_;                   ///< of assets, by identifier
  std::vector<std::pair<std::int64_t, const ListedAlbum*>> made_;  ///< by row
};

}  // namespace quorvin
