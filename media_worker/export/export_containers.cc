// Which containers an export of a movie can have.
extern "C" {
#include <libavformat/avformat.h>
}

#include "media_worker/export/export.h"
#include "media_worker/export/export_track.h"
#include "media_worker/export/source_movie.h"
#include "media_worker/export/stream_copy.h"

namespace quorvin {

Result<std::vector<VideoContainer>> exportContainers(int source, VideoPreset preset) {
  const auto movie = SourceMovie::open(source);
  if (!movie) return movie.error();
  const bool decodes = canDecode((*movie)->picture());
  std::vector<VideoContainer> containers;
  for (const VideoContainer each : {VideoContainer::quickTime, VideoContainer::mpeg4}) {
    const bool copied =
        preset == VideoPreset::passthrough && canHoldCopyOf((*movie)->picture(), each);
    // What cannot be copied into a QuickTime movie is encoded for it, whatever the preset.
    const bool encoded =
        decodes && (preset != VideoPreset::passthrough || each == VideoContainer::quickTime);
    if (copied || encoded) containers.push_back(each);
  }
  if (!containers.empty() && !(*movie)->hasPictures()) containers.clear();
  return containers;
}

}  // namespace quorvin
