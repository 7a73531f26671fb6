#include "media_worker/export/export.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <map>
#include <memory>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/export/export_clock.h"
#include "media_worker/export/export_track.h"
#include "media_worker/export/movie_output.h"
#include "media_worker/export/source_movie.h"
#include "media_worker/export/stream_copy.h"
#include "media_worker/reading/ffmpeg_objects.h"

namespace quorvin {

namespace {

/// One export. The members are in the order in which they need each other.
class Export {
 public:
  Export(const VideoExportRequest& request, std::unique_ptr<SourceMovie> source,
         std::unique_ptr<MovieOutput> output, const ExportProgress& progress,
         const ExportEncoders& encoders)
      : request_(request),
        progress_(progress),
        encoders_(encoders),
        source_(std::move(source)),
        output_(std::move(output)),
        clock_(source_->beginning(), request.timeMap) {}

  std::optional<Failure> run() {
    output_->describe(source_->context().metadata);
    if (std::optional<Failure> failure = addPicture()) return failure;
    if (std::optional<Failure> failure = addSounds()) return failure;
    source_->readOnly(clock_.firstNeeded(), clock_.lastNeeded());
    if (std::optional<Failure> failure = output_->begin(request_.indexFirst)) return failure;
    if (std::optional<Failure> failure = pump()) return failure;
    for (auto& [index, track] : tracks_) {
      if (std::optional<Failure> failure = track->finish()) return failure;
    }
    if (std::optional<Failure> failure = source_->damage()) return failure;
    return output_->end();
  }

 private:
  Coding codingWith(const std::string& encoder) const {
    const bool small = request_.preset == VideoPreset::mediumQuality;
    return {small ? CodingQuality::low : CodingQuality::high, encoder};
  }

  bool copies(const AVStream& stream) const {
    return request_.preset == VideoPreset::passthrough && canHoldCopyOf(stream, request_.container);
  }

  std::optional<Failure> addPicture() {
    const AVStream& stream = source_->picture();
    const SourceTrack track{stream, source_->endOf(stream), mayEndEarly()};
    const bool copied = copies(stream) && canPlayCopied(track);
    return add(stream,
               copied ? makeCopiedTrack(track, clock_, *output_)
                      : makePictureTrack(track, clock_, codingWith(encoders_.pictures), *output_));
  }

  bool mayEndEarly() const { return clock_.keepsSpeed() && !source_->tellsLength(); }

  /// Copied pictures can play at other times, but not be left out: others may need them.
  bool canPlayCopied(const SourceTrack& track) const {
    if (clock_.keepsSpeed()) return true;
    if (!track.end || !clock_.hasNoGaps()) return false;
    const std::int64_t end = av_rescale_q(*track.end, track.stream.time_base, AV_TIME_BASE_Q);
    const AVRational rate = track.stream.avg_frame_rate;
    const std::int64_t frame = rate.num > 0 ? av_rescale(AV_TIME_BASE, rate.den, rate.num) : 0;
    return track.stream.codecpar->video_delay == 0 || clock_.lastNeeded() > end - frame;
  }

  /// Sound of no known kind is left out, for it is heard nowhere.
  std::optional<Failure> addSounds() {
    for (const AVStream* each : source_->sounds()) {
      const bool copied = copies(*each) && clock_.keepsSpeed();
      if (!copied && !canDecode(*each)) continue;
      if (std::optional<Failure> failure = addSound(*each, copied)) return failure;
    }
    return std::nullopt;
  }

  std::optional<Failure> addSound(const AVStream& stream, bool copied) {
    const SourceTrack track{stream, std::nullopt, mayEndEarly()};
    return add(stream, copied
                           ? makeCopiedTrack(track, clock_, *output_)
                           : makeSoundTrack(track, clock_, codingWith(encoders_.sounds), *output_));
  }

  std::optional<Failure> add(const AVStream& stream, MadeTrack track) {
    if (!track) return track.error();
    source_->use(stream);
    tracks_.emplace(stream.index, *std::move(track));
    return std::nullopt;
  }

  std::optional<Failure> pump() {
    const PacketPtr packet(av_packet_alloc());
    if (!packet) return Failure(LibraryErrorCode::internal, "memory ran out.");
    for (;;) {
      const Result<bool> more = source_->read(*packet);
      if (!more) return more.error();
      if (!*more) return std::nullopt;
      progress_(packet->size);
      if (std::optional<Failure> failure = tracks_.at(packet->stream_index)->add(*packet))
        return failure;
    }
  }

  const VideoExportRequest& request_;
  const ExportProgress& progress_;
  const ExportEncoders& encoders_;
  const std::unique_ptr<SourceMovie> source_;
  const std::unique_ptr<MovieOutput> output_;
  const ExportClock clock_;
  std::map<int, std::unique_ptr<ExportTrack>> tracks_;  ///< by the source stream's index
};

}  // namespace

std::optional<Failure> exportVideo(int source, int output, const VideoExportRequest& request,
                                   const ExportProgress& progress, const ExportEncoders& encoders) {
  auto movie = SourceMovie::open(source);
  if (!movie) return movie.error();
  auto written = MovieOutput::create(output, request.container, progress);
  if (!written) return written.error();
  return Export(request, *std::move(movie), *std::move(written), progress, encoders).run();
}

}  // namespace quorvin
