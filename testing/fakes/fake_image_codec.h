// Encodings that the test lays down.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/platform/image_codec.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

class FakeImage : public UIImage {
 public:
  explicit FakeImage(std::string name, std::int64_t width = 4, std::int64_t height = 3);
  ~FakeImage() override;
  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }

  const std::string name;

 private:
  const std::int64_t width_;
  const std::int64_t height_;
};

/// Takes images of its own only. Logs "UIImageJPEGRepresentation NAME QUALITY" and the like. Any
/// thread once the test has laid down the results.
class FakeImageCodec : public ImageCodec {
 public:
  explicit FakeImageCodec(EventLog& log);
  ~FakeImageCodec() override;

  std::optional<ByteBuffer> jpeg = ByteBuffer({0xFF, 0xD8, 0xFF});
  std::optional<ByteBuffer> png = ByteBuffer({0x89, 'P', 'N', 'G'});
  /// What happens inside an encoding, on its thread.
  std::function<void()> duringEncoding;
  std::shared_ptr<const UIImage> decoded = std::make_shared<const FakeImage>("decoded");

  std::shared_ptr<const UIImage> imageWithData(const ByteBuffer& data) override;
  std::optional<ByteBuffer> UIImageJPEGRepresentation(const UIImage& image,
                                                      double compressionQuality) override;
  std::optional<ByteBuffer> UIImagePNGRepresentation(const UIImage& image) override;

 private:
  EventLog& log_;
};

}  // namespace quorvin
