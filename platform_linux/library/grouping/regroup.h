// New files in the catalogue: they join what is there as if all had come together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/grouping/grouping.h"

namespace quorvin {

/// An asset that has turned up in another place, too: what lies there may belong to it.
struct FoundAgain {
  std::int64_t row = 0;
  std::vector<std::int64_t> families;
};

struct Regrouped {
  struct Place {
    std::int64_t row = 0;      ///< of the asset; nobody sees one whose side file waits
    std::string sameOriginal;  ///< this one is there already, and the new file is not needed
  };
  std::vector<Place> places;  ///< of each new part
  std::size_t newAssets = 0;
  /// Those that have to be settled; of the others it is known who represents them.
  std::set<std::string> bursts;
};

/// Inside a change. `now` is when assets were changed that get or lose something: nanoseconds since
/// 1970. None when writing failed.
std::optional<Regrouped> regroup(Database& database, const LibraryFolder& folder,
                                 std::vector<Part> newParts,
                                 const std::vector<FoundAgain>& foundAgain, std::int64_t now);

}  // namespace quorvin
