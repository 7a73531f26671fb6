#include "media_worker/encode.h"

#include <algorithm>
#include <cmath>

#include "media_worker/vips_image.h"
#include "platform_linux/media/sealed_memory.h"

namespace quorvin {

namespace {

bool saveJpeg(ImagePtr image, VipsTarget* target, double quality) {
  if (image->Bands == 4) {
    const double white[] = {255, 255, 255};
    VipsArrayDouble* background = vips_array_double_new(white, 3);
    const bool flat = apply(image, [&](VipsImage* in, VipsImage** out) {
      return vips_flatten(in, out, "background", background, nullptr);
    });
    vips_area_unref(VIPS_AREA(background));
    if (!flat) return false;
  }
  const int q = std::clamp(static_cast<int>(std::lround(quality * 100)), 1, 100);
  return vips_jpegsave_target(image.get(), target, "Q", q, "strip", TRUE, nullptr) == 0;
}

/// On photos this pair was smaller than level 6 without a filter by a sixth, in two thirds of the
/// time; level 6 with it takes four times as long for another twentieth.
bool savePng(const ImagePtr& image, VipsTarget* target) {
  return vips_pngsave_target(image.get(), target, "compression", 2, "filter",
                             VIPS_FOREIGN_PNG_FILTER_PAETH, "strip", TRUE, nullptr) == 0;
}

NSError cannotEncode() {
  return workerError(LibraryErrorCode::internal, "The picture cannot be encoded.");
}

}  // namespace

Result<FileDescriptor> encodePixels(int memory, const EncodeRequest& request) {
  const std::size_t size = request.layout.byteCount();
  if (sealedMemorySize(memory) != size || request.layout.width > VIPS_MAX_COORD ||
      request.layout.height > VIPS_MAX_COORD) {
    return workerError(LibraryErrorCode::internal, "The pixels are not as announced.");
  }
  const MappedMemory pixels(memory, size, MappedMemory::Access::read);
  FileDescriptor encoded = makeMemoryFile(0);
  if (!pixels || !encoded) return workerError(LibraryErrorCode::internal, "Memory ran out.");
  ImagePtr image(vips_image_new_from_memory(
      pixels.data(), size, static_cast<int>(request.layout.width),
      static_cast<int>(request.layout.height), request.layout.channels, VIPS_FORMAT_UCHAR));
  const GObjectPtr<VipsTarget> target(vips_target_new_to_descriptor(encoded.get()));
  if (!image || !target) return cannotEncode();
  image->Type = VIPS_INTERPRETATION_sRGB;
  const bool saved = request.format == ImageFormat::jpeg
                         ? saveJpeg(std::move(image), target.get(), request.quality)
                         : savePng(image, target.get());
  if (!saved || !sealMemoryFile(encoded)) return cannotEncode();
  return encoded;
}

}  // namespace quorvin
