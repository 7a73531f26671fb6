// Writing videos anew: in another container, or encoded again.
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <vector>

#include "media_protocol/requests.h"
#include "platform_linux/errors/failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Calls wait for their end on the calling thread; any thread, several at once. The descriptions
/// of errors are plain sentences.
class VideoExporter {
 public:
  virtual ~VideoExporter() = default;

  /// The containers that an export of this source by this preset can have; none when no video
  /// stream of it can be copied, or decoded, as the preset wants. The descriptor is read from
  /// offset 0 and stays the caller's.
  virtual Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor& source,
                                                               VideoPreset preset) = 0;

  /// Writes the whole video to `output`, an empty file that is open for reading and writing; what
  /// stands there after an error is of no use. Ends soon, with the code `userCancelled`, once
  /// `stop` is requested.
  virtual Done exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                           const VideoExportRequest& request, std::stop_token stop) = 0;
};

}  // namespace quorvin
