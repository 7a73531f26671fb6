#include "platform_linux/media/worker_replies.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"

namespace quorvin {

namespace {

/// The extension becomes part of a path.
bool isPlainExtension(std::string_view extension) {
  return !extension.empty() && extension.size() <= 8 && std::ranges::all_of(extension, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
  });
}

/// What a coded image may have beside what its pixels take, which is at most twice their size even
/// where nothing can be saved.
constexpr std::size_t kMostBesidePixels = 4 << 20;

/// A side of at most so many pixels.
bool fitsIn(std::int64_t side, double target) {
  return static_cast<double>(side) <= std::max(1.0, std::round(target));
}

/// Nothing is enlarged, and what is fitted or cut to a target is not larger than that. What fills a
/// target is as long as the picture is, but as narrow as the target on one side.
bool canComeOf(const RenderRequest& request, const PixelLayout& layout) {
  constexpr std::size_t kMostFilling = 100'000'000;
  if (request.fit == RenderRequest::Fit::original ||
      (request.targetWidth == -1 && request.targetHeight == -1)) {
    return true;
  }
  const bool isNarrow = fitsIn(layout.width, request.targetWidth);
  const bool isLow = fitsIn(layout.height, request.targetHeight);
  if (request.fit == RenderRequest::Fit::fit || request.crop) return isNarrow && isLow;
  return (isNarrow || isLow) && layout.pixelCount() <= kMostFilling;
}

}  // namespace

std::optional<MediaProbe> probeReply(const Map& reply, FileDescriptor) {
  std::optional<MediaProbe> probe = probeFromMap(reply);
  if (probe && !isPlainExtension(probe->extension)) return std::nullopt;
  return probe;
}

std::optional<std::shared_ptr<const RenderedImage>> imageReply(const RenderRequest& request,
                                                               const Map& reply,
                                                               FileDescriptor memory) {
  const auto layout = layoutFromMap(reply);
  if (!layout || !canComeOf(request, *layout) ||
      sealedMemorySize(memory.get()) != layout->byteCount())
    return std::nullopt;
  return std::make_shared<const RenderedImage>(std::move(memory), layout->width, layout->height,
                                               layout->channels, layout->profileSize);
}

std::optional<ByteBuffer> bytesReply(std::size_t pixels, const Map&, FileDescriptor memory) {
  const auto size = sealedMemorySize(memory.get());
  if (!size || *size == 0 || *size > 2 * pixels + kMostBesidePixels) return std::nullopt;
  auto mapped =
      std::make_shared<const MappedMemory>(memory.get(), *size, MappedMemory::Access::read);
  if (!*mapped) return std::nullopt;
  const auto bytes = mapped->bytes();
  return ByteBuffer(std::move(mapped), bytes);
}

std::optional<std::vector<VideoContainer>> containersReply(const Map& reply, FileDescriptor) {
  return containersFromMap(reply);
}

std::optional<WorkerDescription> descriptionReply(const Map& reply, FileDescriptor) {
  return descriptionFromMap(reply);
}

std::optional<bool> exportDoneReply(const Map& reply, FileDescriptor) {
  if (!isExportDone(reply)) return std::nullopt;
  return true;
}

}  // namespace quorvin
