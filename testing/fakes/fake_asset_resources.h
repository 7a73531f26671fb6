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
                    std::string typeIdentifier);
  const std::string asset;
};

/// Logs "assetResourcesForAsset ID".
class FakeAssetResourceLister : public PHAssetResourceLister {
 public:
  FakeAssetResourceLister(EventLog& log, const FakePhotoLibrary& library);
  ~FakeAssetResourceLister() override;

  void add(const std::string& asset, PHAssetResourceType type, std::string filename,
           std::string typeIdentifier = "public.data");
  void removeAll(const std::string& asset);

  /// What happens after a listing, with the asset's identifier.
  std::function<void(const std::string& asset)> afterListing;

  PHAssetResources assetResourcesForAsset(const PHAsset& asset) override;

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

  FakeAssetResourceManager(EventLog& log, const FakePhotoLibrary& library, FakeFileManager& files);
  ~FakeAssetResourceManager() override;

  /// What `complete` writes: the originals that are there, by the names of their resources.
  std::map<std::string, ByteBuffer> originals;

  /// Ends a write as the system does: with its file, or with the error that it comes to.
  void complete(std::size_t index);

  void writeDataForAssetResource(
      std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
      const PHAssetResourceRequestOptions* options,
      std::function<void(std::optional<NSError>)> completionHandler) override;

  std::vector<Write> writes;

 private:
  std::optional<NSError> copy(const PHAssetResource& resource, const std::string& path);

  EventLog& log_;
  const FakePhotoLibrary& library_;
  FakeFileManager& files_;
};

}  // namespace quorvin
