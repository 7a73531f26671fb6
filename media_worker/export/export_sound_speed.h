// Sound that plays slower or faster, at the same pitch.
#pragma once

#include <cstdint>
#include <vector>

#include "media_protocol/failure.h"
#include "media_worker/export/export_clock.h"
#include "media_worker/export/export_filter.h"

namespace quorvin {

/// Puts together the parts of a sound that play, each made exactly as long as its time map says.
/// Samples are floats in planes. One thread at a time.
class SoundSpeed {
 public:
  using TakeFrame = FilterChain::TakeFrame;

  /// The clock has a time map. `take` gets the samples in the order of playing.
  SoundSpeed(const ExportClock& clock, int sampleRate, int channels, TakeFrame take);

  /// The first moment that plays, in samples of the source.
  std::int64_t beginning() const;
  /// The next samples of the source; the first ones are those of the first moment that plays.
  std::optional<Failure> add(const AVFrame& samples);
  std::optional<Failure> finish();

 private:
  struct Part {
    std::int64_t begin = 0;  ///< in samples of the source
    std::int64_t end = 0;
    std::int64_t length = 0;  ///< in samples of the export
    bool keepsSpeed() const { return end - begin == length; }
  };

  std::optional<Failure> addToPart(const AVFrame& samples, int offset, int count);
  std::optional<Failure> openPart();
  std::optional<Failure> closePart(std::int64_t length);
  /// What comes out of the part at hand, but for what it has too much.
  std::optional<Failure> give(AVFrame& samples);
  std::optional<Failure> giveSilence(std::int64_t count);

  const int sampleRate_;
  const int channels_;
  const TakeFrame take_;
  std::vector<Part> parts_;
  std::int64_t position_;   ///< in the source
  std::size_t part_ = 0;    ///< the one at hand
  std::int64_t given_ = 0;  ///< of the part at hand
  bool open_ = false;       ///< whether anything of it was added
  FilterChain chain_;
};

}  // namespace quorvin
