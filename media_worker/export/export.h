// Videos written anew: in another container, encoded again, or at another speed.
//
//   export.cc                  an export from its beginning to its end
//   export_containers.cc       which containers an export can have
//   source_movie.h             the source: its tracks, its packets in bounds, what is missing of it
//   export_clock.h             when a moment of the source plays
//   export_track.h             what becomes of a track: copied, or encoded as picture or sound
//     export_copied_track.cc     packets as they are
//     export_picture_track.cc    decoded, shown upright, encoded as H.264
//     export_picture_filter.h    from decoded frames to upright ones of the wanted size and colours
//     export_sound_track.cc      decoded, made even, encoded as AAC
//     export_sound_speed.h       slower or faster sound of the same pitch
//   export_coding.h            decoders and encoders
//     export_decoder.cc          decoders, and what they tell of damage
//   export_filter.h            chains of filters
//   movie_output.h             the file that is written
//   stream_copy.h              streams of it whose packets are copied
//   track_language.h           the names of languages in it
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"

namespace quorvin {

/// Called many times a second, on the exporting thread, as long as an export gets on, with the
/// number of bytes that were read or written since.
using ExportProgress = std::function<void(std::int64_t bytes)>;

/// In order. An error when the file cannot be read as a movie at all.
Result<std::vector<VideoContainer>> exportContainers(int source, VideoPreset preset);

/// The encoders of what is encoded again, as FFmpeg names them. Some systems lack one.
struct ExportEncoders {
  std::string pictures = "libx264";
  std::string sounds = "aac";
};

/// Writes the whole movie to `output`, an empty regular file. Errors are one plain sentence; what
/// stands in `output` then is of no use. Uses all processors.
std::optional<Failure> exportVideo(int source, int output, const VideoExportRequest& request,
                                   const ExportProgress& progress,
                                   const ExportEncoders& encoders = {});

}  // namespace quorvin
