#include "media_worker/export/source_movie.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/reading/ffmpeg_objects.h"

namespace quorvin {

namespace {

/// What may be missing at the end: a container's own idea of its length is a rough one.
constexpr std::int64_t kIndexTolerance = AV_TIME_BASE / 4;
constexpr std::int64_t kHeaderTolerance = AV_TIME_BASE / 2;

/// Pictures are decoded, and tracks interleaved, no further than this from when they are shown.
constexpr std::int64_t kMargin = std::int64_t{2} * AV_TIME_BASE;

/// Times of a stream that jump so far are those of another recording.
constexpr std::int64_t kJumpBack = AV_TIME_BASE / 10;
constexpr std::int64_t kJumpAhead = std::int64_t{10} * AV_TIME_BASE;

/// Of so many packets one may be damaged.
constexpr std::int64_t kPacketsPerDamage = 10;

/// What one damaged packet at the end of a file lasts at most.
constexpr std::int64_t kTornEnd = AV_TIME_BASE / 4;

/// Packets hold little more than the file; some containers repeat parts of them.
constexpr std::int64_t kMostCopies = 4;

Failure invalidSource(std::string_view sentence) {
  return Failure(LibraryErrorCode::invalidResource, sentence);
}

/// Whether every packet's time stands in an index, which the container's header holds.
bool hasIndex(const AVFormatContext& context) {
  return std::string_view(context.iformat->name).starts_with("mov,");
}

std::int64_t inMicroseconds(std::int64_t time, AVRational timeBase) {
  return av_rescale_q(time, timeBase, AV_TIME_BASE_Q);
}

bool isKnownPicture(const AVStream* stream) {
  if (stream == nullptr || stream->codecpar->codec_id == AV_CODEC_ID_NONE) return false;
  const std::int64_t width = stream->codecpar->width;
  const std::int64_t height = stream->codecpar->height;
  return width > 0 && height > 0 && width <= kMaximumFramePixelCount / height;
}

}  // namespace

Failure endsEarly() {
  return invalidSource("the video ends early: the file is not whole.");
}

Result<std::unique_ptr<SourceMovie>> SourceMovie::open(int fd) {
  const auto file = InputFile::open(fd);
  if (!file) return file.error();
  auto movie = MovieInput::open(*file);
  if (!movie) return movie.error();
  // Packets without a time of showing get one where that can be found out.
  (*movie)->context().flags |= AVFMT_FLAG_GENPTS;
  if (!(*movie)->findStreams()) return invalidSource("the video is damaged.");
  if (!isKnownPicture((*movie)->videoStream())) {
    return invalidSource("the file has no video track that can be read.");
  }
  return std::unique_ptr<SourceMovie>(new SourceMovie(*std::move(movie), file->size()));
}

SourceMovie::SourceMovie(std::unique_ptr<MovieInput> movie, std::int64_t size)
    : movie_(std::move(movie)),
      size_(size),
      bytesLeft_(kMostCopies * size),
      until_(std::numeric_limits<std::int64_t>::max()),
      tracks_(context().nb_streams) {
  for (AVStream* each : std::span(context().streams, context().nb_streams)) {
    each->discard = AVDISCARD_ALL;
  }
}

std::vector<AVStream*> SourceMovie::sounds() const {
  std::vector<AVStream*> found;
  for (AVStream* each : std::span(context().streams, context().nb_streams)) {
    const AVCodecParameters& codec = *each->codecpar;
    if (codec.codec_type == AVMEDIA_TYPE_AUDIO && codec.codec_id != AV_CODEC_ID_NONE &&
        codec.sample_rate > 0 && codec.ch_layout.nb_channels > 0) {
      found.push_back(each);
    }
  }
  return found;
}

bool SourceMovie::hasPictures() {
  use(picture());
  const PacketPtr packet(av_packet_alloc());
  const auto found = read(*packet);
  return found && *found;
}

std::int64_t SourceMovie::beginning() const {
  // Times that an index gives are final; a recorded stream begins at any.
  // What comes before time 0 is not heard anywhere.
  if (hasIndex(context()) || context().start_time == AV_NOPTS_VALUE) return 0;
  return std::max<std::int64_t>(context().start_time, 0);
}

std::optional<std::int64_t> SourceMovie::endOf(const AVStream& stream) const {
  const bool known =
      hasIndex(context()) && stream.duration > 0 && stream.start_time != AV_NOPTS_VALUE;
  return known ? std::optional(stream.start_time + stream.duration) : std::nullopt;
}

void SourceMovie::use(const AVStream& stream) {
  const auto index = static_cast<std::size_t>(stream.index);
  tracks_[index].used = true;
  context().streams[index]->discard = AVDISCARD_DEFAULT;
}

void SourceMovie::readOnly(std::int64_t from, std::int64_t until) {
  until_ = until;
  if (from <= 0) return;
  const AVStream& stream = picture();
  const std::int64_t time = av_rescale_q(from + beginning(), AV_TIME_BASE_Q, stream.time_base);
  // A container that cannot go there is read from its beginning.
  av_seek_frame(&context(), stream.index, time, AVSEEK_FLAG_BACKWARD);
}

Result<bool> SourceMovie::read(AVPacket& packet) {
  while (!isDone()) {
    av_packet_unref(&packet);
    const int code = av_read_frame(&context(), &packet);
    if (code == AVERROR(EAGAIN)) continue;
    if (code == AVERROR(ENOMEM)) return Failure(LibraryErrorCode::internal, "memory ran out.");
    // Whatever else stops the reading, what is missing then tells whether that was the end.
    if (code < 0) {
      ended_ = true;
      return false;
    }
    bytesLeft_ -= packet.size + 1;
    if (bytesLeft_ < 0) {
      return invalidSource("the video is damaged: its tracks are larger than the file.");
    }
    if (packet.size == 0) continue;
    joinTimes(packet);
    if (note(packet)) return true;
  }
  return false;
}

void SourceMovie::joinTimes(AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  const bool mayJump = (context().iformat->flags & AVFMT_TS_DISCONT) != 0;
  if (!mayJump || packet.dts == AV_NOPTS_VALUE || index >= tracks_.size()) return;
  const AVRational timeBase = context().streams[index]->time_base;
  const std::int64_t decoded = inMicroseconds(packet.dts, timeBase);
  auto& next = tracks_[index].nextDecoded;
  const std::int64_t jump = next ? decoded + joined_ - *next : 0;
  if (jump < -kJumpBack || jump > kJumpAhead) joined_ -= jump;
  const std::int64_t added = av_rescale_q(joined_, AV_TIME_BASE_Q, timeBase);
  packet.dts += added;
  if (packet.pts != AV_NOPTS_VALUE) packet.pts += added;
  next = decoded + joined_ + inMicroseconds(std::max<std::int64_t>(packet.duration, 0), timeBase);
}

bool SourceMovie::note(const AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index >= tracks_.size() || !tracks_[index].used) return false;
  Track& track = tracks_[index];
  ++track.packets;
  if (packet.pos >= 0) position_ = packet.pos;
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  const bool damaged = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
  if (damaged) ++track.damaged;
  if (time == AV_NOPTS_VALUE) return true;
  if (damaged) track.damagedAt = time;
  track.end = std::max(track.end, time + std::max<std::int64_t>(packet.duration, 0));
  const std::int64_t decoded = packet.dts != AV_NOPTS_VALUE ? packet.dts : time;
  const std::int64_t after =
      inMicroseconds(decoded, context().streams[index]->time_base) - beginning();
  track.done = after > until_ && after - until_ > kMargin;
  return !track.done;
}

