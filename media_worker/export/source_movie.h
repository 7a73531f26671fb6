// The movie that an export reads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media_protocol/failure.h"
#include "media_worker/reading/movie_input.h"

struct AVPacket;

namespace quorvin {

/// The error of a movie of which the end is missing.
Failure endsEarly();

/// A movie with moving pictures, and the packets of those of its tracks that are used. Reading is
/// bounded by the file's size: a small file can name the same bytes for ever. One thread at a time.
class SourceMovie {
 public:
  /// `fd` outlives the result. An error when the file is no movie, or holds no moving pictures.
  static Result<std::unique_ptr<SourceMovie>> open(int fd);

  AVFormatContext& context() const { return movie_->context(); }
  /// The track of moving pictures that is shown.
  AVStream& picture() const { return *movie_->videoStream(); }
  /// The tracks of sound whose parameters are known, in the file's order.
  std::vector<AVStream*> sounds() const;
  /// Whether the pictures' track holds anything. Reads packets: what was read is lost.
  bool hasPictures();

  /// The time at which the movie begins, in microseconds; what plays first has this time.
  std::int64_t beginning() const;

  /// When the last packet of the track ends, in its time base, where an index tells that exactly.
  std::optional<std::int64_t> endOf(const AVStream& stream) const;

  /// Only the packets of streams for which this was called are read.
  void use(const AVStream& stream);
  /// Only this part is read, and what pictures and sounds in it need; microseconds after the
  /// beginning.
  void readOnly(std::int64_t from, std::int64_t until);
  /// The next packet of a used stream; false at the end, or an error.
  Result<bool> read(AVPacket& packet);

  /// Whether a header or an index says how long the movie is.
  bool tellsLength() const;
  /// The error of a movie that ended earlier than its header says, or in the middle of a packet, or
  /// of which the container tells that much is damaged.
  std::optional<Failure> damage() const;

 private:
  struct Track {
    bool used = false;
    bool done = false;                        ///< nothing more of it is needed
    std::optional<std::int64_t> nextDecoded;  ///< microseconds; none before the first packet
    std::int64_t end = 0;                     ///< of what was read, in the stream's time base
    std::int64_t packets = 0;
    std::int64_t damaged = 0;               ///< packets, as the container tells
    std::optional<std::int64_t> damagedAt;  ///< the last of them, in the stream's time base
  };

  explicit SourceMovie(std::unique_ptr<MovieInput> movie, std::int64_t size);

  std::optional<Failure> missingEnd() const;
  /// Whether the file ends within one of the container's packets of equal size.
  bool endsWithinPacket() const;
  /// Whether the track's last packets are damaged.
  bool isTorn(const AVStream& stream, const Track& track) const;
  /// Whether all of the track was read, as far as it is needed and its length is known.
  bool isWhole(const AVStream& stream, const Track& track) const;
  /// Lets the times go on where a recording was put together from several.
  void joinTimes(AVPacket& packet);
  /// Notes how far the packet's track is read. False when the packet is not needed.
  bool note(const AVPacket& packet);
  bool isDone() const;

  const std::unique_ptr<MovieInput> movie_;
  const std::int64_t size_;  ///< of the file
  std::int64_t bytesLeft_;
  std::int64_t position_ = -1;  ///< in the file, of the last packet of which it is known
  bool ended_ = false;          ///< everything was read
  std::int64_t joined_ = 0;     ///< microseconds that are added to times
  std::int64_t until_;          ///< microseconds after the beginning
  std::vector<Track> tracks_;   ///< by the stream's index
};

}  // namespace quorvin
