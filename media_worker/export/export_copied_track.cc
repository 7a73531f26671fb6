// A track whose packets are copied.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "media_protocol/wire.h"
#include "media_worker/export/export_track.h"
#include "media_worker/export/stream_copy.h"
#include "media_worker/reading/ffmpeg_objects.h"

namespace quorvin {

namespace {

/// Packets that wait for the next one are no more than any codec needs to change their order.
constexpr std::size_t kMostHeld = 64;

class CopiedTrack final : public ExportTrack {
 public:
  CopiedTrack(const SourceTrack& source, const ExportClock& clock, AVStream& stream,
              MovieOutput& output)
      : source_(source.stream), end_(source.end), clock_(clock), stream_(stream), output_(output) {}

  std::optional<Failure> add(AVPacket& packet) override {
    PacketPtr copy(av_packet_clone(&packet));
    if (!copy) return Failure(LibraryErrorCode::internal, "memory ran out.");
    giveMissingTimes(*copy);
    // What is shown last is known only at the end: it waits, and so does what is decoded after it.
    if (!held_.empty() && (copy->pts > held_.front()->pts || held_.size() >= kMostHeld)) {
      if (auto failure = writeHeld()) return failure;
    }
    held_.push_back(std::move(copy));
    return std::nullopt;
  }

  std::optional<Failure> finish() override {
    if (end_ && !held_.empty() && *end_ > held_.front()->pts) {
      held_.front()->duration = *end_ - held_.front()->pts;
    }
    return writeHeld();
  }

 private:
  void giveMissingTimes(AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) packet.dts = any_ ? nextTime_ : firstDecoded(packet);
    if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
    packet.dts = std::min(packet.dts, packet.pts);
    nextTime_ = packet.dts + packet.duration;
    any_ = true;
  }

  /// Pictures that are shown in another order than they are decoded in are decoded so much earlier.
  std::int64_t firstDecoded(const AVPacket& packet) const {
    const std::int64_t shown = packet.pts == AV_NOPTS_VALUE ? 0 : packet.pts;
    return shown - source_.codecpar->video_delay * packet.duration;
  }

  std::optional<Failure> writeHeld() {
    for (const PacketPtr& each : std::exchange(held_, {})) {
      if (isBeyondTheEnd(*each)) continue;
      setTimes(*each);
      each->stream_index = stream_.index;
      each->pos = -1;
      if (auto failure = output_.write(*each)) return failure;
    }
    return std::nullopt;
  }

  bool isBeyondTheEnd(const AVPacket& packet) const {
    return !clock_.keepsSpeed() && played(packet.pts) >= clock_.end(stream_.time_base);
  }

  void setTimes(AVPacket& packet) {
    const std::int64_t end = played(packet.pts + std::max<std::int64_t>(packet.duration, 0));
    const std::int64_t shown = heardFrom(packet).value_or(played(packet.pts));
    packet.dts = packet.dts == packet.pts ? shown : played(packet.dts);
    packet.duration = packet.duration > 0 ? std::max<std::int64_t>(end - shown, 0) : 0;
    if (anyWritten_) packet.dts = std::max(packet.dts, lastDecoded_ + 1);
    packet.pts = std::max(shown, packet.dts);
    lastDecoded_ = packet.dts;
    anyWritten_ = true;
  }

  /// Containers that count milliseconds tell roughly when sound is heard: it goes on where the
  /// samples before it ended.
  std::optional<std::int64_t> heardFrom(const AVPacket& packet) {
    AVCodecParameters& codec = *source_.codecpar;
    if (codec.codec_type != AVMEDIA_TYPE_AUDIO || !clock_.keepsSpeed()) return std::nullopt;
    const int samples = av_get_audio_frame_duration2(&codec, packet.size);
    if (samples <= 0) return std::nullopt;
    const std::int64_t time =
        av_rescale_delta(source_.time_base, packet.pts, {1, codec.sample_rate}, samples,
                         &lastHeard_, stream_.time_base);
    return time - av_rescale_q(clock_.beginning(), AV_TIME_BASE_Q, stream_.time_base);
  }

  std::int64_t played(std::int64_t time) const {
    return clock_.extended(time, source_.time_base, stream_.time_base);
  }

  const AVStream& source_;
  const std::optional<std::int64_t> end_;
  const ExportClock& clock_;
  AVStream& stream_;
  MovieOutput& output_;
  std::vector<PacketPtr> held_;              ///< the first one is shown last of all so far
  std::int64_t nextTime_ = 0;                ///< of the source
  std::int64_t lastHeard_ = AV_NOPTS_VALUE;  ///< the end of the last packet, in samples
  bool any_ = false;
  std::int64_t lastDecoded_ = 0;  ///< of the export
  bool anyWritten_ = false;
};

}  // namespace

MadeTrack makeCopiedTrack(const SourceTrack& source, const ExportClock& clock,
                          MovieOutput& output) {
  AVStream* stream = output.addStream();
  if (stream == nullptr || !describeCopy(source.stream, output.context(), *stream)) {
    return Failure(LibraryErrorCode::internal, "memory ran out.");
  }
  if (!clock.keepsSpeed()) stream->time_base = kMappedTimeBase;
  return std::unique_ptr<ExportTrack>(
      std::make_unique<CopiedTrack>(source, clock, *stream, output));
}

}  // namespace quorvin
