#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/resources/linux_asset_resource_manager.h"
#include "testing/contracts/asset_resources_contract.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

class LinuxResources {
 public:
  LinuxResources() {
    allow(PHAuthorizationStatus::authorized);
    std::filesystem::create_directory(folder());
  }

  PHAssetResourceLister& lister() { return *library_; }
  PHAssetResourceManager& manager() { return manager_; }

  PHAsset addAsset() {
    const std::string asset = gardener_.plant({});
    addResource(asset, PHAssetResourceType::photo, "IMG_1.HEIC", "public.heic", "photo");
    addResource(asset, PHAssetResourceType::pairedVideo, "IMG_1.MOV", "public.quicktime-movie",
                "movie");
    return {.localIdentifier = asset};
  }
  void removeOriginals(const PHAsset& asset) {
    std::filesystem::remove_all(
        folder_ / ("library/originals/" + uuidOf(asset.localIdentifier).substr(0, 2)));
  }
  void removeAsset(const PHAsset& asset) {
    gardener_.run("UPDATE assets SET trashed_ns = 1 WHERE ident = '" + asset.localIdentifier + "'");
  }
  void select(const PHAsset& asset) {
    gardener_.run("INSERT INTO limited_selection SELECT id FROM assets WHERE ident = '" +
                  asset.localIdentifier + "'");
  }
  void allow(PHAuthorizationStatus status) {
    EXPECT_TRUE(storeAuthorization(folder_ / "library", status));
  }

  std::string folder() const { return folder_ / "out"; }
  static void put(const std::string& path, const std::string& text) { writeFile(path, text); }
  static std::optional<std::string> text(const std::string& path) { return readIfThere(path); }
  static bool exists(const std::string& path) { return std::filesystem::exists(path); }

  /// There is one thread, so what comes last ends last.
  void settle() {
    std::promise<void> done;
    manager_.writeDataForAssetResource(
        std::make_shared<const PHAssetResource>(PHAssetResourceType::photo, "", ""), "", nullptr,
        [&done](const std::optional<NSError>&) { done.set_value(); });
    done.get_future().wait();
  }

 private:
  static std::string uuidOf(const std::string& identifier) {
    return identifier.substr(0, identifier.find('/'));
  }
  void addResource(const std::string& asset, PHAssetResourceType type, const std::string& name,
                   const std::string& typeIdentifier, const std::string& content) {
    const std::string path =
        originalPath(uuidOf(asset), type == PHAssetResourceType::pairedVideo, "bin");
    writeFile(folder_ / ("library/originals/" + path), content);
    const std::string number = std::to_string(static_cast<std::int64_t>(type));
    gardener_.run("INSERT INTO resources SELECT id, " + number + ", " + number + ", '" + name +
                  "', '" + typeIdentifier + "', '" + path + "', " + std::to_string(content.size()) +
                  ", x'00', 1 FROM assets WHERE ident = '" + asset + "'");
  }

  TemporaryFolder folder_;
  std::unique_ptr<Library> library_ = *Library::open({.path = folder_ / "library",
                                                      .authorization = std::nullopt,
                                                      .prompt = {},
                                                      .mainQueue = nullptr});
  Gardener gardener_{folder_ / "library"};
  TemporaryDirectory temporary_{folder_ / "out", ""};
  LinuxAssetResourceManager manager_{*library_, temporary_, 1};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, AssetResourcesContract, LinuxResources);

}  // namespace
}  // namespace quorvin
