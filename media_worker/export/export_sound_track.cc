// A track of sound that is encoded again.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
}

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/export/export_coding.h"
#include "media_worker/export/export_filter.h"
#include "media_worker/export/export_sound_speed.h"
#include "media_worker/export/export_track.h"
#include "media_worker/reading/ffmpeg_versions.h"

namespace quorvin {

namespace {

using SampleQueue =
    std::unique_ptr<AVAudioFifo, decltype([](AVAudioFifo* each) { av_audio_fifo_free(each); })>;

constexpr int kUsualRate = 48'000;
constexpr std::array kKeptRates{8'000,  11'025, 12'000, 16'000, 22'050,
                                24'000, 32'000, 44'100, 48'000};

/// Bits a second of each channel.
constexpr std::int64_t kHighBitRate = 96'000;
constexpr std::int64_t kLowBitRate = 32'000;

int rateFor(const AVCodecParameters& codec) {
  return std::ranges::find(kKeptRates, codec.sample_rate) != kKeptRates.end() ? codec.sample_rate
                                                                              : kUsualRate;
}

class SoundTrack final : public ExportTrack {
 public:
  SoundTrack(const AVStream& source, const ExportClock& clock, ExportDecoder decoder,
             ExportEncoder encoder)
      : source_(source),
        beginning_(av_rescale_q(clock.beginning(), AV_TIME_BASE_Q, source.time_base)),
        channels_(encoder.context().ch_layout.nb_channels),
        sampleRate_(encoder.context().sample_rate),
        decoder_(std::move(decoder)),
        encoder_(std::move(encoder)),
        queue_(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels_, encoder_.context().frame_size)) {
    if (!clock.keepsSpeed()) {
      speed_.emplace(clock, sampleRate_, channels_, [this](AVFrame& each) { return queue(each); });
      position_ = speed_->beginning();
    }
  }

  std::optional<Failure> add(AVPacket& packet) override {
    return decoder_.decode(&packet, [this](AVFrame& frame) { return make(frame); });
  }

  std::optional<Failure> finish() override {
    if (std::optional<Failure> failure =
            decoder_.decode(nullptr, [this](AVFrame& frame) { return make(frame); })) {
      return failure;
    }
    if (std::optional<Failure> failure = decoder_.tooMuchDamage("the sound of the video"))
      return failure;
    cutTheEnd();
    if (std::optional<Failure> failure = letGo()) return failure;
    if (std::optional<Failure> failure = evenOut(nullptr)) return failure;
    if (speed_) {
      if (std::optional<Failure> failure = speed_->finish()) return failure;
    }
    if (std::optional<Failure> failure = encodeQueued(1)) return failure;
    return encoder_.encode(nullptr);
  }

 private:
  /// From a decoded frame to samples of the export's kind.
  std::optional<Failure> make(AVFrame& frame) {
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
      const int channels = frame.ch_layout.nb_channels;
      av_channel_layout_uninit(&frame.ch_layout);
      av_channel_layout_default(&frame.ch_layout, channels);
    }
    frame.pts = frame.best_effort_timestamp;
    if (frame.pts != AV_NOPTS_VALUE) frame.pts -= beginning_;
    if (std::optional<Failure> failure = prepareFor(frame)) return failure;
    return hold(frame);
  }

  /// Lets each frame go when there is a next one: the last may hold more than is heard.
  std::optional<Failure> hold(AVFrame& frame) {
    std::optional<Failure> failure = letGo();
    held_.reset(av_frame_clone(&frame));
    return failure || held_ ? failure : outOfMemory();
  }

  std::optional<Failure> letGo() {
    const FramePtr frame = std::move(held_);
    return frame ? evenOut(frame.get()) : std::nullopt;
  }

  void cutTheEnd() {
    if (!held_ || durationOf(*held_) <= 0) return;
    const std::int64_t heard =
        av_rescale_q(durationOf(*held_), source_.time_base, {1, held_->sample_rate});
    if (heard > 0 && heard < held_->nb_samples) held_->nb_samples = static_cast<int>(heard);
  }

  /// Fills gaps with silence and cuts what overlaps, so that sample follows sample from the
  /// beginning on, and stays with the pictures.
  std::optional<Failure> evenOut(AVFrame* frame) {
    return evener_.filter(frame, [this](AVFrame& each) {
      position_ += each.nb_samples;
      return speed_ ? speed_->add(each) : queue(each);
    });
  }

