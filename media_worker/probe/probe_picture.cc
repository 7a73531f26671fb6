#include "media_worker/probe/probe_picture.h"

#include <string>

#include "media_protocol/wire.h"
#include "media_worker/headers/jpeg_passes.h"
#include "media_worker/reading/coded_picture.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/jpeg_decoder.h"
#include "media_worker/reading/orientation.h"
#include "media_worker/reading/vips_image.h"
#include "media_worker/reading/wanted_loaders.h"

namespace quorvin {
namespace {

/// Formats that come only whole are not decoded beyond this many pixels just to look at them.
constexpr std::int64_t kLargestTrial = 100'000'000;

bool comesWhole(VipsImage* image, PictureFormat format) {
  return format == PictureFormat::gif || format == PictureFormat::webp ||
         integerField(image, "interlaced", 0) != 0;
}

bool firstRowDecodes(VipsImage* image, const InputFile& file, PictureFormat format) {
  if (format == PictureFormat::jpeg && comesWhole(image, format)) {
    return firstRowsOfPassesDecode(file);
  }
  const GObjectPtr<VipsRegion> region(vips_region_new(image));
  const VipsRect row{0, 0, vips_image_get_width(image), 1};
  return region && vips_region_prepare(region.get(), &row) == 0;
}

/// Animated PNGs announce their frames in a chunk before the pixels; libvips shows the first.
bool isAnimatedPng(const InputFile& file) {
  constexpr std::int64_t kFirstChunk = 8;
  constexpr int kMostChunks = 1000;
  std::int64_t position = kFirstChunk;
  for (int count = 0; count < kMostChunks; ++count) {
    std::uint8_t head[12];
    if (file.readAt(position, head) < sizeof head) return false;
    const std::string type(head + 4, head + 8);
    const auto number = [&head](int at) {
      return std::int64_t{head[at]} << 24 | head[at + 1] << 16 | head[at + 2] << 8 | head[at + 3];
    };
    if (type == "acTL") return number(8) > 1;
    if (type == "IDAT") return false;
    position += number(0) + 12;
  }
  return false;
}

/// Formats that FFmpeg alone decodes, and only whole.
Result<MediaProbe> probeCodedPicture(const InputFile& file, PictureFormat format) {
  const ImagePtr image = decodeCodedPicture(file, format);
  if (!image) return pictureError("the photo is damaged: it cannot be decoded.");
  MediaProbe probe;
  probe.pixelWidth = image->Xsize;
  probe.pixelHeight = image->Ysize;
  return probe;
}

}  // namespace

Failure pictureError(std::string_view sentence) {
  return Failure(LibraryErrorCode::invalidResource, sentence);
}

std::optional<Failure> sizeError(std::int64_t width, std::int64_t height, std::int64_t most) {
  if (width <= 0 || height <= 0) {
    return pictureError("the photo is damaged: its size cannot be read.");
  }
  if (height > most / width) {
    return pictureError("the photo is too large: " + std::to_string(width) + " × " +
                        std::to_string(height) + " pixels.");
  }
  return std::nullopt;
}

Result<MediaProbe> probePixels(const InputFile& file, PictureFormat format,
                               const FileMetadata& metadata) {
  if (isCodedPicture(format)) return probeCodedPicture(file, format);
  const SourcePtr source = sourceOf(file);
  const ImagePtr image = openPicture(source.get(), format, VIPS_FAIL_ON_TRUNCATED);
  if (!image) {
    vips_error_clear();
    return pictureError("the photo is damaged: its header cannot be read.");
  }
  MediaProbe probe;
  const int orientation = integerField(image.get(), VIPS_META_ORIENTATION, 1);
  // What libvips does not find in PNG may stand behind the pixels, or in XMP.
  const bool isFound = orientation > 1 && orientation <= 8;
  const bool isPng = format == PictureFormat::png;
  probe.orientation = isFound ? orientation : isPng ? metadata.orientation() : 1;
  const std::int64_t width = vips_image_get_width(image.get());
  const std::int64_t height = vips_image_get_page_height(image.get());
  const bool isGif = format == PictureFormat::gif;
  if (auto error = sizeError(width, height, isGif ? kMaximumGifPixelCount : kMaximumPixelCount)) {
    return *std::move(error);
  }
  if (format == PictureFormat::jpeg && hasTooManyJpegPasses(file, width, height)) {
    return pictureError("the photo is made of too many passes to be decoded.");
  }
  std::tie(probe.pixelWidth, probe.pixelHeight) = uprightSize(width, height, probe.orientation);
  const bool pages = format == PictureFormat::gif || format == PictureFormat::webp;
  probe.animated = (pages && integerField(image.get(), VIPS_META_N_PAGES, 1) > 1) ||
                   (format == PictureFormat::png && isAnimatedPng(file));
  const bool tried = !comesWhole(image.get(), format) || width * height <= kLargestTrial;
  if (tried) requireMemory(memoryOfWhole(image.get(), format));
  if (tried && !firstRowDecodes(image.get(), file, format)) {
    vips_error_clear();
    return pictureError("the photo is damaged: its first rows cannot be decoded.");
  }
  return probe;
}

}  // namespace quorvin
