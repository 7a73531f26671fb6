#include "testing/fakes/fake_asset_resources.h"

#include <utility>

namespace quorvin {

FakeAssetResource::FakeAssetResource(std::string asset, PHAssetResourceType type,
                                     std::string filename, std::string typeIdentifier)
    : PHAssetResource(type, std::move(filename), std::move(typeIdentifier)),
      asset(std::move(asset)) {}

FakeAssetResourceLister::FakeAssetResourceLister(EventLog& log, const FakePhotoLibrary& library)
    : log_(log), library_(library) {}
FakeAssetResourceLister::~FakeAssetResourceLister() = default;

void FakeAssetResourceLister::add(const std::string& asset, PHAssetResourceType type,
                                  std::string filename, std::string typeIdentifier) {
  resources_[asset].push_back(std::make_shared<const FakeAssetResource>(
      asset, type, std::move(filename), std::move(typeIdentifier)));
}

void FakeAssetResourceLister::removeAll(const std::string& asset) {
  resources_.erase(asset);
}

PHAssetResources FakeAssetResourceLister::assetResourcesForAsset(const PHAsset& asset) {
  log_.add("assetResourcesForAsset " + asset.localIdentifier);
  const auto found = resources_.find(asset.localIdentifier);
  const bool isListed = found != resources_.end() && !library_.accessError(asset.localIdentifier);
  const PHAssetResources listed = isListed ? found->second : PHAssetResources{};
  if (afterListing) afterListing(asset.localIdentifier);
  return listed;
}

FakeAssetResourceManager::FakeAssetResourceManager(EventLog& log, const FakePhotoLibrary& library,
                                                   FakeFileManager& files)
    : log_(log), library_(library), files_(files) {}
FakeAssetResourceManager::~FakeAssetResourceManager() = default;

void FakeAssetResourceManager::complete(std::size_t index) {
  const Write write = writes.at(index);
  write.finish(copy(*write.resource, write.path));
}

void FakeAssetResourceManager::writeDataForAssetResource(
    std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
    const PHAssetResourceRequestOptions* options,
    std::function<void(std::optional<NSError>)> completionHandler) {
  log_.add("writeDataForAssetResource " + resource->originalFilename + " to " + toFile);
  writes.push_back({std::move(resource), toFile,
                    options != nullptr ? std::optional(*options) : std::nullopt,
                    std::move(completionHandler)});
}

std::optional<NSError> FakeAssetResourceManager::copy(const PHAssetResource& resource,
                                                      const std::string& path) {
  const auto* own = dynamic_cast<const FakeAssetResource*>(&resource);
  if (own == nullptr) return NSError{"Library", 3302, "That is no file of this library."};
  if (auto error = library_.accessError(own->asset)) return error;
  const auto original = originals.find(resource.originalFilename);
  if (original == originals.end()) return NSError{"Library", 3303, "The file is missing."};
  return files_.writeNew(original->second, path);
}

}  // namespace quorvin
