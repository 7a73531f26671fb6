#include "media_worker/export/export_coding.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <string>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/export/export_track.h"
#include "media_worker/export/stream_copy.h"
#include "media_worker/reading/ffmpeg_versions.h"
#include "media_worker/reading/processors.h"

namespace quorvin {

namespace {

constexpr int kMostThreads = 16;
constexpr int kThreadsOfLarge = 4;
constexpr std::int64_t kLargePixels = 3'000'000;

}  // namespace

Failure outOfMemory() {
  return Failure(LibraryErrorCode::internal, "memory ran out.");
}

int codingThreads(std::int64_t pixels) {
  const int most = pixels > kMostPixelsLookedAhead ? 1
                   : pixels > kLargePixels         ? kThreadsOfLarge
                                                   : kMostThreads;
  return std::clamp(static_cast<int>(processorCount()), 1, most);
}

std::int64_t memoryOfCoding(std::int64_t decodedPixels, std::int64_t encodedPixels) {
  constexpr std::int64_t kDecoded = 12;
  constexpr std::int64_t kEncoded = 80;
  constexpr std::int64_t kOfThread = 12;
  constexpr std::int64_t kEncodedOneByOne = 24;
  const std::int64_t encoded = encodedPixels > kMostPixelsLookedAhead
                                   ? kEncodedOneByOne
                                   : kEncoded + kOfThread * codingThreads(encodedPixels);
  return decodedPixels * kDecoded + encodedPixels * encoded;
}

Result<CodecContextPtr> makeEncoder(const std::string& name, std::string_view format) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (codec == nullptr) {
    return Failure(LibraryErrorCode::internal,
                   "this system has no encoder of " + std::string(format) + ".");
  }
  CodecContextPtr context(avcodec_alloc_context3(codec));
  if (!context) return outOfMemory();
  // Containers of this kind hold the parameters once, in their index.
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context;
}

AVStream* addEncodedStream(AVCodecContext& encoder, const AVStream& source, MovieOutput& output) {
  if (avcodec_open2(&encoder, nullptr, nullptr) < 0) return nullptr;
  AVStream* stream = output.addStream();
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0) {
    return nullptr;
  }
  stream->time_base = encoder.time_base;
  stream->avg_frame_rate = encoder.framerate;
  stream->sample_aspect_ratio = encoder.sample_aspect_ratio;
  copyRole(source, output.context(), *stream);
  return stream;
}

ExportEncoder::ExportEncoder(CodecContextPtr context, AVStream& stream, MovieOutput& output)
    : context_(std::move(context)), stream_(stream), output_(output), packet_(av_packet_alloc()) {}

std::optional<Failure> ExportEncoder::encode(const AVFrame* frame) {
  if (!packet_) return outOfMemory();
  if (frame != nullptr && durationOf(*frame) > 0) durations_[frame->pts] = durationOf(*frame);
  if (avcodec_send_frame(context_.get(), frame) < 0) {
    return Failure(LibraryErrorCode::internal, "the video cannot be encoded.");
  }
  return writePackets();
}

std::optional<Failure> ExportEncoder::writePackets() {
  for (;;) {
    const int code = avcodec_receive_packet(context_.get(), packet_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return std::nullopt;
    if (code < 0) return Failure(LibraryErrorCode::internal, "the video cannot be encoded.");
    const auto duration = durations_.find(packet_->pts);
    if (duration != durations_.end()) {
      packet_->duration = duration->second;
      durations_.erase(duration);
    }
    av_packet_rescale_ts(packet_.get(), context_->time_base, stream_.time_base);
    packet_->stream_index = stream_.index;
    if (std::optional<Failure> failure = output_.write(*packet_)) return failure;
  }
}

}  // namespace quorvin
