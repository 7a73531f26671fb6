// When a moment of the source plays.
#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <cstdint>
#include <vector>

#include "media_protocol/time_map.h"

namespace quorvin {

/// Of pictures that play at another speed: fine enough that those of any rate keep their distances.
inline constexpr AVRational kMappedTimeBase{1, 90'000};

/// Turns the source's times into those of the export, by a time map. Immutable, any thread.
class ExportClock {
 public:
  /// `beginning` is the source's time, in microseconds, that plays first. `map` is playable.
  ExportClock(std::int64_t beginning, const TimeMap& map);

  std::int64_t beginning() const { return beginning_; }
  /// True when nothing but the beginning changes.
  bool keepsSpeed() const { return spans_.empty(); }
  /// Whether all of the source between the first moment that plays and the last one plays.
  bool hasNoGaps() const;

  /// When the moment plays, in ticks of `to`. What does not play has the time at which it is
  /// skipped: the last moment before and the first after it are one.
  std::int64_t played(std::int64_t time, AVRational from, AVRational to) const;
  /// The same, but what comes before the beginning, or after the end, has times before and after
  /// these, at the speed of what plays next to it.
  std::int64_t extended(std::int64_t time, AVRational from, AVRational to) const;

  /// Microseconds after the source's beginning; the end is the greatest number when all plays.
  std::int64_t firstNeeded() const;
  std::int64_t lastNeeded() const;
  /// When the export ends, in ticks of `to`; only with a time map.
  std::int64_t end(AVRational to) const;

  struct Span {
    std::int64_t source = 0;  ///< nanoseconds after the source's beginning
    std::int64_t sourceDuration = 0;
    std::int64_t target = 0;  ///< nanoseconds
    std::int64_t targetDuration = 0;
  };
  const std::vector<Span>& spans() const { return spans_; }

 private:
  std::int64_t keptSpeed(std::int64_t time, AVRational from, AVRational to) const;
  std::int64_t nanoseconds(std::int64_t time, AVRational from) const;

  const std::int64_t beginning_;
  std::vector<Span> spans_;
};

}  // namespace quorvin
