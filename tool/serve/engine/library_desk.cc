#include "tool/serve/engine/library_desk.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quorvin {
namespace {

AssetSearch search(Platform& platform, const std::string& identifier) {
  try {
    auto asset = platform.sharedPhotoLibrary
                     .fetchAssetsWithLocalIdentifiers(std::array{identifier}, nullptr)
                     ->firstObject();
    if (asset == nullptr) return std::shared_ptr<const FoundAsset>();
    FoundAsset found{.asset = std::move(asset)};
    for (const auto& resource : platform.assetResources.assetResourcesForAsset(*found.asset)) {
      found.files.push_back(std::dynamic_pointer_cast<const StoredResource>(resource));
    }
    std::erase(found.files, nullptr);
    return std::make_shared<const FoundAsset>(std::move(found));
  } catch (const LibraryUnreadable& unreadable) {
    return Failure(LibraryErrorCode::internal, unreadable.what());
  }
}

}  // namespace

std::shared_ptr<const StoredResource> FoundAsset::fileOf(PHAssetResourceType type) const {
  const auto found =
      std::ranges::find(files, type, [](const auto& resource) { return resource->type; });
  return found == files.end() ? nullptr : *found;
}

std::string FoundAsset::version() const {
  std::string text = asset->localIdentifier;
  if (asset->modificationDate) {
    text += " " + std::to_string(asset->modificationDate->timeIntervalSince1970());
  }
  for (const auto& file : files) text += " " + file->file.path;
  return text;
}

void LibraryDesk::find(std::string identifier, std::function<void(AssetSearch)> then) {
  run<AssetSearch>(
      [this, identifier = std::move(identifier)] { return search(platform_, identifier); },
      std::move(then));
}

}  // namespace quorvin
