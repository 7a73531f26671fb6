// A video is shown by its first frame. Frames with times before zero are decoded for the sake of
// later ones and not shown; they count only when there is no other. Where the container's header
// has all that a decoder needs, the packets are not searched for it first.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/frame_image.h"
#include "media_worker/reading/movie_input.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

// A stream that gives no frame for this long is not worth the wait.
constexpr int kMaximumPackets = 2000;

/// Takes what the decoder has. True when `frame` is one that is shown; an earlier one is kept, for
/// a stream that has no other.
bool receive(AVCodecContext& decoder, FramePtr& frame, FramePtr& earlier) {
  while (avcodec_receive_frame(&decoder, frame.get()) >= 0) {
    const std::int64_t time = frame->best_effort_timestamp;
    if (time == AV_NOPTS_VALUE || time >= 0) return true;
    if (!earlier) earlier.reset(av_frame_clone(frame.get()));
    av_frame_unref(frame.get());
  }
  return false;
}

/// The first frame at or after the beginning; null when nothing decodes.
FramePtr firstFrame(AVFormatContext& context, const AVStream& stream, AVCodecContext& decoder) {
  FramePtr frame(av_frame_alloc());
  FramePtr earlier;
  const PacketPtr packet(av_packet_alloc());
  for (int count = 0; count < kMaximumPackets && av_read_frame(&context, packet.get()) >= 0;
       ++count) {
    if (packet->stream_index == stream.index) {
      // A damaged packet is no reason to give up: a later one may decode.
      avcodec_send_packet(&decoder, packet.get());
      if (receive(decoder, frame, earlier)) return frame;
    }
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(&decoder, nullptr);
  return receive(decoder, frame, earlier) ? std::move(frame) : std::move(earlier);
}

/// Whether the header alone lets the stream be decoded.
bool isKnown(const AVStream* stream) {
  return stream != nullptr && stream->codecpar->width > 0 && stream->codecpar->height > 0 &&
         stream->codecpar->extradata_size > 0;
}

Failure noFrame() {
  return Failure(LibraryErrorCode::invalidResource, "the video has no frame that can be decoded.");
}

}  // namespace

Result<LoadedImage> loadPosterFrame(const InputFile& file, const RenderRequest& request) {
  auto input = MovieInput::open(file);
  if (!input) return input.error();
  MovieInput& movie = **input;
  if (!isKnown(movie.videoStream())) movie.findStreams();
  AVStream* stream = movie.videoStream();
  if (stream == nullptr) return noFrame();
  requireMemory(
      memoryOfFirstFrame(std::int64_t{stream->codecpar->width} * stream->codecpar->height));
  const CodecContextPtr decoder = openDecoder(*stream->codecpar);
  if (!decoder) return noFrame();
  const FramePtr frame = firstFrame(movie.context(), *stream, *decoder);
  if (!frame) return noFrame();

  // The stream's header may be silent about what the decoder then finds.
  stream->codecpar->width = frame->width;
  stream->codecpar->height = frame->height;
  if (stream->sample_aspect_ratio.num <= 0)
    stream->sample_aspect_ratio = frame->sample_aspect_ratio;
  const DisplayGeometry geometry = displayGeometry(*stream);
  if (!isDecodableSize(geometry.width, geometry.height)) return tooManyPixels();
  auto target = renderingSize(request, {geometry.width, geometry.height});
  if (!target) return target.error();

  LoadedImage loaded;
  loaded.image = imageOfFrame(*frame);
  if (!loaded.image) return noFrame();
  loaded.orientation = geometry.orientation;
  loaded.target = *target;
  return loaded;
}

}  // namespace quorvin
