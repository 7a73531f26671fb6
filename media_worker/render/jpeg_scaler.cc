// A JPEG in light and colour differences becomes smaller in these, and red, green and blue when
// that is done: of fewer pixels, and with filters that use the processor's vectors, as libvips does
// not inside the sandbox.
extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <memory>

#include "media_worker/heif/planes.h"
#include "media_worker/reading/jpeg_decoder.h"
#include "media_worker/reading/orientation.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

using Scaler = std::unique_ptr<SwsContext, decltype([](SwsContext* s) { sws_freeContext(s); })>;

/// False when it fails.
bool scalePlane(const JpegPlane& from, int width, int height, std::uint8_t* to) {
  const Scaler scaler(sws_getContext(from.width, from.height, AV_PIX_FMT_GRAY8, width, height,
                                     AV_PIX_FMT_GRAY8, SWS_LANCZOS | SWS_ACCURATE_RND, nullptr,
                                     nullptr, nullptr));
  if (!scaler) return false;
  const std::uint8_t* const source[4] = {from.samples.data()};
  const int sourceStrides[4] = {from.stride};
  std::uint8_t* const target[4] = {to};
  const int targetStrides[4] = {width};
  return sws_scale(scaler.get(), source, sourceStrides, 0, from.height, target, targetStrides) ==
         height;
}

}  // namespace

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
    std::uint8_t* const scaled = samples.get() + c * size;
    if (!scalePlane((*planes)[c], width, height, scaled)) return nullptr;
    picture.planes.at(c) = {scaled, width};
    rgb.at(c) = {scaled + 3 * size, width};
    upright.planes.at(c) = {rgb.at(c).data, width};
  }
  if (!convertToRgb(picture, rgb)) return nullptr;
  const auto [across, down] = uprightSize(stored.width, stored.height, orientation);
  auto memory = PixelMemory::make({across, down, 3});
  return memory && interleaveUpright(upright, orientation, memory->data()) ? std::move(memory)
                                                                           : nullptr;
}

}  // namespace quorvin
