#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <optional>
#include <span>

#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"
#include "media_worker/headers/blocks_beside_pixels.h"
#include "media_worker/metadata/exiv2_file.h"
#include "media_worker/metadata/exiv2_versions.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

/// A photo whose largest preview is smaller has it for lists.
constexpr std::int64_t kLeastOfLargest = 1000;

Failure cannotBeShown() {
  return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                 "the raw photo holds no preview that can be shown, and cannot be developed.");
}

bool isShown(const Exiv2::PreviewProperties& preview) {
  return (preview.mimeType_ == "image/jpeg" || preview.mimeType_ == "image/tiff") &&
         preview.width_ > 0 && preview.height_ > 0;
}

PixelSize sizeOf(const Exiv2::PreviewProperties& preview) {
  return {static_cast<std::int64_t>(preview.width_), static_cast<std::int64_t>(preview.height_)};
}

/// They come in the order of their sizes. Null when none is shown.
const Exiv2::PreviewProperties* largestOf(std::span<const Exiv2::PreviewProperties> previews) {
  const Exiv2::PreviewProperties* largest = nullptr;
  for (const auto& preview : previews) {
    if (isShown(preview)) largest = &preview;
  }
  return largest;
}

/// The smallest preview with the pixels that the request needs of the largest.
std::optional<Exiv2::PreviewProperties> choose(std::span<const Exiv2::PreviewProperties> previews,
                                               const RenderRequest& request, int orientation) {
  const Exiv2::PreviewProperties* const largest = largestOf(previews);
  if (largest == nullptr) return std::nullopt;
  const PixelSize full = sizeOf(*largest);
  const bool turned = orientation >= 5;
  const auto target = renderingSize(request, turned ? full.turned() : full);
  if (!target) return *largest;
  const PixelSize needed = turned ? target->scaled.turned() : target->scaled;
  for (const auto& preview : previews) {
    const PixelSize size = sizeOf(preview);
    if (isShown(preview) && size.width >= needed.width && size.height >= needed.height &&
        showsSameCut(size, full)) {
      return preview;
    }
  }
  return *largest;
}

int orientationOf(const Exiv2::ExifData& exif) {
  const auto found = Exiv2::orientation(exif);
  const std::int64_t value = found == exif.end() || found->count() == 0 ? 1 : integerOf(*found);
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

FileDescriptor memoryOf(const Exiv2::PreviewImage& preview) {
  FileDescriptor memory = makeMemoryFile(0);
  const auto size = static_cast<ssize_t>(preview.size());
  return memory && ::write(memory.get(), preview.pData(), preview.size()) == size
             ? std::move(memory)
             : FileDescriptor();
}

/// A preview of a raw photo, in memory.
struct Preview {
  FileDescriptor memory;
  PixelSize size;
  PixelSize largest;    ///< of all
  int orientation = 1;  ///< of the raw photo
};

std::int64_t longerSide(PixelSize size) {
  return std::max(size.width, size.height);
}

/// Whether the sensor's data would not show more of what is asked for.
bool serves(const Preview& preview, const RenderRequest& request) {
  const bool isEnough =
      request.fit == RenderRequest::Fit::fit &&
      std::max(request.targetWidth, request.targetHeight) <= longerSide(preview.size);
  return isEnough || longerSide(preview.largest) >= kLeastOfLargest;
}

Preview bestPreview(const InputFile& file, int fd, const RenderRequest& request) {
  Preview best;
  try {
    const auto image = openWithExiv2(file, fd);
    image->readMetadata();
    best.orientation = orientationOf(image->exifData());
    const Exiv2::PreviewManager manager(*image);
    const auto previews = manager.getPreviewProperties();
    const auto chosen = choose(previews, request, best.orientation);
    if (chosen) {
      best.largest = sizeOf(*largestOf(previews));
      best.memory = memoryOf(manager.getPreviewImage(*chosen));
      best.size = sizeOf(*chosen);
    }
  } catch (const std::exception&) {
    // There is none.
  }
  return best;
}

/// Whatever the raw photo calls it, the content says what the preview is.
Result<LoadedImage> loadPreview(Preview preview, const RenderRequest& request) {
  const auto file =
      preview.memory ? InputFile::open(preview.memory.get()) : Result<InputFile>(cannotBeShown());
  if (!file) return cannotBeShown();
  const auto format = pictureSignature(file->head(kSignatureLength)).format;
  const bool isPicture = (format == PictureFormat::jpeg || format == PictureFormat::tiff) &&
                         !hasTooMuchBesidePixels(*file, format);
  if (!isPicture) return cannotBeShown();
  RenderRequest shown = request;
  shown.previewAlone = false;
  auto loaded = loadImage(*file, format, shown, preview.orientation);
  if (loaded) loaded->kept = std::move(preview.memory);
  return loaded;
}

}  // namespace

Result<LoadedImage> loadRaw(const InputFile& file, int fd, const RenderRequest& request) {
  Preview preview = bestPreview(file, fd, request);
  const int orientation = preview.orientation;
  if (!serves(preview, request) && !request.previewAlone) {
    auto developed = loadRawSensor(file, request, orientation);
    if (developed) return developed;
  }
  return loadPreview(std::move(preview), request);
}

}  // namespace quorvin
