#include "media_worker/render/render.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "media_worker/headers/blocks_beside_pixels.h"
#include "media_worker/probe/probe_raw.h"
#include "media_worker/render/colour.h"
#include "media_worker/render/loaded_image.h"
#include "media_worker/render/pixel_memory.h"

namespace quorvin {

namespace {

bool isRawPhoto(const InputFile& file, int fd) {
  return rawTypeOf(readMetadata(file, fd)).has_value();
}

Result<LoadedImage> load(const InputFile& file, int fd, const RenderRequest& request) {
  if (request.kind == MediaKind::video) return loadPosterFrame(file, request);
  if (request.kind == MediaKind::audio) {
    return Failure(LibraryErrorCode::requestNotSupportedForAsset, "a sound has no picture.");
  }
  const auto format = pictureSignature(file.head(kSignatureLength)).format;
  if (hasTooMuchBesidePixels(file, format)) return cannotDecode();
  switch (format) {
    case PictureFormat::png:
      // Libvips does not see what stands behind the pixels, or in XMP.
      return loadImage(file, format, request, readMetadata(file, fd).orientation());
    case PictureFormat::jpeg:
    case PictureFormat::gif:
    case PictureFormat::webp:
      return loadImage(file, format, request);
    case PictureFormat::tiff:
      return isRawPhoto(file, fd) ? loadRaw(file, fd, request) : loadImage(file, format, request);
    case PictureFormat::heif:
      return loadHeif(file, request);
    case PictureFormat::bmp:
    case PictureFormat::jpeg2000:
    case PictureFormat::jpegXl:
      return request.previewAlone ? noPreview() : loadCodedPicture(file, format, request);
    case PictureFormat::raw:
      return loadRaw(file, fd, request);
    case PictureFormat::none:
      break;
  }
  return Failure(LibraryErrorCode::invalidResource, "the file is not a photo.");
}

/// What libvips leaves to its filter, after averages that it computes anew for every few rows of
/// the result: several times as long as the filter alone takes. But the filter's weights are
/// rounded, and where there are many their sum is off, which shows in the colours.
double gapFor(double scale) {
  constexpr double kSmallestByFilterAlone = 1.0 / 8;
  constexpr double kUsual = 2;
  return scale >= kSmallestByFilterAlone ? 0 : kUsual;
}

/// Scales stored pixels to `size`. Alpha is multiplied in for that, so that the colour of what is
/// transparent does not bleed.
bool scale(ImagePtr& image, PixelSize size) {
  if (image->Xsize == size.width && image->Ysize == size.height) return true;
  const VipsBandFormat format = image->BandFmt;
  const bool alpha = vips_image_hasalpha(image.get()) != 0;
  if (alpha && !apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_premultiply(in, out, nullptr);
      })) {
    return false;
  }
  const double across = static_cast<double>(size.width) / image->Xsize;
  const double down = static_cast<double>(size.height) / image->Ysize;
  const bool scaled = apply(image, [&](VipsImage* in, VipsImage** out) {
    return vips_resize(in, out, across, "vscale", down, "gap", gapFor(std::min(across, down)),
                       nullptr);
  });
  if (!scaled || !alpha) return scaled;
  return apply(image, [](VipsImage* in,
                         VipsImage** out) { return vips_unpremultiply(in, out, nullptr); }) &&
         apply(image,
               [&](VipsImage* in, VipsImage** out) { return vips_cast(in, out, format, nullptr); });
}

bool turn(ImagePtr& image, int orientation) {
  if (orientation == 1) return true;
  // Turning reads in another order than decoding gives.
  return apply(image,
               [](VipsImage* in, VipsImage** out) {
                 *out = vips_image_copy_memory(in);
                 return *out == nullptr ? -1 : 0;
               }) &&
         apply(image, [&](VipsImage* in, VipsImage** out) {
           // The copy shares its pixels, and is ours to mark.
           VipsImage* marked = nullptr;
           if (vips_copy(in, &marked, nullptr) != 0) return -1;
           const ImagePtr owned(marked);
           vips_image_set_int(marked, VIPS_META_ORIENTATION, orientation);
           return vips_autorot(marked, out, nullptr);
         });
}

bool cut(ImagePtr& image, PixelSize size) {
  if (image->Xsize == size.width && image->Ysize == size.height) return true;
  return apply(image, [&](VipsImage* in, VipsImage** out) {
    const int width = static_cast<int>(size.width);
    const int height = static_cast<int>(size.height);
    return vips_extract_area(in, out, (in->Xsize - width) / 2, (in->Ysize - height) / 2, width,
                             height, nullptr);
  });
}

/// Runs the pipeline, straight into the memory that the other process will map.
std::shared_ptr<PixelMemory> writeOut(VipsImage* image) {
  auto pixels = PixelMemory::make({image->Xsize, image->Ysize, image->Bands});
  const ImagePtr out = pixels ? PixelMemory::imageOf(pixels) : nullptr;
  return out && vips_image_write(image, out.get()) == 0 ? pixels : nullptr;
}

}  // namespace

Result<RenderedPixels> renderFile(int fd, const RenderRequest& request) {
  auto file = InputFile::open(fd);
  if (!file) return file.error();
  auto loaded = load(*file, fd, request);
  if (!loaded) return loaded.error();
  ImagePtr image = std::move(loaded->image);
  const VipsImage* const asLoaded = image.get();
  ColourTransformPtr colours;
  const auto profile =
      request.keepProfile ? profileToKeep(image.get()) : std::span<const std::uint8_t>();
  const std::vector<std::uint8_t> kept(profile.begin(), profile.end());
  const PixelSize scaled = loaded->target.scaled;
  if (!scale(image, loaded->orientation >= 5 ? scaled.turned() : scaled) ||
      (kept.empty() && !makeSrgb(image, colours)) || !turn(image, loaded->orientation) ||
      !cut(image, loaded->target.cut)) {
    return cannotDecode();
  }
  const bool areFinal = loaded->pixels && image.get() == asLoaded;
  const auto pixels = areFinal ? std::move(loaded->pixels) : writeOut(image.get());
  if (!pixels) return cannotDecode();
  image.reset();
  if (colours) colours->convert(pixels->data(), pixels->layout().pixelCount());
  return pixels->handOver(kept);
}

}  // namespace quorvin
