// An image manager on stored files and a media service that a test scripts, and what its requests
// come to.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <latch>
#include <limits>

#include "platform_linux/errors/presented.h"
#include "platform_linux/images/linux_image_manager.h"
#include "testing/platform/testing_images.h"

namespace quorvin {

using DeliveryMode = PHImageRequestOptionsDeliveryMode;
using Fit = RenderRequest::Fit;
using ResizeMode = PHImageRequestOptionsResizeMode;
using Version = PHImageRequestOptionsVersion;

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Data {
  std::optional<ByteBuffer> bytes;
  std::optional<std::string> type;
  std::int64_t orientation = 0;
};

using ImageCalls = Calls<std::shared_ptr<const UIImage>>;
using DataCalls = Calls<Data>;
using VideoCalls = Calls<std::shared_ptr<const AVAsset>>;
using LivePhotoCalls = Calls<std::shared_ptr<const PHLivePhoto>>;

inline PHImageRequestOptions highQuality(ResizeMode resizeMode = ResizeMode::fast) {
  PHImageRequestOptions options;
  options.deliveryMode = DeliveryMode::highQualityFormat;
  options.resizeMode = resizeMode;
  return options;
}

inline std::string text(const ByteBuffer& bytes) {
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

/// A handler that records its calls.
template <class AnyCalls>
auto into(AnyCalls& calls) {
  return [&calls](auto outcome, const PHImageInfo* info) { calls.add(std::move(outcome), info); };
}

class LinuxImageManagerTest : public testing::Test {
 protected:
  /// The only call that the request comes to.
  ImageCalls::Call image(std::shared_ptr<const PHAsset> asset, CGSize size,
                         PHImageContentMode mode = 0,
                         const PHImageRequestOptions& options = highQuality()) {
    return onlyCall<ImageCalls>([&](LinuxImageManager& manager, ImageCalls& calls) {
      return manager.requestImageForAsset(asset, size, mode, options, into(calls));
    });
  }
  /// What the media service is asked to render for such a request.
  RenderRequest rendering(CGSize size, PHImageContentMode mode,
                          const PHImageRequestOptions& options = highQuality()) {
    image(photo(), size, mode, options);
    return media_.renderings().back().request;
  }
  DataCalls::Call data(std::shared_ptr<const PHAsset> asset,
                       const PHImageRequestOptions& options = highQuality()) {
    return onlyCall<DataCalls>([&](LinuxImageManager& manager, DataCalls& calls) {
      return manager.requestImageDataAndOrientationForAsset(
          asset, options,
          [&calls](auto bytes, const auto& type, std::int64_t orientation,
                   const PHImageInfo* info) {
            calls.add({std::move(bytes), type, orientation}, info);
          });
    });
  }
  VideoCalls::Call video(std::shared_ptr<const PHAsset> asset, Version version = Version::current) {
    PHVideoRequestOptions options;
    options.version = version;
    return onlyCall<VideoCalls>([&](LinuxImageManager& manager, VideoCalls& calls) {
      return manager.requestAVAssetForVideo(asset, options, into(calls));
    });
  }
  LivePhotoCalls::Call livePhoto(std::shared_ptr<const PHAsset> asset,
                                 CGSize size = PHImageManagerMaximumSize) {
    PHLivePhotoRequestOptions options;
    options.deliveryMode = DeliveryMode::highQualityFormat;
    return onlyCall<LivePhotoCalls>([&](LinuxImageManager& manager, LivePhotoCalls& calls) {
      return manager.requestLivePhotoForAsset(asset, size, 0, options, into(calls));
    });
  }

  /// A photo with one file.
  std::shared_ptr<const PHAsset> photo() {
    if (!files_.storedResources("photo")) {
      files_.add("photo", PHAssetResourceType::photo, "IMG_1.JPG");
    }
    return assetOf(PHAssetMediaType::image, "photo");
  }
  std::shared_ptr<const PHAsset> slowMotion(double frameRate, double captureFrameRate = 0) {
    files_.add("slow", PHAssetResourceType::video, "SLOW.MOV");
    media_.onProbe = [frameRate, captureFrameRate](const std::string& name) {
      EXPECT_EQ(name, "SLOW.MOV");
      MediaProbe probe;
      probe.kind = MediaKind::video;
      probe.duration = 10;
      probe.frameRate = frameRate;
      probe.captureFrameRate = captureFrameRate;
      return probe;
    };
    return assetOf(PHAssetMediaType::video, "slow", PHAssetMediaSubtype::videoHighFrameRate);
  }
  std::shared_ptr<const PHAsset> completeLivePhoto() {
    files_.add("live", PHAssetResourceType::fullSizePhoto, "EDITED.JPG");
    files_.add("live", PHAssetResourceType::photo, "LIVE.HEIC");
    files_.add("live", PHAssetResourceType::pairedVideo, "LIVE.MOV");
    return assetOf(PHAssetMediaType::image, "live", PHAssetMediaSubtype::photoLive);
  }

  StoredFiles files_;
  ScriptedMedia media_;

 private:
  template <class AnyCalls, class Request>
  typename AnyCalls::Call onlyCall(const Request& request) {
    AnyCalls calls;
    LinuxImageManager manager(files_, media_, 2);
    EXPECT_GT(request(manager, calls), 0);
    calls.wait(1);
    manager.shutDown();
    const auto all = calls.all();
    EXPECT_EQ(all.size(), 1U);
    EXPECT_FALSE(all.front().isDegraded());
    EXPECT_FALSE(all.front().isCancelled());
    return all.front();
  }
};

inline void expectError(const NSError* error, LibraryErrorCode code, std::string_view sentence) {
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(*error, presented(Failure(code, sentence)));
}

}  // namespace quorvin