bool SourceMovie::isDone() const {
  return std::ranges::all_of(tracks_, [](const Track& each) { return each.done || !each.used; });
}

bool SourceMovie::tellsLength() const {
  return context().duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
}

std::optional<Failure> SourceMovie::damage() const {
  if (std::optional<Failure> failure = missingEnd()) return failure;
  if (ended_ && endsWithinPacket()) return endsEarly();
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    const Track& track = tracks_[i];
    if (track.damaged > std::max<std::int64_t>(track.packets / kPacketsPerDamage, 2)) {
      return invalidSource("the video is damaged.");
    }
    if (ended_ && isTorn(*context().streams[i], track)) return endsEarly();
  }
  return std::nullopt;
}

bool SourceMovie::endsWithinPacket() const {
  constexpr std::int64_t kUsual = 188;
  constexpr std::int64_t kWithTime = 192;
  std::int64_t size = 0;
  if (position_ < 0 ||
      av_opt_get_int(&context(), "ts_packetsize", AV_OPT_SEARCH_CHILDREN, &size) < 0)
    return false;
  return (size == kUsual || size == kWithTime) && (size_ - position_) % size != 0;
}

bool SourceMovie::isTorn(const AVStream& stream, const Track& track) const {
  return !tellsLength() && track.damagedAt &&
         inMicroseconds(track.end - *track.damagedAt, stream.time_base) <= kTornEnd;
}

std::optional<Failure> SourceMovie::missingEnd() const {
  std::int64_t end = 0;
  bool allUsed = true;
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    const AVStream& stream = *context().streams[i];
    allUsed =
        allUsed && (tracks_[i].used || (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0);
    if (!tracks_[i].used) continue;
    if (!isWhole(stream, tracks_[i])) return endsEarly();
    end = std::max(end, inMicroseconds(tracks_[i].end, stream.time_base) - beginning());
  }
  // The length of the whole may be that of a track which is not read, or no more than a guess.
  const bool guessed = context().duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
  if (!allUsed || guessed || context().duration == AV_NOPTS_VALUE) return std::nullopt;
  const std::int64_t announced = std::min(context().duration, until_);
  const bool whole = end >= announced - std::max(kHeaderTolerance, announced / 20);
  return whole ? std::nullopt : std::optional(endsEarly());
}

bool SourceMovie::isWhole(const AVStream& stream, const Track& track) const {
  const auto end = endOf(stream);
  if (!end) return true;
  const std::int64_t announced = inMicroseconds(*end, stream.time_base);
  return inMicroseconds(track.end, stream.time_base) >=
         std::min(announced, until_) - kIndexTolerance;
}

}  // namespace quorvin
