#include "media_worker/reading/coded_picture.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <utility>

#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/frame_image.h"

namespace quorvin {

namespace {

// The whole file goes to the decoder as one packet.
constexpr std::int64_t kMaximumFileSize = 512 << 20;

AVCodecID codecOf(PictureFormat format) {
  switch (format) {
    case PictureFormat::bmp:
      return AV_CODEC_ID_BMP;
    case PictureFormat::jpeg2000:
      return AV_CODEC_ID_JPEG2000;
    case PictureFormat::jpegXl:
      return AV_CODEC_ID_JPEGXL;
    default:
      return AV_CODEC_ID_NONE;
  }
}

PacketPtr wholeFile(const InputFile& file) {
  PacketPtr packet(av_packet_alloc());
  if (!packet || file.size() > kMaximumFileSize ||
      av_new_packet(packet.get(), static_cast<int>(file.size())) < 0) {
    return nullptr;
  }
  const std::size_t read = file.readAt(0, {packet->data, static_cast<std::size_t>(packet->size)});
  av_shrink_packet(packet.get(), static_cast<int>(read));
  return packet;
}

/// What decoding may take, and what it came to when that was more.
struct Memory {
  std::int64_t allowed;
  std::int64_t fileSize;
  std::int64_t needed;
};

/// Called when the header is read, and nothing else.
int takeBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  auto& memory = *static_cast<Memory*>(decoder->opaque);
  const std::int64_t pixels = std::int64_t{frame->width} * frame->height;
  const std::int64_t need = memoryOfCodedPicture(pixels, memory.fileSize);
  if (need <= memory.allowed) return avcodec_default_get_buffer2(decoder, frame, flags);
  memory.needed = need;
  return AVERROR(ENOMEM);
}

FramePtr decode(AVCodecContext& decoder, const AVPacket& packet) {
  FramePtr frame(av_frame_alloc());
  if (!frame || avcodec_send_packet(&decoder, &packet) < 0) return nullptr;
  avcodec_send_packet(&decoder, nullptr);
  return avcodec_receive_frame(&decoder, frame.get()) < 0 ? nullptr : std::move(frame);
}

}  // namespace

bool isCodedPicture(PictureFormat format) {
  return codecOf(format) != AV_CODEC_ID_NONE;
}

ImagePtr decodeCodedPicture(const InputFile& file, PictureFormat format) {
  AVCodecParameters parameters{};
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = codecOf(format);
  parameters.format = -1;
  const CodecContextPtr decoder = openDecoder(parameters, 1, kMaximumWholePixelCount);
  const PacketPtr packet = decoder ? wholeFile(file) : nullptr;
  if (!packet) return nullptr;
  Memory memory{allowedMemory(), file.size(), 0};
  decoder->opaque = &memory;
  decoder->get_buffer2 = takeBuffer;
  const FramePtr frame = decode(*decoder, *packet);
  if (!frame) requireMemory(memory.needed);
  return frame ? imageOfFrame(*frame) : nullptr;
}

}  // namespace quorvin
