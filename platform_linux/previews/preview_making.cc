#include "platform_linux/previews/preview_making.h"

#include <utility>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/library/originals/original_file.h"

namespace quorvin {
namespace {

// What somebody will save next needs it more.
constexpr std::int64_t kSpaceForOthers = std::int64_t{1} << 30;

/// Whether the file itself is the reason, so that trying again is in vain.
bool isForGood(const Failure& failure) {
  return failure.isOfFile || failure.is(LibraryErrorCode::invalidResource) ||
         failure.is(LibraryErrorCode::requestNotSupportedForAsset);
}

bool isOpaque(const RenderedImage& image) {
  if (image.channels() == 3) return true;
  const auto pixels = static_cast<std::size_t>(image.width() * image.height());
  const MappedMemory memory(image.fd(), pixels * 4, MappedMemory::Access::read);
  if (!memory) return false;
  constexpr std::size_t kAlpha = 3;
  for (std::size_t i = 0; i < pixels; ++i) {
    if (memory.data()[i * 4 + kAlpha] != UINT8_MAX) return false;
  }
  return true;
}

/// A preview has no transparency, and shows the very picture that the catalogue describes.
bool canBeKept(const RenderedImage& image, PixelSize picture, const PreviewSide& side) {
  return PixelSize{image.width(), image.height()} == previewSize(picture, side) && isOpaque(image);
}

}  // namespace

PreviewJob previewJob(const LibraryFolder& folder, const ShownFile& file) {
  return {originalFile(folder, file.path),
          file.isVideo ? MediaKind::video : MediaKind::image,
          {file.width, file.height}};
}

Result<PreviewOutcome> makePreviews(const PreviewJob& job, MediaService& media, PreviewStore& store,
                                    const std::stop_token& stop) {
  FileDescriptor source = job.file.open();
  const auto original = source ? OriginalState::of(job.file.path, source) : std::nullopt;
  if (!original) return PreviewOutcome::failed;
  MediaKind kind = job.kind;
  std::vector<PreviewStore::Made> made;
  for (const PreviewSide& side : kPreviewSides) {
    if (!needsPreview(job.picture, side) || store.isDone(*original, side)) continue;
    const auto image = media.render(source, previewRendering(kind, job.picture, side), stop);
    if (!image && !isForGood(image.error())) return PreviewOutcome::failed;
    if (!image || !canBeKept(**image, job.picture, side)) {
      made.push_back({side, job.picture, std::nullopt});
      continue;
    }
    auto jpeg = media.encode(**image, ImageFormat::jpeg, side.quality);
    if (!jpeg) return PreviewOutcome::failed;
    // The smaller one is made of the larger.
    if (FileDescriptor smaller = sealedMemoryOf(jpeg->bytes())) {
      source = std::move(smaller);
      kind = MediaKind::image;
    }
    made.push_back({side, job.picture, *std::move(jpeg)});
  }
  if (made.empty()) return PreviewOutcome::there;
  const bool isAnyMade = made.front().jpeg.has_value() || made.back().jpeg.has_value();
  if (Done kept = store.keep(*original, made); !kept) return kept.error();
  return isAnyMade ? PreviewOutcome::made : PreviewOutcome::impossible;
}

Done keepRendering(const PreviewJob& job, const PreviewSide& side, const RenderedImage& image,
                   MediaService& media, PreviewStore& store) {
  const FileDescriptor source = job.file.open();
  const auto original = source ? OriginalState::of(job.file.path, source) : std::nullopt;
  if (!original || !canBeKept(image, job.picture, side) || store.isDone(*original, side)) {
    return Null{};
  }
  auto jpeg = media.encode(image, ImageFormat::jpeg, side.quality);
  if (!jpeg) return jpeg.error();
  const PreviewStore::Made made{side, job.picture, *std::move(jpeg)};
  return store.keep(*original, {&made, 1});
}

bool hasRoomForPreviews(const LibraryFolder& folder) {
  return !folder.reserve().isInUse() && folder.reserve().freeBytes() > kSpaceForOthers;
}

}  // namespace quorvin
