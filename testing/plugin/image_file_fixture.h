// What the tests of getImageUrl share.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "testing/plugin/export_fixture.h"

namespace quorvin {

Map imageFile(bool convertJpeg = false, bool mediumQuality = false,
              const std::string& assetId = "p");

inline const Map kStored = imageFile(false, false);
inline const Map kConverted = imageFile(true, false);
inline const Map kMedium = imageFile(false, true);

std::string pathOf(const std::string& name);

/// An image that is stored as HEIC, and calls of getImageUrl with their deliveries.
class ImageFileTest : public ExportTest {
 protected:
  ImageFileTest();
  ~ImageFileTest() override;

  void addAsset(const std::string& id);

  /// Another asset, whose resources the caller adds.
  std::string addAnotherAsset();

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call);

  /// The call of a rendering, and its deliveries.
  RecordedReply requestMedium();
  void deliver(const std::shared_ptr<const UIImage>& delivered,
               const std::optional<PHImageInfo>& info = {});

  RecordedReply requestData(const Map& call);
  void deliver(const std::optional<ByteBuffer>& data, const std::optional<std::string>& type = {},
               const std::optional<PHImageInfo>& info = {});

  const std::shared_ptr<const UIImage> image = std::make_shared<const FakeImage>("final");
  const FlutterError conversionFailed{"Error", "HEIC to JPEG conversion failed", Value()};
  const FlutterError mediumFailed{"Error", "Failed to generate medium quality JPEG", Value()};
  const FlutterError noPhoto{"Error", "No photo resource found", Value()};

 private:
  std::size_t index_ = 0;
  int others_ = 0;
};

}  // namespace quorvin
