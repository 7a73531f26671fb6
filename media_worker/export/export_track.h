// What becomes of a track of the source.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media_protocol/failure.h"
#include "media_worker/export/export_clock.h"
#include "media_worker/export/movie_output.h"

struct AVPacket;
struct AVStream;

namespace quorvin {

/// Turns the packets of one source stream into those of one stream of the output. It is made before
/// the output begins, and dies before the output, the clock and the source. One thread at a time.
class ExportTrack {
 public:
  virtual ~ExportTrack() = default;
  /// The next packet of the stream; it stays the caller's, as an unused one may.
  virtual std::optional<Failure> add(AVPacket& packet) = 0;
  /// There are no more packets.
  virtual std::optional<Failure> finish() = 0;
};

/// A stream of the source.
struct SourceTrack {
  const AVStream& stream;
  /// When its last packet ends, in its time base, if that is known.
  std::optional<std::int64_t> end = {};
  /// Whether all of it is read, and nothing but its packets tells where it ends.
  bool mayEndEarly = false;
};

using MadeTrack = Result<std::unique_ptr<ExportTrack>>;

/// The packets as they are, in a stream that is shown as the source's is.
MadeTrack makeCopiedTrack(const SourceTrack& source, const ExportClock& clock, MovieOutput& output);

enum class CodingQuality {
  high,  ///< hard to tell from the source
  low,   ///< small in size and bytes
};

/// How a track is encoded.
struct Coding {
  CodingQuality quality;
  std::string encoder;  ///< as FFmpeg names it
};

/// Decoded, turned upright, with square pixels, in colours for every screen, H.264.
MadeTrack makePictureTrack(const SourceTrack& source, const ExportClock& clock,
                           const Coding& coding, MovieOutput& output);

/// Decoded, at most two channels, AAC; slower and faster sound keeps its pitch.
MadeTrack makeSoundTrack(const SourceTrack& source, const ExportClock& clock, const Coding& coding,
                         MovieOutput& output);

/// Whether there is a decoder for the stream, and it takes it.
bool canDecode(const AVStream& source);

}  // namespace quorvin
