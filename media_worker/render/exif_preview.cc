#include <algorithm>
#include <string>

#include "media_worker/reading/jpeg_decoder.h"
#include "media_worker/reading/named_colours.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

/// Programs that change a picture change its date, or its size, and may leave the preview as it
/// was.
bool isAsTaken(VipsImage* header) {
  const std::string taken = exifField(header, "exif-ifd2-DateTimeOriginal");
  return !taken.empty() && exifField(header, "exif-ifd0-DateTime") == taken &&
         exifField(header, "exif-ifd2-PixelXDimension") == std::to_string(header->Xsize) &&
         exifField(header, "exif-ifd2-PixelYDimension") == std::to_string(header->Ysize);
}

}  // namespace

ImagePtr loadExifPreview(VipsImage* header, PixelSize asked) {
  constexpr const char* kPreview = "jpeg-thumbnail-data";
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(header, kPreview) == 0 ||
      vips_image_get_blob(header, kPreview, &bytes, &size) != 0 || !isAsTaken(header)) {
    return nullptr;
  }
  ImagePtr preview = decodeJpeg(std::span(static_cast<const std::uint8_t*>(bytes), size), 1, true);
  if (!preview || preview->Bands != header->Bands || preview->Xsize < asked.width ||
      preview->Ysize < asked.height ||
      !showsSameCut({preview->Xsize, preview->Ysize}, {header->Xsize, header->Ysize})) {
    return nullptr;
  }
  copyColours(header, preview.get());
  return preview;
}

}  // namespace quorvin
