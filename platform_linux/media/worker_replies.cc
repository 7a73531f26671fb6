#include "platform_linux/media/worker_replies.h"

#include <algorithm>
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

}  // namespace

std::optional<MediaProbe> probeReply(const Map& reply, FileDescriptor) {
  std::optional<MediaProbe> probe = probeFromMap(reply);
  if (probe && !isPlainExtension(probe->extension)) return std::nullopt;
  return probe;
}

std::optional<std::shared_ptr<const RenderedImage>> imageReply(const Map& reply,
                                                               FileDescriptor memory) {
  const auto layout = layoutFromMap(reply);
  if (!layout || sealedMemorySize(memory.get()) != layout->byteCount()) return std::nullopt;
  return std::make_shared<const RenderedImage>(std::move(memory), layout->width, layout->height,
                                               layout->channels, layout->profileSize);
}

std::optional<ByteBuffer> bytesReply(const Map&, FileDescriptor memory) {
  const auto size = sealedMemorySize(memory.get());
  if (!size || *size == 0) return std::nullopt;
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
  if (exportStateFromMap(reply) != ExportState::done) return std::nullopt;
  return true;
}

}  // namespace quorvin
