#include "testing/fakes/fake_image_manager.h"

#include <gtest/gtest.h>

#include <thread>

#include "testing/contracts/image_manager_contract.h"
#include "testing/fakes/fake_asset_resources.h"
#include "testing/fakes/fake_photo_library.h"

namespace quorvin {
namespace {

class FakeImages {
 public:
  using Asset = std::shared_ptr<const PHAsset>;

  PHImageManager& manager() { return images_; }

  Asset photo() {
    return add("photo", PHAssetMediaType::image,
               {.data = photoBytes(), .typeIdentifier = photoType()});
  }
  Asset damagedPhoto() {
    return add("damaged", PHAssetMediaType::image, {.data = photoBytes(), .isDamaged = true});
  }
  Asset livePhoto() {
    const auto part = [](PHAssetResourceType type, const char* name) {
      return std::make_shared<const FakeAssetResource>("live", type, name, "public.data");
    };
    return add("live", PHAssetMediaType::image,
               {.livePhotoFiles = {part(PHAssetResourceType::photo, "IMG_1.HEIC"),
                                   part(PHAssetResourceType::pairedVideo, "IMG_1.MOV")}});
  }
  Asset video() { return add("video", PHAssetMediaType::video, {.videoPath = "/in/a.mov"}); }
  Asset sound() { return add("sound", PHAssetMediaType::audio, {}); }

  static std::string photoType() { return "public.tiff"; }
  static ByteBuffer photoBytes() { return ByteBuffer({1, 2, 3}); }
  static bool isVideoFile(const std::string& path) { return path == "/in/a.mov"; }
  void removeOriginals(const PHAsset& asset) { images_.originals.erase(asset.localIdentifier); }
  void refuseAccess() { library_.status = PHAuthorizationStatus::denied; }
  void settle() {
    std::thread([this] { images_.complete(); }).join();
  }

 private:
  Asset add(const std::string& name, PHAssetMediaType type, FakeImageManager::Originals files) {
    PHAsset asset;
    asset.localIdentifier = name;
    asset.mediaType = type;
    asset.pixelWidth = 600;
    asset.pixelHeight = 400;
    library_.addAsset(asset);
    images_.originals[name] = std::move(files);
    return std::make_shared<const PHAsset>(std::move(asset));
  }

  EventLog log_;
  FakePhotoLibrary library_{log_, [](const std::string& what) { ADD_FAILURE() << what; }};
  FakeImageManager images_{log_, library_};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ImageManagerContract, FakeImages);

}  // namespace
}  // namespace quorvin
