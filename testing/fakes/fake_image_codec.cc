#include "testing/fakes/fake_image_codec.h"

#include <sstream>
#include <utility>

namespace quorvin {
namespace {

const std::string& nameOf(const UIImage& image) {
  return static_cast<const FakeImage&>(image).name;
}

}  // namespace

FakeImage::FakeImage(std::string name, std::int64_t width, std::int64_t height)
    : name(std::move(name)), width_(width), height_(height) {}
FakeImage::~FakeImage() = default;

FakeImageCodec::FakeImageCodec(EventLog& log) : log_(log) {}
FakeImageCodec::~FakeImageCodec() = default;

std::shared_ptr<const UIImage> FakeImageCodec::imageWithData(const ByteBuffer& data) {
  log_.add("imageWithData " + std::to_string(data.size()));
  return decoded;
}

std::optional<ByteBuffer> FakeImageCodec::UIImageJPEGRepresentation(const UIImage& image,
                                                                    double compressionQuality) {
  std::ostringstream event;
  event << "UIImageJPEGRepresentation " << nameOf(image) << " " << compressionQuality;
  log_.add(event.str());
  if (const auto hook = duringEncoding) hook();
  return jpeg;
}

std::optional<ByteBuffer> FakeImageCodec::UIImagePNGRepresentation(const UIImage& image) {
  log_.add("UIImagePNGRepresentation " + nameOf(image));
  if (const auto hook = duringEncoding) hook();
  return png;
}

}  // namespace quorvin
