// A track whose packets are copied.
extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <utility>

#include "media_worker/export_track.h"
#include "media_worker/frame_image.h"
#include "platform_linux/media/worker_protocol.h"

namespace quorvin {

namespace {

/// Fine enough that frames of any rate keep their distances at any speed.
constexpr AVRational kMappedTimeBase{1, 90'000};

class CopiedTrack final : public ExportTrack {
 public:
  CopiedTrack(const AVStream& source, const ExportClock& clock, AVStream& stream,
              MovieOutput& output)
      : source_(source), clock_(clock), stream_(stream), output_(output) {}

  std::optional<NSError> add(AVPacket& packet) override {
    const PacketPtr copy(av_packet_clone(&packet));
    if (!copy) return workerError(LibraryErrorCode::internal, "Memory ran out.");
    giveMissingTimes(*copy);
    if (isBeyondTheEnd(*copy)) return std::nullopt;
    setTimes(*copy);
    copy->stream_index = stream_.index;
    copy->pos = -1;
    return output_.write(*copy);
  }

  std::optional<NSError> finish() override { return std::nullopt; }

 private:
  void giveMissingTimes(AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) packet.dts = any_ ? nextTime_ : firstDecoded(packet);
    if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
    packet.dts = std::min(packet.dts, packet.pts);
    nextTime_ = packet.dts + packet.duration;
  }

  /// Pictures that are shown in another order than they are decoded in are decoded so much earlier.
  std::int64_t firstDecoded(const AVPacket& packet) const {
    const std::int64_t shown = packet.pts == AV_NOPTS_VALUE ? 0 : packet.pts;
    return shown - source_.codecpar->video_delay * packet.duration;
  }

  /// A packet that is decoded, though not shown, before the end may be needed by those that are
  /// shown.
  bool isBeyondTheEnd(AVPacket& packet) const {
    if (clock_.keepsSpeed()) return false;
    const std::int64_t end = clock_.end(stream_.time_base);
    if (played(packet.pts) >= end) packet.flags |= AV_PKT_FLAG_DISCARD;
    return played(packet.dts) >= end;
  }

  void setTimes(AVPacket& packet) {
    const std::int64_t shown = played(packet.pts);
    packet.duration = packet.duration > 0 ? played(packet.pts + packet.duration) - shown : 0;
    packet.dts = played(packet.dts);
    if (any_) packet.dts = std::max(packet.dts, lastDecoded_ + 1);
    packet.pts = std::max(shown, packet.dts);
    lastDecoded_ = packet.dts;
    any_ = true;
  }

  std::int64_t played(std::int64_t time) const {
    return clock_.extended(time, source_.time_base, stream_.time_base);
  }

  const AVStream& source_;
  const ExportClock& clock_;
  AVStream& stream_;
  MovieOutput& output_;
  std::int64_t nextTime_ = 0;  ///< of the source
  std::int64_t lastDecoded_ = 0;
  bool any_ = false;
};

}  // namespace

MadeTrack makeCopiedTrack(const AVStream& source, const ExportClock& clock, MovieOutput& output) {
  AVStream* stream = output.addStream();
  if (stream == nullptr || !describeCopy(source, output.context(), *stream)) {
    return workerError(LibraryErrorCode::internal, "Memory ran out.");
  }
  if (!clock.keepsSpeed()) stream->time_base = kMappedTimeBase;
  return std::unique_ptr<ExportTrack>(
      std::make_unique<CopiedTrack>(source, clock, *stream, output));
}

}  // namespace quorvin
