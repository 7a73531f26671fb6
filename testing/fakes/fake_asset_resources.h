// Resources of assets, and writing them.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_file_manager.h"
#include "testing/fakes/fake_photo_library.h"

namespace quorvin {

/// A resource that knows what it belongs to.
class FakeAssetResource : public PHAssetResource {
 public:
  FakeAssetResource(std::string asset, PHAssetResourceType type, std::string filename,
                    std::string typeIdentifier)
      : PHAssetResource(type, std::move(filename), std::move(typeIdentifier)),
        asset(std::move(asset)) {}
  const std::string asset;
};

/// Logs "assetResourcesForAsset ID".
class FakeAssetResourceLister : public PHAssetResourceLister {
 public:
  FakeAssetResourceLister(EventLog& log, const FakePhotoLibrary& library)
      : log_(log), library_(library) {}

  void add(const std::string& asset, PHAssetResourceType type, std::string filename,
           std::string typeIdentifier = "public.data") {
    resources_[asset].push_back(std::make_shared<const FakeAssetResource>(
        asset, type, std::move(filename), std::move(typeIdentifier)));
  }
  void removeAll(const std::string& asset) { resources_.erase(asset); }

  /// What happens after a listing, with the asset's identifier.
  std::function<void(const std::string& asset)> afterListing;

  PHAssetResources assetResourcesForAsset(const PHAsset& asset) override {
    log_.add("assetResourcesForAsset " + asset.localIdentifier);
    const auto found = resources_.find(asset.localIdentifier);
    const bool isListed = found != resources_.end() && !library_.accessError(asset.localIdentifier);
    const PHAssetResources listed = isListed ? found->second : PHAssetResources{};
    if (afterListing) afterListing(asset.localIdentifier);
    return listed;
  }

 private:
  EventLog& log_;
  const FakePhotoLibrary& library_;
  std::map<std::string, PHAssetResources> resources_;
};

/// Keeps what is to be written until the test ends it. One thread.
class FakeAssetResourceManager : public PHAssetResourceManager {
 public:
  struct Write {
    std::shared_ptr<const PHAssetResource> resource;
    std::string path;
    std::optional<PHAssetResourceRequestOptions> options;
    std::function<void(std::optional<NSError>)> finish;
  };

  FakeAssetResourceManager(EventLog& log, const FakePhotoLibrary& library, FakeFileManager& files)
      : log_(log), library_(library), files_(files) {}

  /// What `complete` writes: the originals that are there, by the names of their resources.
  std::map<std::string, ByteBuffer> originals;

  /// Ends a write as the system does: with its file, or with the error that it comes to.
  void complete(std::size_t index) {
    const Write write = writes.at(index);
    write.finish(copy(*write.resource, write.path));
  }

  void writeDataForAssetResource(
      std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
      const PHAssetResourceRequestOptions* options,
      std::function<void(std::optional<NSError>)> completionHandler) override {
    log_.add("writeDataForAssetResource " + resource->originalFilename + " to " + toFile);
    writes.push_back({std::move(resource), toFile,
                      options != nullptr ? std::optional(*options) : std::nullopt,
                      std::move(completionHandler)});
  }

  std::vector<Write> writes;

 private:
  std::optional<NSError> copy(const PHAssetResource& resource, const std::string& path) {
    const auto* own = dynamic_cast<const FakeAssetResource*>(&resource);
    if (own == nullptr) return NSError{"Library", 3302, "That is no file of this library."};
    if (auto error = library_.accessError(own->asset)) return error;
    const auto original = originals.find(resource.originalFilename);
    if (original == originals.end()) return NSError{"Library", 3303, "The file is missing."};
    return files_.writeNew(original->second, path);
  }

  EventLog& log_;
  const FakePhotoLibrary& library_;
  FakeFileManager& files_;
};

}  // namespace quorvin
