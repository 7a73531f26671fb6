// What this process and its media workers say to each other.
//
// A worker has one end of an AF_UNIX SOCK_SEQPACKET socket as descriptor 3 and serves one request
// at a time until the other end is closed. A request is one packet, a map in the channel's codec,
// with one descriptor: the media file, or the sealed pixels; an export of a video has a second, the
// file that it writes. A reply is one packet, with a sealed memory file where there are pixels or
// encoded bytes; before that of an export come others, which tell that it goes on. A request that
// fails is answered with an error, and the worker lives on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/value.h"
#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

inline constexpr int kWorkerSocketDescriptor = 3;

/// The argument of a worker for exports, which loads more before it shuts itself in.
inline constexpr const char* kForExports = "exports";

/// The turns into maps and back. Reading checks every key's presence, type and range, whatever
/// the order and whatever else the map holds; none means that the map is no such message.
Map requestToMap(const WorkerRequest& request);
std::optional<WorkerRequest> requestFromMap(const Map& map);

/// The reply to a probe.
Map probeToMap(const MediaProbe& probe);
std::optional<MediaProbe> probeFromMap(const Map& map);

/// The reply to a render; the pixels go with the packet.
Map layoutToMap(const PixelLayout& layout);
std::optional<PixelLayout> layoutFromMap(const Map& map);

/// The reply to a request for containers.
Map containersToMap(const std::vector<VideoContainer>& containers);
std::optional<std::vector<VideoContainer>> containersFromMap(const Map& map);

/// That an export goes on: the number of bytes that it has read and written up to now.
Map progressToMap(std::int64_t bytes);
std::optional<std::int64_t> progressFromMap(const Map& map);
/// The reply to an export.
Map exportDoneToMap();
bool isExportDone(const Map& map);

/// The reply to a request for a description.
Map descriptionToMap(const WorkerDescription& description);
std::optional<WorkerDescription> descriptionFromMap(const Map& map);

/// How much memory a request's worker may take for what it decodes, in bytes; none: any.
Map withMemory(Map request, std::int64_t bytes);
std::optional<std::int64_t> memoryFromMap(const Map& request);
/// The reply to a request that would take more: so much.
Map needToMap(std::int64_t bytes);
std::optional<std::int64_t> needFromMap(const Map& map);

Map errorToMap(const Failure& error);
/// The error that stands in place of any reply: a code of the library's error domain, and a line of
/// text that is not too long. None when the map is no such error.
std::optional<Failure> errorFromMap(const Map& map);

}  // namespace quorvin
