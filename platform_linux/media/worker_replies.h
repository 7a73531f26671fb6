// What the replies of a worker come to. A worker reads files that anybody may have made, so nothing
// that it says is believed unchecked: none stands for a reply that makes no sense.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/video_exporter.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// The extension is fit to be part of a path.
std::optional<MediaProbe> probeReply(const Map& reply, FileDescriptor memory);

/// `memory` holds exactly the pixels that the reply announces, they are final, and no more than the
/// request can come to.
std::optional<std::shared_ptr<const RenderedImage>> imageReply(const RenderRequest& request,
                                                               const Map& reply,
                                                               FileDescriptor memory);

/// The final bytes of `memory`, mapped as long as the buffer or a copy of it lives; never empty,
/// and no more than an image of `pixels` bytes can take.
std::optional<ByteBuffer> bytesReply(std::size_t pixels, const Map& reply, FileDescriptor memory);

std::optional<std::vector<VideoContainer>> containersReply(const Map& reply, FileDescriptor memory);

std::optional<WorkerDescription> descriptionReply(const Map& reply, FileDescriptor memory);

/// Whether it is the end of an export. What the worker wrote is for the caller to judge.
std::optional<bool> exportDoneReply(const Map& reply, FileDescriptor memory);

}  // namespace quorvin
