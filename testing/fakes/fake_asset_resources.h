// Resources of assets, and writing them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

/// Logs "assetResourcesForAsset ID".
class FakeAssetResourceLister : public PHAssetResourceLister {
 public:
  explicit FakeAssetResourceLister(EventLog& log) : log_(log) {}

  void add(const std::string& asset, PHAssetResourceType type, std::string filename,
           std::string typeIdentifier = "public.data") {
    resources_[asset].push_back(std::make_shared<const PHAssetResource>(type, std::move(filename),
                                                                        std::move(typeIdentifier)));
  }
  void removeAll(const std::string& asset) { resources_.erase(asset); }

  /// What happens after a listing, with the asset's identifier.
  std::function<void(const std::string& asset)> afterListing;

  PHAssetResources assetResourcesForAsset(const PHAsset& asset) override {
    log_.add("assetResourcesForAsset " + asset.localIdentifier);
    const auto found = resources_.find(asset.localIdentifier);
    const PHAssetResources listed = found == resources_.end() ? PHAssetResources{} : found->second;
    if (afterListing) afterListing(asset.localIdentifier);
    return listed;
  }

 private:
  EventLog& log_;
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

  explicit FakeAssetResourceManager(EventLog& log) : log_(log) {}

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
  EventLog& log_;
};

}  // namespace quorvin
