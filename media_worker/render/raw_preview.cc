#include <cmath>
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

Failure noPreview() {
  return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                 "the raw photo holds no preview that can be shown.");
}

bool isJpeg(const Exiv2::PreviewProperties& preview) {
  return preview.mimeType_ == "image/jpeg";
}

PixelSize sizeOf(const Exiv2::PreviewProperties& preview) {
  return {static_cast<std::int64_t>(preview.width_), static_cast<std::int64_t>(preview.height_)};
}

bool hasAspectOf(PixelSize preview, PixelSize largest) {
  const double width = static_cast<double>(largest.width) * static_cast<double>(preview.height) /
                       static_cast<double>(largest.height);
  return std::abs(width - static_cast<double>(preview.width)) < 2;
}

/// The smallest preview with the pixels that the request needs of the largest; they come in the
/// order of their sizes.
std::optional<Exiv2::PreviewProperties> choose(std::span<const Exiv2::PreviewProperties> previews,
                                               const RenderRequest& request, int orientation) {
  const Exiv2::PreviewProperties* largest = nullptr;
  for (const auto& preview : previews) {
    if (isJpeg(preview) && preview.width_ > 0 && preview.height_ > 0) largest = &preview;
  }
  if (largest == nullptr) return std::nullopt;
  const PixelSize full = sizeOf(*largest);
  const bool turned = orientation >= 5;
  const auto target = renderingSize(request, turned ? full.turned() : full);
  if (!target) return *largest;
  const PixelSize needed = turned ? target->scaled.turned() : target->scaled;
  for (const auto& preview : previews) {
    const PixelSize size = sizeOf(preview);
    if (isJpeg(preview) && size.width >= needed.width && size.height >= needed.height &&
        hasAspectOf(size, full)) {
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

}  // namespace

Result<LoadedImage> loadRawPreview(const InputFile& file, int fd, const RenderRequest& request) {
  FileDescriptor memory;
  int orientation = 1;
  try {
    const auto image = openWithExiv2(file, fd);
    image->readMetadata();
    orientation = orientationOf(image->exifData());
    const Exiv2::PreviewManager manager(*image);
    const auto chosen = choose(manager.getPreviewProperties(), request, orientation);
    if (chosen) memory = memoryOf(manager.getPreviewImage(*chosen));
  } catch (const std::exception&) {
    return noPreview();
  }
  const auto preview = memory ? InputFile::open(memory.get()) : Result<InputFile>(noPreview());
  // Whatever the raw photo calls it.
  const bool isPicture =
      preview && pictureSignature(preview->head(kSignatureLength)).format == PictureFormat::jpeg &&
      !hasTooMuchBesidePixels(*preview, PictureFormat::jpeg);
  if (!isPicture) return noPreview();
  auto loaded = loadImage(*preview, PictureFormat::jpeg, request, orientation);
  if (loaded) loaded->kept = std::move(memory);
  return loaded;
}

}  // namespace quorvin
