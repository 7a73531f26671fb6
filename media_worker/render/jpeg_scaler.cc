// A JPEG in light and colour differences becomes smaller in these, and red, green and blue when
// that is done: of fewer pixels, and with filters that use the processor's vectors, as libvips does
// not inside the sandbox.
#include <memory>

#include "media_worker/heif/planes.h"
#include "media_worker/reading/jpeg_decoder.h"
#include "media_worker/reading/orientation.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

std::shared_ptr<PixelMemory> loadSmallerJpeg(const InputFile& file, int shrink, PixelSize stored,
                                             int orientation, bool failOnDamage) {
  const auto planes = decodeJpegPlanes(file, shrink, failOnDamage);
  if (!planes) return nullptr;
  const int width = static_cast<int>(stored.width);
  const int height = static_cast<int>(stored.height);
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto samples = std::make_unique<std::uint8_t[]>(6 * size);
  YuvPicture picture{{}, width, height, YuvSampling::yuv444, YuvCoding{}};
  std::array<WritablePlane, 3> rgb;
  RgbPicture upright{{}, width, height};
  for (std::size_t c = 0; c < 3; ++c) {
    const JpegPlane& from = (*planes)[c];
    const WritablePlane scaled{samples.get() + c * size, width};
    if (!scalePlane({from.samples.data(), from.stride}, from.width, from.height, scaled, width,
                    height)) {
      return nullptr;
    }
    picture.planes.at(c) = {scaled.data, width};
    rgb.at(c) = {scaled.data + 3 * size, width};
    upright.planes.at(c) = {rgb.at(c).data, width};
  }
  if (!convertToRgb(picture, rgb)) return nullptr;
  const auto [across, down] = uprightSize(stored.width, stored.height, orientation);
  auto memory = PixelMemory::make({across, down, 3});
  return memory && interleaveUpright(upright, orientation, memory->data()) ? std::move(memory)
                                                                           : nullptr;
}

}  // namespace quorvin
