#include "testing/fakes/fake_asset_resources.h"

#include <gtest/gtest.h>

#include <thread>

#include "testing/contracts/asset_resources_contract.h"
#include "testing/fakes/fake_platform.h"
#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

class FakeResources {
 public:
  PHAssetResourceLister& lister() { return platform_.resources; }
  PHAssetResourceManager& manager() { return platform_.resourceManager; }

  PHAsset addAsset() {
    const PHAsset asset = photo("asset-" + std::to_string(++planted_));
    platform_.library.addAsset(asset);
    platform_.resources.add(asset.localIdentifier, PHAssetResourceType::photo, "IMG_1.HEIC",
                            "public.heic");
    platform_.resources.add(asset.localIdentifier, PHAssetResourceType::pairedVideo, "IMG_1.MOV",
                            "public.quicktime-movie");
    platform_.resourceManager.originals = {{"IMG_1.HEIC", bytes("photo")},
                                           {"IMG_1.MOV", bytes("movie")}};
    return asset;
  }
  void removeOriginals(const PHAsset&) { platform_.resourceManager.originals.clear(); }
  void removeAsset(const PHAsset& asset) { platform_.library.removeAsset(asset.localIdentifier); }
  void select(const PHAsset& asset) { platform_.library.select(asset.localIdentifier); }
  void allow(PHAuthorizationStatus status) { platform_.library.status = status; }

  static std::string folder() { return "/temporary"; }
  void put(const std::string& path, const std::string& text) {
    platform_.files.addText(path, text);
  }
  std::optional<std::string> text(const std::string& path) { return platform_.files.text(path); }
  bool exists(const std::string& path) { return platform_.files.fileExists(path); }

  void settle() {
    while (completed_ < platform_.resourceManager.writes.size()) {
      std::thread([this] { platform_.resourceManager.complete(completed_); }).join();
      ++completed_;
    }
  }

 private:
  static ByteBuffer bytes(const std::string& text) {
    return ByteBuffer(std::vector<std::uint8_t>(text.begin(), text.end()));
  }

  FakePlatform platform_{[](const std::string& what) { ADD_FAILURE() << what; }};
  int planted_ = 0;
  std::size_t completed_ = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, AssetResourcesContract, FakeResources);

}  // namespace
}  // namespace quorvin
