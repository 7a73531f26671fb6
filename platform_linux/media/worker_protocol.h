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
#include <variant>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/value.h"
#include "platform_linux/errors.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/video_exporter.h"

namespace quorvin {

inline constexpr int kWorkerSocketDescriptor = 3;

/// No image of more pixels is decoded or encoded.
inline constexpr std::int64_t kMaximumPixelCount = 1'000'000'000;

/// What a file is; its descriptor goes with the packet.
struct ProbeRequest {
  std::string name;  ///< the file's own name
  friend bool operator==(const ProbeRequest&, const ProbeRequest&) = default;
};

/// No colour profile that is larger stays with its pixels: they are converted.
inline constexpr std::int64_t kMaximumProfileSize = 1 << 20;

/// How pixels lie in a memory file: rows without padding, 3 or 4 interleaved bytes a pixel; behind
/// them the ICC profile of their colours, when these are not sRGB.
struct PixelLayout {
  std::int64_t width = 0;
  std::int64_t height = 0;
  int channels = 0;
  std::int64_t profileSize = 0;

  std::size_t pixelCount() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  std::size_t pixelBytes() const { return pixelCount() * static_cast<std::size_t>(channels); }
  /// Of the whole file.
  std::size_t byteCount() const { return pixelBytes() + static_cast<std::size_t>(profileSize); }
  friend bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/// Pixels to be encoded; their memory file goes with the packet.
struct EncodeRequest {
  ImageFormat format = ImageFormat::jpeg;
  double quality = 1;  ///< 0 to 1, for JPEG
  PixelLayout layout;
  friend bool operator==(const EncodeRequest&, const EncodeRequest&) = default;
};

/// Which containers an export of a video can have.
struct ExportContainersRequest {
  VideoPreset preset = VideoPreset::passthrough;
  friend bool operator==(const ExportContainersRequest&, const ExportContainersRequest&) = default;
};

using WorkerRequest = std::variant<ProbeRequest, RenderRequest, EncodeRequest,
                                   ExportContainersRequest, VideoExportRequest>;

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

/// What a worker says while an export goes on, and when it is done.
enum class ExportState : std::int64_t { underWay = 1, done = 2 };
Map exportStateToMap(ExportState state);
std::optional<ExportState> exportStateFromMap(const Map& map);

/// A failure inside the worker: one plain sentence, without the domain and code that
/// `libraryError` adds for a person.
NSError workerError(LibraryErrorCode code, std::string_view sentence);
Map errorToMap(const NSError& error);
/// The error that stands in place of any reply; none when the map is no error.
std::optional<NSError> errorFromMap(const Map& map);

}  // namespace quorvin
