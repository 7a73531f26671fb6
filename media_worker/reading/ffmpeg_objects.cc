#include "media_worker/reading/ffmpeg_objects.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <utility>

#include "media_worker/reading/wanted_decoders.h"

namespace quorvin {

void CodecContextFree::operator()(AVCodecContext* context) const {
  avcodec_free_context(&context);
}
void FrameFree::operator()(AVFrame* frame) const {
  av_frame_free(&frame);
}
void PacketFree::operator()(AVPacket* packet) const {
  av_packet_free(&packet);
}

CodecContextPtr newDecoder(const AVCodecParameters& parameters) {
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  CodecContextPtr context(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  if (!context || avcodec_parameters_to_context(context.get(), &parameters) < 0 ||
      !allowWantedDecoders(*context)) {
    return nullptr;
  }
  context->max_pixels = kMaximumFramePixelCount;
  return context;
}

CodecContextPtr openDecoder(const AVCodecParameters& parameters, int threads,
                            std::int64_t mostPixels) {
  CodecContextPtr context = newDecoder(parameters);
  if (!context) return nullptr;
  context->thread_count = threads;
  context->max_pixels = mostPixels;
  context->thread_type = FF_THREAD_SLICE;
  return avcodec_open2(context.get(), nullptr, nullptr) < 0 ? nullptr : std::move(context);
}

}  // namespace quorvin
