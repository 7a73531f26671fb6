// Sound that plays slower or faster at the same pitch. Each part of the time map has its own chain
// of filters; where the speed is kept, samples pass untouched. A chain gives a few samples more or
// fewer than it should, so that each part is cut, or filled with silence, to its exact length:
// otherwise sound and pictures would drift apart from part to part.
#include "media_worker/export/export_sound_speed.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <string>
#include <utility>

namespace quorvin {

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::int64_t kSilentFrame = 4096;

/// A filter makes sound slower by at most a half.
constexpr double kSlowest = 0.5;

std::string tempo(double factor) {
  std::string filters;
  while (factor < kSlowest) {
    filters += filterText("atempo=%.1f,", kSlowest);
    factor /= kSlowest;
  }
  // The filter gives samples that are not in planes.
  return filters + filterText("atempo=%.9f,aformat=sample_fmts=fltp", factor);
}

}  // namespace

SoundSpeed::SoundSpeed(const ExportClock& clock, int sampleRate, int channels, TakeFrame take)
    : sampleRate_(sampleRate), channels_(channels), take_(std::move(take)) {
  const auto samples = [sampleRate](std::int64_t nanoseconds) {
    return av_rescale(nanoseconds, sampleRate, kNanoseconds);
  };
  for (const ExportClock::Span& each : clock.spans()) {
    parts_.push_back({samples(each.source), samples(each.source + each.sourceDuration),
                      samples(each.target + each.targetDuration) - samples(each.target)});
  }
  position_ = beginning();
}

std::int64_t SoundSpeed::beginning() const {
  return parts_.front().begin;
}

std::optional<Failure> SoundSpeed::add(const AVFrame& samples) {
  const std::int64_t begin = position_;
  position_ += samples.nb_samples;
  while (part_ < parts_.size()) {
    const Part& part = parts_[part_];
    const std::int64_t from = std::max(begin, part.begin);
    const std::int64_t to = std::min(position_, part.end);
    if (from < to) {
      const auto offset = static_cast<int>(from - begin);
      if (std::optional<Failure> failure = addToPart(samples, offset, static_cast<int>(to - from)))
        return failure;
    }
    if (position_ < part.end) break;
    if (std::optional<Failure> failure = closePart(part.length)) return failure;
  }
  return std::nullopt;
}

std::optional<Failure> SoundSpeed::finish() {
  if (part_ >= parts_.size() || !open_) return std::nullopt;
  const Part& part = parts_[part_];
  // The source has less sound than pictures.
  return closePart(av_rescale(part.length, position_ - part.begin, part.end - part.begin));
}

std::optional<Failure> SoundSpeed::addToPart(const AVFrame& samples, int offset, int count) {
  if (!open_) {
    if (std::optional<Failure> failure = openPart()) return failure;
  }
  const FramePtr piece(av_frame_clone(&samples));
  if (!piece) return outOfMemory();
  for (int i = 0; i < channels_; ++i) {
    piece->data[i] += static_cast<std::ptrdiff_t>(offset) * static_cast<int>(sizeof(float));
  }
  piece->nb_samples = count;
  if (parts_[part_].keepsSpeed()) return give(*piece);
  return chain_.filter(piece.get(), [this](AVFrame& each) { return give(each); });
}

std::optional<Failure> SoundSpeed::openPart() {
  open_ = true;
  const Part& part = parts_[part_];
  if (part.keepsSpeed()) return std::nullopt;
  const std::string source =
      filterText("sample_rate=%d:sample_fmt=fltp:channel_layout=%s:time_base=1/%d", sampleRate_,
                 channels_ == 1 ? "mono" : "stereo", sampleRate_);
  const double factor = static_cast<double>(part.end - part.begin) /
                        static_cast<double>(std::max<std::int64_t>(part.length, 1));
  return chain_.open(FilterChain::Kind::sound, source, tempo(factor));
}

std::optional<Failure> SoundSpeed::closePart(std::int64_t length) {
  if (open_ && !parts_[part_].keepsSpeed()) {
    if (std::optional<Failure> failure =
            chain_.filter(nullptr, [this](AVFrame& each) { return give(each); })) {
      return failure;
    }
  }
  // The filter's sound is a few samples longer or shorter than wanted.
  std::optional<Failure> failure = giveSilence(length - given_);
  ++part_;
  given_ = 0;
  open_ = false;
  return failure;
}

std::optional<Failure> SoundSpeed::give(AVFrame& samples) {
  const std::int64_t wanted = parts_[part_].length - given_;
  samples.nb_samples = static_cast<int>(std::min<std::int64_t>(samples.nb_samples, wanted));
  given_ += samples.nb_samples;
  return samples.nb_samples > 0 ? take_(samples) : std::nullopt;
}

std::optional<Failure> SoundSpeed::giveSilence(std::int64_t count) {
  while (count > 0) {
    const FramePtr silence(av_frame_alloc());
    if (!silence) return outOfMemory();
    silence->format = AV_SAMPLE_FMT_FLTP;
    silence->sample_rate = sampleRate_;
    silence->nb_samples = static_cast<int>(std::min(count, kSilentFrame));
    av_channel_layout_default(&silence->ch_layout, channels_);
    if (av_frame_get_buffer(silence.get(), 0) < 0) return outOfMemory();
    av_samples_set_silence(silence->extended_data, 0, silence->nb_samples, channels_,
                           AV_SAMPLE_FMT_FLTP);
    count -= silence->nb_samples;
    if (std::optional<Failure> failure = take_(*silence)) return failure;
  }
  return std::nullopt;
}

}  // namespace quorvin
