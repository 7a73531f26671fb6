#include "media_worker/render/pixel_memory.h"

#include <unistd.h>

#include <utility>

namespace quorvin {

std::shared_ptr<PixelMemory> PixelMemory::make(const PixelLayout& layout) {
  FileDescriptor file = makeMemoryFile(layout.byteCount());
  if (!file) return nullptr;
  auto mapped =
      std::make_unique<MappedMemory>(file.get(), layout.byteCount(), MappedMemory::Access::write);
  if (!*mapped) return nullptr;
  std::shared_ptr<PixelMemory> memory(new PixelMemory(layout, std::move(file)));
  memory->mapped_ = std::move(mapped);
  return memory;
}

ImagePtr PixelMemory::imageOf(const std::shared_ptr<PixelMemory>& self) {
  const PixelLayout& layout = self->layout_;
  return imageOfRows(self, self->data(), layout.width, layout.height, layout.channels,
                     static_cast<std::size_t>(layout.width * layout.channels));
}

Result<RenderedPixels> PixelMemory::handOver(std::span<const std::uint8_t> profile) {
  mapped_.reset();
  const auto size = static_cast<ssize_t>(profile.size());
  const auto behind = static_cast<off_t>(layout_.pixelBytes());
  if (::pwrite(file_.get(), profile.data(), profile.size(), behind) != size ||
      !sealMemoryFile(file_)) {
    return Failure(LibraryErrorCode::internal, "the pixels could not be handed over.");
  }
  layout_.profileSize = size;
  return RenderedPixels{layout_, std::move(file_)};
}

}  // namespace quorvin
