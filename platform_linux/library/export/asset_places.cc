#include "platform_linux/library/export/asset_places.h"

#include <algorithm>
#include <utility>

#include "media_protocol/letter_case.h"
#include "platform_linux/library/values/pairing.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

/// Of the asset in that folder; empty when it was not there, or called otherwise.
std::string earlierStem(const ListedAsset* before, const std::string& folder,
                        const std::string& stem) {
  if (before == nullptr || before->files.empty()) return {};
  const std::string& path = before->files.front().path;
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos || path.substr(0, slash) != folder) return {};
  const std::string earlier = nameStem(path.substr(slash + 1));
  return earlier.starts_with(stem + " (") ? earlier : std::string();
}

const ListedFile* listedAt(const std::string& path, const ListedAsset* before) {
  if (before == nullptr) return nullptr;
  const auto found = std::ranges::find(before->files, path, &ListedFile::path);
  return found == before->files.end() ? nullptr : &*found;
}

}  // namespace

std::vector<PlacedFile> AssetPlaces::find(const LeavingAsset& asset, const std::string& folder,
                                          std::vector<LeavingFile> files,
                                          const ListedAsset* before) {
  const std::string stem = leavingStem(files);
  if (const std::string earlier = earlierStem(before, folder, stem); !earlier.empty()) {
    nameFiles(files, earlier);
    if (auto placed = places(asset, folder, files, before)) return *std::move(placed);
  }
  for (int number = 1;; ++number) {
    nameFiles(files, numberedStem(stem, number));
    if (auto placed = places(asset, folder, files, before)) return *std::move(placed);
  }
}

/// None when somebody else's file stands in the way.
std::optional<std::vector<PlacedFile>> AssetPlaces::places(const LeavingAsset& asset,
                                                           const std::string& folder,
                                                           const std::vector<LeavingFile>& files,
                                                           const ListedAsset* before) {
  std::vector<PlacedFile> placed;
  std::vector<std::string> stems;
  for (const LeavingFile& file : files) {
    PlacedFile& place = placed.emplace_back();
    place.resource = file.resource;
    place.was = file.was;
    place.listed = {file.type, file.resource->size, file.resource->hash, folder + "/" + file.name};
    stems.push_back(sharedStem(file.name));
  }
  PlacedFile& xmp = placed.emplace_back();
  xmp.listed = {static_cast<std::int64_t>(kXmpFile), 0, "",
                folder + "/" + files.front().name + ".xmp"};
  std::ranges::sort(stems);
  stems.erase(std::unique(stems.begin(), stems.end()), stems.end());
  for (const std::string& stem : stems) {
    for (const std::string& name : folder_.namesakes(folder, stem)) {
      const std::string path = folder + "/" + name;
      const ListedFile* known = listedAt(path, before);
      const auto own = std::ranges::find_if(placed, [&path](const PlacedFile& file) {
        return lowerCase(file.listed.path) == lowerCase(path);
      });
      // An earlier export may have written more of the asset.
      const bool isFree = own == placed.end()
                              ? known != nullptr
                              : own->listed.path == path && isOurs(asset, placed, *own, known);
      if (!isFree) return std::nullopt;
    }
  }
  if (!folder_.take(folder, stems)) return std::nullopt;
  return placed;
}

/// Whether the file that stands there is this one, or an earlier export's of it.
bool AssetPlaces::isOurs(const LeavingAsset& asset, const std::vector<PlacedFile>& placed,
                         PlacedFile& file, const ListedFile* known) {
  ListedFile& listed = file.listed;
  if (file.resource == nullptr) {
    if (known != nullptr) return folder_.hashOf(known->path, known->size) == known->hash;
    return tell_(asset, placed, listed) && folder_.hashOf(listed.path, listed.size) == listed.hash;
  }
  // Of an original without a checksum.
  if (listed.hash.empty() && known != nullptr) listed.hash = known->hash;
  if (listed.hash.empty()) return false;
  const bool isListed = known != nullptr && known->hash == listed.hash &&
                        folder_.hasFile(listed.path, listed.size, asset.modified);
  file.isThere = isListed || folder_.hashOf(listed.path, listed.size) == listed.hash;
  return file.isThere;
}

}  // namespace quorvin
