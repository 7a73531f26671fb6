// Decoders and encoders of an export's tracks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "media_protocol/failure.h"
#include "media_worker/export/movie_output.h"
#include "media_worker/reading/ffmpeg_objects.h"

struct AVBSFContext;
struct AVStream;

namespace quorvin {

struct SourceTrack;

Failure outOfMemory();

struct BitstreamFilterFree {
  void operator()(AVBSFContext* filter) const;
};
using BitstreamFilterPtr = std::unique_ptr<AVBSFContext, BitstreamFilterFree>;

/// Decodes the packets of one stream, on all processors, through damage here and there. One thread
/// at a time.
class ExportDecoder {
 public:
  using TakeFrame = std::function<std::optional<Failure>(AVFrame&)>;

  /// The stream outlives this. Not open when there is no decoder for it, or it refuses.
  explicit ExportDecoder(const SourceTrack& track);
  explicit operator bool() const { return context_ != nullptr; }

  /// Hands over each frame that comes out; `packet` null: the rest of them. What does not decode is
  /// counted and left out; what decodes in part is counted too.
  std::optional<Failure> decode(const AVPacket* packet, const TakeFrame& take);
  /// The error of a track of which nothing, or too little, could be decoded, or not its end. `what`
  /// begins a sentence.
  std::optional<Failure> tooMuchDamage(std::string_view what) const;

 private:
  std::optional<Failure> send(const AVPacket* packet, const TakeFrame& take);
  std::optional<Failure> takeFrames(const TakeFrame& take);
  void noteFailure();

  bool mayEndEarly_;
  BitstreamFilterPtr remarks_;  ///< takes them out, if there is something to take out
  CodecContextPtr context_;
  FramePtr frame_;
  PacketPtr filtered_;
  std::int64_t packets_ = 0;
  std::int64_t frames_ = 0;
  std::int64_t failures_ = 0;             ///< after the first whole frame
  bool anyWhole_ = false;                 ///< some frame came out whole
  std::optional<std::int64_t> failedAt_;  ///< the frames that had come out at the last failure
};

/// Encodes frames and writes the packets. One thread at a time.
class ExportEncoder {
 public:
  /// `context` is open, `stream` one of the output's, made by `addEncodedStream`.
  ExportEncoder(CodecContextPtr context, AVStream& stream, MovieOutput& output);

  /// Times are in `timeBase`; `frame` null: writes what is still inside.
  std::optional<Failure> encode(const AVFrame* frame);
  AVCodecContext& context() const { return *context_; }

 private:
  std::optional<Failure> writePackets();

  CodecContextPtr context_;
  AVStream& stream_;
  MovieOutput& output_;
  PacketPtr packet_;
  /// How long the frames inside are shown, by their time: encoders of pictures do not keep it.
  std::map<std::int64_t, std::int64_t> durations_;
};

/// A context for the encoder that FFmpeg knows by this name, not yet open. The error of a system
/// whose FFmpeg lacks it names the format that it would make.
Result<CodecContextPtr> makeEncoder(const std::string& name, std::string_view format);

/// Opens the encoder and makes its stream, which plays in the role of `source`; null when it
/// refuses.
AVStream* addEncodedStream(AVCodecContext& encoder, const AVStream& source, MovieOutput& output);

/// How many threads decode or encode pictures of so many pixels: memory grows with both.
int codingThreads(std::int64_t pixels = 0);

/// Frames of more pixels are encoded with the fewest others in memory.
inline constexpr std::int64_t kMostPixelsLookedAhead = 9'000'000;

/// What an export that encodes pictures comes to in memory; measured. Bytes.
std::int64_t memoryOfCoding(std::int64_t decodedPixels, std::int64_t encodedPixels);

}  // namespace quorvin
