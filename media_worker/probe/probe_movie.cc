#include "media_worker/probe/probe_movie.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cmath>
#include <ctime>
#include <memory>
#include <span>

#include "core/platform/photo_library.h"
#include "media_protocol/wire.h"
#include "media_worker/metadata/metadata_movie.h"
#include "media_worker/probe/probe_movie_type.h"
#include "media_worker/reading/movie_input.h"
#include "media_worker/reading/signature.h"

namespace quorvin {
namespace {

/// From this many frames a second on a video is slow motion; 120000/1001 counts.
constexpr double kHighFrameRate = 119;

Failure refused(std::string_view sentence) {
  return Failure(LibraryErrorCode::invalidResource, sentence);
}

Failure noMedia() {
  return refused("the file is not a photo, video or audio file.");
}

Failure damaged() {
  return refused("the video or audio file is damaged.");
}

MovieTags tagsOf(const AVDictionary* dictionary) {
  MovieTags tags;
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    tags.emplace_back(entry->key, entry->value);
  }
  return tags;
}

/// The first stream of sound whose parameters are known.
AVStream* soundStream(const AVFormatContext& context) {
  for (AVStream* stream : std::span(context.streams, context.nb_streams)) {
    const AVCodecParameters& codec = *stream->codecpar;
    if (codec.codec_type == AVMEDIA_TYPE_AUDIO && codec.codec_id != AV_CODEC_ID_NONE &&
        codec.sample_rate > 0) {
      return stream;
    }
  }
  return nullptr;
}

/// Whether the file holds any of the stream's media, and not their description alone.
bool hasPacket(AVFormatContext& context, const AVStream& stream) {
  constexpr int kMostPackets = 2000;
  const std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet(
      av_packet_alloc(), [](AVPacket* owned) { av_packet_free(&owned); });
  for (int count = 0; packet && count < kMostPackets; ++count) {
    if (av_read_frame(&context, packet.get()) < 0) return false;
    const bool found = packet->stream_index == stream.index && packet->size > 0;
    av_packet_unref(packet.get());
    if (found) return true;
  }
  return false;
}

double secondsOf(const AVFormatContext& context) {
  return context.duration > 0 ? static_cast<double>(context.duration) / AV_TIME_BASE : 0;
}

double rateOf(const AVRational& rate) {
  return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
}

void describeVideo(const AVStream& stream, double captureFrameRate, MediaProbe& probe) {
  const DisplayGeometry geometry = displayGeometry(stream);
  probe.pixelWidth = geometry.width;
  probe.pixelHeight = geometry.height;
  probe.orientation = geometry.orientation;
  probe.frameRate = rateOf(stream.avg_frame_rate);
  // Some containers count no frames, but tell their rate.
  if (probe.frameRate <= 0) probe.frameRate = rateOf(stream.r_frame_rate);
  // Many a camera names the rate of capture although the movie keeps it.
  if (captureFrameRate > probe.frameRate * 1.5) probe.captureFrameRate = captureFrameRate;
  if (probe.frameRate >= kHighFrameRate || probe.captureFrameRate >= kHighFrameRate) {
    probe.mediaSubtypes |= PHAssetMediaSubtype::videoHighFrameRate;
  }
}

bool isKnownVideo(const AVStream* stream) {
  return stream != nullptr && stream->codecpar->codec_id != AV_CODEC_ID_NONE &&
         stream->codecpar->width > 0 && stream->codecpar->height > 0;
}

}  // namespace

Result<MediaProbe> probeMovie(const InputFile& file) {
  const auto input = MovieInput::open(file);
  const std::vector<std::uint8_t> head = file.head(kSignatureLength);
  if (!input) return isMovieSignature(head) ? damaged() : noMedia();
  AVFormatContext& context = (*input)->context();
  // Formats without a signature are found in any noise, by a guess.
  if (context.probe_score <= AVPROBE_SCORE_RETRY) return noMedia();
  if (!(*input)->findStreams()) return damaged();
  AVStream* video = (*input)->videoStream();
  AVStream* sound = soundStream(context);
  if (video == nullptr && sound == nullptr) {
    return refused("the file has neither a video nor an audio track that can be read.");
  }
  if (video != nullptr && !isKnownVideo(video)) {
    return refused("the video is damaged or of a format that cannot be read.");
  }
  MediaProbe probe;
  probe.kind = video != nullptr ? MediaKind::video : MediaKind::audio;
  const ContentType type = movieType(context.iformat->name, head, probe.kind);
  probe.uniformTypeIdentifier = type.identifier;
  probe.extension = type.extension;
  const MovieMetadata metadata = movieMetadata(tagsOf(context.metadata), std::time(nullptr));
  probe.creationDate = metadata.creationDate;
  probe.contentIdentifier = metadata.contentIdentifier;
  probe.duration = secondsOf(context);
  if (video != nullptr) describeVideo(*video, metadata.captureFrameRate, probe);
  if (video != nullptr && (probe.pixelWidth <= 0 || probe.pixelHeight <= 0)) return damaged();
  return hasPacket(context, video != nullptr ? *video : *sound) ? Result(probe) : damaged();
}

bool isMovie(const InputFile& file) {
  const auto input = MovieInput::open(file);
  return input && isKnownVideo((*input)->videoStream());
}

}  // namespace quorvin
