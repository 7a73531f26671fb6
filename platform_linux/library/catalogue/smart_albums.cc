#include "platform_linux/library/catalogue/smart_albums.h"

#include <algorithm>

namespace quorvin {

const SmartAlbum* findSmartAlbum(std::int64_t subtype) {
  const auto* found =
      std::find_if(kSmartAlbums.begin(), kSmartAlbums.end(),
                   [subtype](const SmartAlbum& album) { return album.subtype == subtype; });
  return found == kSmartAlbums.end() ? nullptr : found;
}

}  // namespace quorvin
