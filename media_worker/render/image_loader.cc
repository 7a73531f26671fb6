#include <algorithm>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/headers/jpeg_passes.h"
#include "media_worker/reading/coded_picture.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/jpeg_decoder.h"
#include "media_worker/reading/named_colours.h"
#include "media_worker/reading/orientation.h"
#include "media_worker/reading/wanted_loaders.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

/// How far a JPEG's decoder may shrink by itself: it averages blocks, so that the rest has to be
/// left to a better filter.
int jpegShrink(double wanted) {
  constexpr double kLeftForFilter = 1.5;
  for (const int shrink : {8, 4, 2}) {
    if (wanted >= shrink * kLeftForFilter) return shrink;
  }
  return 1;
}

VipsFailOn failOn(const RenderRequest& request) {
  return request.failOnDamage ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_NONE;
}

/// Most pixels of the picture, by how it is decoded.
std::int64_t mostPixelsOf(VipsImage* header, PictureFormat format) {
  if (format == PictureFormat::gif) return kMaximumGifPixelCount;
  const bool comesWhole = integerField(header, "interlaced", 0) != 0;
  return comesWhole ? kMaximumWholePixelCount : kMaximumPixelCount;
}

/// Whether the JPEG is one that `decodeJpeg` decodes: libvips takes care of printers' inks.
bool isScreenJpeg(VipsImage* header) {
  return header->BandFmt == VIPS_FORMAT_UCHAR && (header->Bands == 1 || header->Bands == 3);
}

/// Cameras tell Adobe RGB in Exif, some of them without a profile: the colours are none of the
/// standard's, and the rules by which files are exchanged are number 3.
void nameExifColours(VipsImage* header) {
  if (exifField(header, "exif-ifd2-ColorSpace") == "65535" &&
      exifField(header, "exif-ifd4-InteroperabilityIndex") == "R03") {
    nameColours(header, kAdobeRgb);
  }
}

/// In the header's place, the same picture decoded and perhaps smaller.
bool decodeSmaller(ImagePtr& header, const InputFile& file, const RenderRequest& request,
                   double wanted) {
  ImagePtr decoded = decodeJpeg(file, jpegShrink(wanted), request.failOnDamage);
  if (!decoded) return false;
  copyColours(header.get(), decoded.get());
  header = std::move(decoded);
  return true;
}

std::int64_t memoryOfLoading(VipsImage* header, PictureFormat format, double wanted) {
  const std::int64_t whole = memoryOfWhole(header, format);
  if (format == PictureFormat::jpeg && isScreenJpeg(header)) {
    return whole + memoryOfJpeg(header, jpegShrink(wanted));
  }
  // It is made smaller while it is decoded.
  const bool isSmaller = format == PictureFormat::webp && wanted > 2;
  return isSmaller ? static_cast<std::int64_t>(static_cast<double>(whole) * 4 / wanted / wanted)
                   : whole;
}

/// Of the pixels that are handed over, and of those that are turned before.
std::int64_t memoryOfOutput(const LoadedImage& loaded) {
  const PixelSize size = loaded.target.scaled;
  const int channels = vips_image_hasalpha(loaded.image.get()) != 0 ? 4 : 3;
  const auto turned = static_cast<std::int64_t>(VIPS_IMAGE_SIZEOF_PEL(loaded.image.get()));
  return size.width * size.height * (channels + (loaded.orientation == 1 ? 0 : turned));
}

}  // namespace

Result<LoadedImage> loadImage(const InputFile& file, PictureFormat format,
                              const RenderRequest& request, int orientation) {
  const SourcePtr source = sourceOf(file);
  LoadedImage loaded;
  loaded.image = openPicture(source.get(), format, failOn(request));
  if (!loaded.image) return cannotDecode();

  VipsImage* header = loaded.image.get();
  const int width = vips_image_get_width(header);
  const int height = vips_image_get_height(header);
  if (!isDecodableSize(width, height, mostPixelsOf(header, format))) return tooManyPixels();
  nameExifColours(header);
  const bool isJpeg = format == PictureFormat::jpeg;
  if (isJpeg && hasTooManyJpegPasses(file, width, height)) return cannotDecode();
  const int stored = vips_image_get_orientation(header);
  loaded.orientation = stored > 1 && stored <= 8 ? stored : orientation;
  const auto [uprightWidth, uprightHeight] = uprightSize(width, height, loaded.orientation);
  auto target = renderingSize(request, {uprightWidth, uprightHeight});
  if (!target) return target.error();
  loaded.target = *target;

  const PixelSize asked = loaded.target.scaled;
  const PixelSize askedAsStored = exchangesSides(loaded.orientation) ? asked.turned() : asked;
  if (isJpeg) {
    ImagePtr preview = loadExifPreview(header, askedAsStored);
    if (preview) {
      loaded.image = std::move(preview);
      return loaded;
    }
  }
  if (request.previewAlone) return noPreview();

  const double wanted = std::min(
      static_cast<double>(uprightWidth) / static_cast<double>(loaded.target.scaled.width),
      static_cast<double>(uprightHeight) / static_cast<double>(loaded.target.scaled.height));
  requireMemory(memoryOfLoading(header, format, wanted) + memoryOfOutput(loaded));
  if (isJpeg && isScreenJpeg(header) && wanted > 1) {
    loaded.pixels = loadSmallerJpeg(file, jpegShrink(wanted), askedAsStored, loaded.orientation,
                                    request.failOnDamage);
  }
  if (loaded.pixels) {
    ImagePtr smaller = PixelMemory::imageOf(loaded.pixels);
    if (!smaller) return cannotDecode();
    copyColours(header, smaller.get());
    loaded.image = std::move(smaller);
    loaded.orientation = 1;
  } else if (isJpeg && isScreenJpeg(header)) {
    if (!decodeSmaller(loaded.image, file, request, wanted)) return cannotDecode();
  } else if (format == PictureFormat::webp && wanted > 2) {
    // Its decoder scales with a fair filter; twice the size is left to ours.
    const ColourCodes colours = namedColours(header);
    loaded.image = openPicture(source.get(), format, failOn(request), 2 / wanted);
    if (loaded.image) nameColours(loaded.image.get(), colours);
  }
  if (!loaded.image) return cannotDecode();
  return loaded;
}

Result<LoadedImage> loadCodedPicture(const InputFile& file, PictureFormat format,
                                     const RenderRequest& request) {
  LoadedImage loaded;
  loaded.image = decodeCodedPicture(file, format);
  if (!loaded.image) return cannotDecode();
  auto target = renderingSize(request, {loaded.image->Xsize, loaded.image->Ysize});
  if (!target) return target.error();
  loaded.target = *target;
  return loaded;
}

Failure cannotDecode() {
  return Failure(LibraryErrorCode::invalidResource, "the picture cannot be decoded.");
}

Failure noPreview() {
  return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                 "the picture holds no preview that serves.");
}

Failure tooManyPixels() {
  return Failure(LibraryErrorCode::invalidResource,
                 "the picture has more pixels than can be decoded.");
}

bool isDecodableSize(std::int64_t width, std::int64_t height, std::int64_t most) {
  return width > 0 && height > 0 && height <= most / width;
}

}  // namespace quorvin
