#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <latch>
#include <mutex>

#include "platform_linux/images/linux_image_manager.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/contracts/image_manager_contract.h"
#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

/// A grey TIFF without compression.
std::string greyTiff(std::uint32_t width, std::uint32_t height) {
  std::string tiff("II*\0\x08\0\0\0", 8);
  const auto number = [&tiff](std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) tiff += static_cast<char>(value >> (8 * i) & 0xFF);
  };
  struct Entry {
    std::uint32_t tag, value;
  };
  const Entry entries[] = {{256, width}, {257, height}, {258, 8},
                           {259, 1},     {262, 1},      {273, 122},
                           {277, 1},     {278, height}, {279, width * height}};
  number(std::size(entries), 2);
  for (const Entry& entry : entries) {
    number(entry.tag, 2);
    number(entry.tag == 273 || entry.tag == 279 ? 4 : 3, 2);  // 32 or 16 bits
    number(1, 4);
    number(entry.value, 4);
  }
  number(0, 4);  // no second picture
  return tiff + std::string(std::size_t{width} * height, '\x80');
}

/// Lets nobody look at an asset until it is opened.
class GatedFiles final : public AssetFiles {
 public:
  explicit GatedFiles(AssetFiles& files) : files_(files) {}
  void open(bool isOpen) {
    const std::lock_guard guard(mutex_);
    isOpen_ = isOpen;
    changed_.notify_all();
  }

  Result<StoredResources> storedResources(const std::string& localIdentifier) override {
    std::unique_lock guard(mutex_);
    changed_.wait(guard, [this] { return isOpen_; });
    return files_.storedResources(localIdentifier);
  }
  Done accessTo(const StoredResource& resource) override { return files_.accessTo(resource); }
  Result<TimeMap> timeMap(const std::string& localIdentifier) override {
    return files_.timeMap(localIdentifier);
  }

 private:
  AssetFiles& files_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = false;
};

/// With the real media worker.
class LinuxImages {
 public:
  using Asset = std::shared_ptr<const PHAsset>;
  using Type = PHAssetResourceType;

  ~LinuxImages() {
    gate_.open(true);
    manager_.shutDown();
  }

  PHImageManager& manager() { return manager_; }

  Asset photo() {
    stored_.add("photo", Type::photo, "IMG_1.TIF");
    std::ofstream(stored_.path("IMG_1.TIF"), std::ios::binary) << greyTiff(600, 400);
    return asset("photo", PHAssetMediaType::image);
  }
  Asset damagedPhoto() {
    stored_.add("damaged", Type::photo, "DAMAGED.TIF");
    return asset("damaged", PHAssetMediaType::image);
  }
  Asset livePhoto() {
    stored_.add("live", Type::photo, "IMG_1.HEIC");
    stored_.add("live", Type::pairedVideo, "IMG_1.MOV");
    return asset("live", PHAssetMediaType::image, PHAssetMediaSubtype::photoLive);
  }
  Asset video() {
    stored_.add("video", Type::video, "CLIP.MOV");
    return asset("video", PHAssetMediaType::video);
  }
  Asset sound() {
    stored_.add("sound", Type::audio, "SONG.MP3");
    return asset("sound", PHAssetMediaType::audio);
  }

  static std::string photoType() { return "type.IMG_1.TIF"; }
  static ByteBuffer photoBytes() {
    const std::string tiff = greyTiff(600, 400);
    return ByteBuffer(std::vector<std::uint8_t>(tiff.begin(), tiff.end()));
  }
  bool isVideoFile(const std::string& path) { return path == stored_.path("CLIP.MOV"); }
  void removeOriginals(const PHAsset& asset) {
    const auto resources = stored_.storedResources(asset.localIdentifier);
    for (const auto& resource : *resources) {
      std::filesystem::remove(resource->path);
    }
  }
  void refuseAccess() {
    stored_.refuse(Failure(LibraryErrorCode::accessUserDenied, "Access was withdrawn."));
  }

  /// There is one thread for small pictures and one for large ones, and one request at most that
  /// waits. Of four that are served one is who waits the longest.
  void settle() {
    constexpr int kServed = 4;
    gate_.open(true);
    std::latch done(2 * kServed);
    PHImageRequestOptions once;
    once.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
    for (int i = 0; i < kServed; ++i) {
      const auto none = asset("none " + std::to_string(i), PHAssetMediaType::image);
      manager_.requestImageDataAndOrientationForAsset(none, {},
                                                      [&done](auto&&...) { done.count_down(); });
      manager_.requestImageForAsset(none, PHImageManagerMaximumSize, PHImageContentModeAspectFit,
                                    once, [&done](auto&&...) { done.count_down(); });
    }
    done.wait();
    gate_.open(false);
  }

 private:
  static Asset asset(const std::string& name, PHAssetMediaType type, std::uint64_t subtypes = 0) {
    return assetOf(type, name, subtypes);
  }

  StoredFiles stored_;
  GatedFiles gate_{stored_};
  MediaWorkerPool media_{{.program = std::getenv("QUORVIN_MEDIA_WORKER"), .size = 1}};
  LinuxImageManager manager_{gate_, media_, 1};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ImageManagerContract, LinuxImages);

}  // namespace
}  // namespace quorvin
