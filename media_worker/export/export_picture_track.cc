// A track of pictures that is encoded again.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/export/export_coding.h"
#include "media_worker/export/export_picture_filter.h"
#include "media_worker/export/export_track.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/ffmpeg_versions.h"
#include "media_worker/reading/frame_image.h"
#include "media_worker/reading/movie_input.h"

namespace quorvin {

namespace {

/// What a small video is no larger than, in either direction: wide ones, and others.
struct Bounds {
  double longSide;
  double shortSide;
};
constexpr Bounds kWide{568, 320};
constexpr Bounds kOther{480, 360};
constexpr double kWideAspect = 1.5;
constexpr std::int64_t kSmallBitRate = 800'000;

int even(double size) {
  return std::max(2, static_cast<int>(size) / 2 * 2);
}

/// The nearest even size, no larger than the source.
int scaledEven(double size, double scale) {
  return std::min(even(size), even(std::round(size * scale / 2) * 2));
}

bool isHighDynamicRange(const AVCodecParameters& codec) {
  return codec.color_trc == AVCOL_TRC_SMPTE2084 || codec.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

PictureShape shapeOf(const AVStream& source, CodingQuality quality) {
  const DisplayGeometry geometry = displayGeometry(source);
  const auto width = static_cast<double>(geometry.width);
  const auto height = static_cast<double>(geometry.height);
  PictureShape shape;
  shape.orientation = geometry.orientation;
  shape.toneMapped = isHighDynamicRange(*source.codecpar) && canMapTones();
  double scale = 1;
  if (quality == CodingQuality::low) {
    const auto [shorter, longer] = std::minmax(width, height);
    const Bounds& bounds = longer / shorter >= kWideAspect ? kWide : kOther;
    scale = std::min({1.0, bounds.longSide / longer, bounds.shortSide / shorter});
  }
  shape.width = scaledEven(width, scale);
  shape.height = scaledEven(height, scale);
  return shape;
}

void describeColours(AVCodecContext& encoder, const AVCodecParameters& codec, bool toneMapped) {
  encoder.pix_fmt = AV_PIX_FMT_YUV420P;
  encoder.color_range = AVCOL_RANGE_MPEG;
  encoder.chroma_sample_location = codec.chroma_location;
  encoder.color_primaries = toneMapped ? AVCOL_PRI_BT709 : codec.color_primaries;
  encoder.color_trc = toneMapped ? AVCOL_TRC_BT709 : codec.color_trc;
  const bool other = toneMapped || codec.color_space == AVCOL_SPC_RGB;
  // An unmarked one has that of its size, which the export may no longer have.
  encoder.colorspace = other ? AVCOL_SPC_BT709 : matrixOf(codec.color_space, codec.height);
}

void choose(AVCodecContext& encoder, CodingQuality quality) {
  const bool high = quality == CodingQuality::high;
  av_opt_set(encoder.priv_data, "preset", high ? "veryfast" : "fast", 0);
  av_opt_set(encoder.priv_data, "profile", high ? "high" : "main", 0);
  av_opt_set(encoder.priv_data, "crf", high ? "18" : "23", 0);
  if (!high) {
    encoder.rc_max_rate = kSmallBitRate;
    encoder.rc_buffer_size = kSmallBitRate;  // a second
  }
}

/// Each frame in the order in which it is shown: the bytes grow a little, the memory does not.
void encodeOneByOne(AVCodecContext& encoder) {
  encoder.max_b_frames = 0;
  av_opt_set_int(encoder.priv_data, "rc-lookahead", 0, 0);
  av_opt_set_int(encoder.priv_data, "mbtree", 0, 0);
}

AVRational frameRateOf(const AVStream& source) {
  for (const AVRational each : {source.avg_frame_rate, source.r_frame_rate}) {
    if (each.num > 0 && each.den > 0) return each;
  }
  return {30, 1};
}

class PictureTrack final : public ExportTrack {
 public:
  PictureTrack(const SourceTrack& source, const ExportClock& clock, ExportDecoder decoder,
               PictureShape shape, ExportEncoder encoder)
      : source_(source.stream),
        end_(source.end),
        clock_(clock),
        timeBase_(encoder.context().time_base),
        usualDuration_(av_rescale_q(1, av_inv_q(frameRateOf(source_)), source_.time_base)),
        decoder_(std::move(decoder)),
        filter_(shape, timeBase_),
        encoder_(std::move(encoder)) {}

  std::optional<Failure> add(AVPacket& packet) override {
    return decoder_.decode(&packet, [this](AVFrame& frame) { return hold(frame); });
  }

  std::optional<Failure> finish() override {
    if (std::optional<Failure> failure =
            decoder_.decode(nullptr, [this](AVFrame& frame) { return hold(frame); })) {
      return failure;
    }
    if (std::optional<Failure> failure = showHeld(end_)) return failure;
    if (std::optional<Failure> failure = decoder_.tooMuchDamage("the video")) return failure;
    const auto take = [this](AVFrame& frame) { return encode(frame); };
    if (std::optional<Failure> failure = filter_.filter(nullptr, take)) return failure;
    return encoder_.encode(nullptr);
  }

 private:
  /// Keeps each frame until the next one tells how long it is shown.
  std::optional<Failure> hold(AVFrame& frame) {
    std::int64_t time = frame.best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) time = usualEnd_;
    usualEnd_ = time + (durationOf(frame) > 0 ? durationOf(frame) : usualDuration_);
    std::optional<Failure> failure = showHeld(time);
    held_.reset(av_frame_clone(&frame));
    if (!held_) return outOfMemory();
    held_->pts = time;
    return failure;
  }

  /// Shows the frame until that time of the source; its own idea of it counts when there is none.
  std::optional<Failure> showHeld(std::optional<std::int64_t> until) {
    const FramePtr frame = std::move(held_);
    if (!frame) return std::nullopt;
    const bool known = until && *until > frame->pts;
    return show(*frame, known ? *until : std::max(usualEnd_, frame->pts + 1));
  }

  /// Gives the frame its times in the export; one that does not play goes no further.
  std::optional<Failure> show(AVFrame& frame, std::int64_t sourceEnd) {
    std::int64_t begin = clock_.played(frame.pts, source_.time_base, timeBase_);
    const std::int64_t end = clock_.played(sourceEnd, source_.time_base, timeBase_);
    if (!clock_.keepsSpeed() && end <= begin) return std::nullopt;
    if (any_) begin = std::max(begin, lastShown_ + 1);
    any_ = true;
    lastShown_ = begin;
    frame.pts = begin;
    durations_[begin] = std::max<std::int64_t>(end - begin, 1);
    frame.pict_type = AV_PICTURE_TYPE_NONE;
    return filter_.filter(&frame, [this](AVFrame& each) { return encode(each); });
  }

  std::optional<Failure> encode(AVFrame& frame) {
    // Filters that look ahead do not keep the duration.
    const auto duration = durations_.find(frame.pts);
    if (duration != durations_.end()) {
      durationOf(frame) = duration->second;
      durations_.erase(durations_.begin(), std::next(duration));
    }
    return encoder_.encode(&frame);
  }

  const AVStream& source_;
  const std::optional<std::int64_t> end_;
  const ExportClock& clock_;
  const AVRational timeBase_;
  const std::int64_t usualDuration_;  ///< of a frame, in the source's time base
  ExportDecoder decoder_;
  PictureFilter filter_;
  ExportEncoder encoder_;
  FramePtr held_;
  std::map<std::int64_t, std::int64_t> durations_;  ///< of the frames in the filter, by their time
  std::int64_t usualEnd_ = 0;   ///< of the held frame, by its own duration, in the source
  std::int64_t lastShown_ = 0;  ///< of the export
  bool any_ = false;
};

}  // namespace

MadeTrack makePictureTrack(const SourceTrack& track, const ExportClock& clock, const Coding& coding,
                           MovieOutput& output) {
  const AVStream& source = track.stream;
  const PictureShape shape = shapeOf(source, coding.quality);
  const std::int64_t pixels = std::int64_t{shape.width} * shape.height;
  requireMemory(
      memoryOfCoding(std::int64_t{source.codecpar->width} * source.codecpar->height, pixels));
  ExportDecoder decoder(track);
  if (!decoder) {
    return Failure(LibraryErrorCode::invalidResource,
                   "the video is of a format that cannot be decoded.");
  }
  auto encoder = makeEncoder(coding.encoder, "H.264");
  if (!encoder) return encoder.error();
  CodecContextPtr context = *std::move(encoder);
  context->width = shape.width;
  context->height = shape.height;
  context->sample_aspect_ratio = {1, 1};
  context->time_base = clock.keepsSpeed() ? source.time_base : kMappedTimeBase;
  context->framerate = frameRateOf(source);
  context->thread_count = codingThreads(pixels);
  describeColours(*context, *source.codecpar, shape.toneMapped);
  choose(*context, coding.quality);
  if (pixels > kMostPixelsLookedAhead) encodeOneByOne(*context);
  AVStream* stream = addEncodedStream(*context, source, output);
  if (stream == nullptr) {
    return Failure(LibraryErrorCode::invalidResource,
                   "the video is of a size that cannot be encoded.");
  }
  return std::unique_ptr<ExportTrack>(std::make_unique<PictureTrack>(
      track, clock, std::move(decoder), shape, ExportEncoder(std::move(context), *stream, output)));
}

}  // namespace quorvin
