#include "platform_linux/images/preview_images.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "media_protocol/sealed_memory.h"

namespace quorvin {
namespace {

/// The size of what the request asks for, where previews may serve it at all.
std::optional<RenderingSize> sizeWanted(const RenderRequest& request, PixelSize picture) {
  if (request.fit == RenderRequest::Fit::original || request.failOnDamage || picture.width < 1 ||
      picture.height < 1) {
    return std::nullopt;
  }
  const auto size = renderingSize(request, picture);
  return size ? std::optional(*size) : std::nullopt;
}

bool serves(const PreviewSide& side, PixelSize picture, PixelSize wanted) {
  if (!needsPreview(picture, side)) return false;
  const PixelSize preview = previewSize(picture, side);
  return preview.width >= wanted.width && preview.height >= wanted.height;
}

}  // namespace

std::shared_ptr<const UIImage> PreviewImages::find(const PreviewJob& job,
                                                   const FileDescriptor& file,
                                                   const RenderRequest& request,
                                                   const std::stop_token& stop) const {
  const auto wanted = sizeWanted(request, job.picture);
  const auto original = wanted ? OriginalState::of(job.file.path, file) : std::nullopt;
  if (!original) return nullptr;
  for (auto each = kPreviewSides.rbegin(); each != kPreviewSides.rend(); ++each) {
    const PreviewSide& side = *each;
    if (!serves(side, job.picture, wanted->scaled)) continue;
    const auto preview = keeper_.store().find(*original, side);
    if (!preview || preview->picture != job.picture) continue;
    if (wanted->cut == previewSize(job.picture, side)) {
      return std::make_shared<const PreviewImage>(preview->jpeg, wanted->cut, side.quality);
    }
    RenderRequest smaller = request;
    smaller.kind = MediaKind::image;
    // The original shows more than half of a preview.
    smaller.failOnDamage = true;
    smaller.fullWidth = job.picture.width;
    smaller.fullHeight = job.picture.height;
    const FileDescriptor memory = sealedMemoryOf(preview->jpeg.bytes());
    if (!memory) continue;
    if (const auto image = media_.render(memory, smaller, stop)) return *image;
  }
  return nullptr;
}

void PreviewImages::note(PreviewJob job, const RenderRequest& request,
                         std::shared_ptr<const RenderedImage> image) const {
  const auto wanted = sizeWanted(request, job.picture);
  if (!wanted) return;
  const auto made = std::ranges::find_if(kPreviewSides, [&](const PreviewSide& side) {
    return needsPreview(job.picture, side) && wanted->cut == previewSize(job.picture, side);
  });
  if (made != kPreviewSides.end()) {
    keeper_.offer(std::move(job), *made, std::move(image));
  } else if (std::ranges::any_of(kPreviewSides, [&](const PreviewSide& side) {
               return serves(side, job.picture, wanted->scaled);
             })) {
    keeper_.miss(std::move(job));
  }
}

}  // namespace quorvin
