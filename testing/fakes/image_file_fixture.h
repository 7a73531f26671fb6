// What the tests of getImageUrl share.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "testing/fakes/export_fixture.h"

namespace quorvin {

inline Map imageFile(bool convertJpeg = false, bool mediumQuality = false,
                     const std::string& assetId = "p") {
  return {{"assetId", assetId}, {"convertJpeg", convertJpeg}, {"mediumQuality", mediumQuality}};
}

inline const Map kStored = imageFile(false, false);
inline const Map kConverted = imageFile(true, false);
inline const Map kMedium = imageFile(false, true);

inline std::string pathOf(const std::string& name) {
  return "/temporary/image/" + name;
}

/// An image that is stored as HEIC, and calls of getImageUrl with their deliveries.
class ImageFileTest : public ExportTest {
 protected:
  ImageFileTest() {
    addAsset("p");
    resources.add("p", PHAssetResourceType::photo, "IMG_1.HEIC", "public.heic");
  }

  void addAsset(const std::string& id) {
    PHAsset asset = photo(id);
    asset.creationDate = NSDate(1000.5);
    asset.modificationDate = NSDate(2000.25);
    library.addAsset(asset);
    log.clear();
  }

  /// Another asset, whose resources the caller adds.
  std::string addAnotherAsset() {
    const std::string id = "asset" + std::to_string(++others_);
    addAsset(id);
    return id;
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call) { return plugin.answer("getImageUrl", call); }

  /// The call of a rendering, and its deliveries.
  RecordedReply requestMedium() {
    index_ = images.imageRequests().size();
    return request(kMedium);
  }
  void deliver(const std::shared_ptr<const UIImage>& delivered,
               const std::optional<PHImageInfo>& info = {}) {
    deliverImage(delivered, info, index_);
  }

  RecordedReply requestData(const Map& call) {
    index_ = images.dataRequests().size();
    return request(call);
  }
  void deliver(const std::optional<ByteBuffer>& data, const std::optional<std::string>& type = {},
               const std::optional<PHImageInfo>& info = {}) {
    deliverData(data, type, info, index_, 6);
  }

  const std::shared_ptr<const UIImage> image = std::make_shared<const FakeImage>("final");
  const FlutterError conversionFailed{"Error", "HEIC to JPEG conversion failed", Value()};
  const FlutterError mediumFailed{"Error", "Failed to generate medium quality JPEG", Value()};
  const FlutterError noPhoto{"Error", "No photo resource found", Value()};

 private:
  std::size_t index_ = 0;
  int others_ = 0;
};

}  // namespace quorvin