  std::optional<Failure> prepareFor(const AVFrame& frame) {
    std::array<char, 128> layout{};
    av_channel_layout_describe(&frame.ch_layout, layout.data(), layout.size());
    const char* format = av_get_sample_fmt_name(static_cast<AVSampleFormat>(frame.format));
    std::string kind = filterText("sample_rate=%d:sample_fmt=%s:channel_layout=%s:time_base=%d/%d",
                                  frame.sample_rate, format == nullptr ? "none" : format,
                                  layout.data(), source_.time_base.num, source_.time_base.den);
    if (kind == kind_) return std::nullopt;
    if (std::optional<Failure> failure = letGo()) return failure;
    if (std::optional<Failure> failure = evenOut(nullptr)) return failure;
    kind_ = std::move(kind);
    const std::string filters = filterText(
        "aresample=%d:async=1:min_hard_comp=0.1:first_pts=%lld,"
        "aformat=sample_fmts=fltp:sample_rates=%d:channel_layouts=%s",
        sampleRate_, static_cast<long long>(position_), sampleRate_,
        channels_ == 1 ? "mono" : "stereo");
    return evener_.open(FilterChain::Kind::sound, kind_, filters);
  }

  std::optional<Failure> queue(AVFrame& samples) {
    auto* const* planes = reinterpret_cast<void**>(samples.extended_data);
    if (!queue_ || av_audio_fifo_write(queue_.get(), const_cast<void**>(planes),
                                       samples.nb_samples) < samples.nb_samples) {
      return outOfMemory();
    }
    return encodeQueued(encoder_.context().frame_size);
  }

  /// Encodes as long as so many samples are there.
  std::optional<Failure> encodeQueued(int least) {
    while (queue_ && av_audio_fifo_size(queue_.get()) >= least) {
      const FramePtr frame(av_frame_alloc());
      if (!frame) return outOfMemory();
      frame->format = AV_SAMPLE_FMT_FLTP;
      frame->sample_rate = sampleRate_;
      frame->nb_samples = std::min(av_audio_fifo_size(queue_.get()), encoder_.context().frame_size);
      av_channel_layout_default(&frame->ch_layout, channels_);
      if (av_frame_get_buffer(frame.get(), 0) < 0) return outOfMemory();
      av_audio_fifo_read(queue_.get(), reinterpret_cast<void**>(frame->extended_data),
                         frame->nb_samples);
      frame->pts = encoded_;
      encoded_ += frame->nb_samples;
      if (std::optional<Failure> failure = encoder_.encode(frame.get())) return failure;
    }
    return std::nullopt;
  }

  const AVStream& source_;
  const std::int64_t beginning_;  ///< in the source's time base
  const int channels_;
  const int sampleRate_;
  ExportDecoder decoder_;
  ExportEncoder encoder_;
  FramePtr held_;
  FilterChain evener_;
  std::string kind_;           ///< of the samples that the evener takes
  std::int64_t position_ = 0;  ///< samples that it gave
  std::optional<SoundSpeed> speed_;
  SampleQueue queue_;
  std::int64_t encoded_ = 0;  ///< samples
};

}  // namespace

MadeTrack makeSoundTrack(const SourceTrack& track, const ExportClock& clock, const Coding& coding,
                         MovieOutput& output) {
  const AVStream& source = track.stream;
  ExportDecoder decoder(track);
  if (!decoder) {
    return Failure(LibraryErrorCode::invalidResource,
                   "the sound of the video is of a format that cannot be decoded.");
  }
  auto encoder = makeEncoder(coding.encoder, "AAC");
  if (!encoder) return encoder.error();
  CodecContextPtr context = *std::move(encoder);
  const int channels = std::min(source.codecpar->ch_layout.nb_channels, 2);
  context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context->sample_rate = rateFor(*source.codecpar);
  context->time_base = {1, context->sample_rate};
  context->bit_rate =
      channels * (coding.quality == CodingQuality::high ? kHighBitRate : kLowBitRate);
  av_channel_layout_default(&context->ch_layout, channels);
  AVStream* stream = addEncodedStream(*context, source, output);
  if (stream == nullptr) {
    return Failure(LibraryErrorCode::invalidResource, "the sound of the video cannot be encoded.");
  }
  return std::unique_ptr<ExportTrack>(std::make_unique<SoundTrack>(
      source, clock, std::move(decoder), ExportEncoder(std::move(context), *stream, output)));
}

}  // namespace quorvin
