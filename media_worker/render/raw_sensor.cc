// Raw photos without a preview that serves, developed from the sensor's data by LibRaw: the
// camera's white balance, its matrix to sRGB, and brightness as the library finds it.
#include <libraw/libraw.h>

#include <memory>
#include <vector>

#include "media_protocol/wire.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/orientation.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

constexpr std::int64_t kMaximumRawSize = 512 << 20;
/// Sensor data, four channels of 16 bits, and what comes out.
constexpr std::int64_t kBytesPerPixel = 14;

using Developed =
    std::unique_ptr<libraw_processed_image_t,
                    decltype([](libraw_processed_image_t* i) { LibRaw::dcraw_clear_mem(i); })>;

PixelSize sizeOf(const LibRaw& raw) {
  return {raw.imgdata.sizes.iwidth, raw.imgdata.sizes.iheight};
}

ImagePtr imageOf(Developed developed) {
  if (!developed || developed->type != LIBRAW_IMAGE_BITMAP || developed->bits != 8 ||
      developed->colors != 3) {
    return nullptr;
  }
  const std::int64_t width = developed->width;
  const std::int64_t height = developed->height;
  const std::uint8_t* const rows = developed->data;
  const std::shared_ptr<const libraw_processed_image_t> owner(std::move(developed));
  return imageOfRows(owner, rows, width, height, 3, static_cast<std::size_t>(width) * 3);
}

}  // namespace

Result<LoadedImage> loadRawSensor(const InputFile& file, const RenderRequest& request,
                                  int orientation) {
  if (file.size() > kMaximumRawSize) return cannotDecode();
  std::vector<std::uint8_t> bytes = file.head(static_cast<std::size_t>(file.size()));
  const auto raw = std::make_unique<LibRaw>();
  // It would write of damage to the standard error.
  raw->set_dataerror_handler(nullptr, nullptr);
  raw->imgdata.params.use_camera_wb = 1;
  raw->imgdata.params.output_bps = 8;
  raw->imgdata.params.user_flip = 0;
  if (raw->open_buffer(bytes.data(), bytes.size()) != LIBRAW_SUCCESS) return cannotDecode();
  const PixelSize full = sizeOf(*raw);
  if (!isDecodableSize(full.width, full.height, kMaximumWholePixelCount)) return tooManyPixels();
  const bool turned = exchangesSides(orientation);
  auto target = renderingSize(request, turned ? full.turned() : full);
  if (!target) return target.error();
  const PixelSize asked = turned ? target->scaled.turned() : target->scaled;
  // Four cells of the sensor become one pixel, without a guess at what lies between.
  raw->imgdata.params.half_size = 2 * asked.width <= full.width ? 1 : 0;
  requireMemory(full.width * full.height * kBytesPerPixel + file.size());
  if (raw->unpack() != LIBRAW_SUCCESS || raw->dcraw_process() != LIBRAW_SUCCESS) {
    return cannotDecode();
  }
  LoadedImage loaded;
  loaded.image = imageOf(Developed(raw->dcraw_make_mem_image()));
  if (!loaded.image) return cannotDecode();
  loaded.orientation = orientation;
  loaded.target = *target;
  return loaded;
}

}  // namespace quorvin
