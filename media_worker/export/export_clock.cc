// When a moment of the source plays. A time map cuts the source into spans, each with a speed;
// between two of them lies what does not play, which is skipped in no time. Copied packets need
// times even where nothing plays, for others are decoded with their help: for them the first and
// the last span are thought to go on at their speed.
#include "media_worker/export/export_clock.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <limits>

namespace quorvin {

namespace {

constexpr AVRational kNanosecond{1, 1'000'000'000};

/// The time at which a moment plays, by the speed of the span, which may not reach it.
std::int64_t bySpeedOf(const ExportClock::Span& span, std::int64_t source) {
  return span.target + av_rescale(source - span.source, span.targetDuration, span.sourceDuration);
}

}  // namespace

ExportClock::ExportClock(std::int64_t beginning, const TimeMap& map) : beginning_(beginning) {
  std::int64_t target = 0;
  for (const TimeMapSegment& each : map) {
    spans_.push_back({each.sourceStart.count(), each.sourceDuration.count(), target,
                      each.targetDuration.count()});
    target += each.targetDuration.count();
  }
}

bool ExportClock::hasNoGaps() const {
  // Half a frame more or less is none.
  constexpr std::int64_t kGap = 2'000'000;
  return std::ranges::adjacent_find(spans_, [](const Span& a, const Span& b) {
           return b.source - (a.source + a.sourceDuration) > kGap;
         }) == spans_.end();
}

std::int64_t ExportClock::keptSpeed(std::int64_t time, AVRational from, AVRational to) const {
  return av_rescale_q(time - av_rescale_q(beginning_, AV_TIME_BASE_Q, from), from, to);
}

std::int64_t ExportClock::nanoseconds(std::int64_t time, AVRational from) const {
  return av_rescale_q(time, from, kNanosecond) - beginning_ * 1'000;
}

std::int64_t ExportClock::played(std::int64_t time, AVRational from, AVRational to) const {
  if (spans_.empty()) return keptSpeed(time, from, to);
  const std::int64_t source = nanoseconds(time, from);
  std::int64_t target = 0;
  for (const Span& each : spans_) {
    if (source < each.source) break;
    const bool inside = source < each.source + each.sourceDuration;
    target = inside ? bySpeedOf(each, source) : each.target + each.targetDuration;
    if (inside) break;
  }
  return av_rescale_q(target, kNanosecond, to);
}

std::int64_t ExportClock::extended(std::int64_t time, AVRational from, AVRational to) const {
  if (spans_.empty()) return keptSpeed(time, from, to);
  const std::int64_t source = nanoseconds(time, from);
  const Span& first = spans_.front();
  const Span& last = spans_.back();
  if (source < first.source) return av_rescale_q(bySpeedOf(first, source), kNanosecond, to);
  if (source >= last.source) return av_rescale_q(bySpeedOf(last, source), kNanosecond, to);
  return played(time, from, to);
}

std::int64_t ExportClock::firstNeeded() const {
  return spans_.empty() ? 0 : spans_.front().source / 1'000;
}

std::int64_t ExportClock::lastNeeded() const {
  if (spans_.empty()) return std::numeric_limits<std::int64_t>::max();
  return (spans_.back().source + spans_.back().sourceDuration) / 1'000;
}

std::int64_t ExportClock::end(AVRational to) const {
  return av_rescale_q(spans_.back().target + spans_.back().targetDuration, kNanosecond, to);
}

}  // namespace quorvin
