#include "media_worker/hevc_decoder.h"

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "media_worker/frame_image.h"

namespace quorvin {

namespace {

constexpr heif_error kDone{heif_error_Ok, heif_suberror_Unspecified, ""};
constexpr heif_error kFailed{heif_error_Decoder_plugin_error, heif_suberror_Unspecified,
                             "the picture cannot be decoded"};
constexpr heif_error kNoMemory{heif_error_Memory_allocation_error, heif_suberror_Unspecified,
                               "memory ran out"};

/// One picture: its units as they arrive, in the form in which a stream has them.
struct Decoder {
  std::vector<std::uint8_t> stream;
  bool strict = false;
};

/// Each unit comes behind its size, 4 bytes long; in a stream it stands behind a start code.
bool addUnits(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& stream) {
  while (data.size() >= 4) {
    const std::size_t size = std::size_t{data[0]} << 24 | std::size_t{data[1]} << 16 |
                             std::size_t{data[2]} << 8 | data[3];
    data = data.subspan(4);
    if (size > data.size()) return false;
    constexpr std::array<std::uint8_t, 4> kStartCode{0, 0, 0, 1};
    stream.insert(stream.end(), kStartCode.begin(), kStartCode.end());
    stream.insert(stream.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
    data = data.subspan(size);
  }
  return data.empty();
}

FramePtr decodeFrame(const Decoder& decoder) {
  AVCodecParameters parameters{};
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_HEVC;
  parameters.format = -1;
  const CodecContextPtr context = openDecoder(parameters);
  const PacketPtr packet(av_packet_alloc());
  FramePtr frame(av_frame_alloc());
  if (!context || !packet || !frame ||
      av_new_packet(packet.get(), static_cast<int>(decoder.stream.size())) < 0) {
    return nullptr;
  }
  std::copy(decoder.stream.begin(), decoder.stream.end(), packet->data);
  if (avcodec_send_packet(context.get(), packet.get()) < 0) return nullptr;
  avcodec_send_packet(context.get(), nullptr);
  if (avcodec_receive_frame(context.get(), frame.get()) < 0) return nullptr;
  const bool damaged =
      frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
  return damaged && decoder.strict ? nullptr : std::move(frame);
}

heif_chroma chromaOf(const AVPixFmtDescriptor& format) {
  if (format.nb_components == 1) return heif_chroma_monochrome;
  if (format.log2_chroma_w == 0) return heif_chroma_444;
  return format.log2_chroma_h == 0 ? heif_chroma_422 : heif_chroma_420;
}

using Image = std::unique_ptr<heif_image, decltype([](heif_image* i) { heif_image_release(i); })>;

/// What the stream itself says of its colours; a file's own word goes before it.
void addColours(const AVFrame& frame, heif_image* image) {
  heif_color_profile_nclx* colours = heif_nclx_color_profile_alloc();
  if (colours == nullptr) return;
  // Values that libheif does not know leave its defaults.
  heif_nclx_color_profile_set_color_primaries(colours,
                                              static_cast<uint16_t>(frame.color_primaries));
  heif_nclx_color_profile_set_transfer_characteristics(colours,
                                                       static_cast<uint16_t>(frame.color_trc));
  heif_nclx_color_profile_set_matrix_coefficients(colours, static_cast<uint16_t>(frame.colorspace));
  colours->full_range_flag = frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
  heif_image_set_nclx_color_profile(image, colours);
  heif_nclx_color_profile_free(colours);
}

bool copyPlane(const AVFrame& frame, int index, const AVPixFmtDescriptor& format,
               heif_channel channel, heif_image* image) {
  const int widthShift = index == 0 ? 0 : format.log2_chroma_w;
  const int heightShift = index == 0 ? 0 : format.log2_chroma_h;
  const int width = AV_CEIL_RSHIFT(frame.width, widthShift);
  const int height = AV_CEIL_RSHIFT(frame.height, heightShift);
  const int depth = format.comp[0].depth;
  if (heif_image_add_plane(image, channel, width, height, depth).code != heif_error_Ok)
    return false;
  int stride = 0;
  std::uint8_t* to = heif_image_get_plane(image, channel, &stride);
  const std::uint8_t* from = frame.data[index];
  if (to == nullptr || from == nullptr) return false;
  const auto rowBytes = static_cast<std::size_t>(width) * (depth > 8 ? 2 : 1);
  for (int y = 0; y < height; ++y) {
    std::copy_n(from + static_cast<std::ptrdiff_t>(y) * frame.linesize[index], rowBytes,
                to + static_cast<std::ptrdiff_t>(y) * stride);
  }
  return true;
}

Image imageOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (format == nullptr || (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BE)) != 0) {
    return nullptr;
  }
  const bool grey = format->nb_components == 1;
  heif_image* made = nullptr;
  if (heif_image_create(frame.width, frame.height,
                        grey ? heif_colorspace_monochrome : heif_colorspace_YCbCr,
                        chromaOf(*format), &made)
          .code != heif_error_Ok) {
    return nullptr;
  }
  Image image(made);
  constexpr std::array<heif_channel, 3> kChannels{heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
  for (int index = 0; index < (grey ? 1 : 3); ++index) {
    if (!copyPlane(frame, index, *format, kChannels.at(static_cast<std::size_t>(index)), made)) {
      return nullptr;
    }
  }
  addColours(frame, made);
  return image;
}

heif_error decodeImage(void* self, heif_image** image) {
  const auto& decoder = *static_cast<const Decoder*>(self);
  try {
    const FramePtr frame = decodeFrame(decoder);
    Image decoded = frame ? imageOf(*frame) : nullptr;
    if (!decoded) return kFailed;
    *image = decoded.release();
    return kDone;
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

heif_error pushData(void* self, const void* data, std::size_t size) {
  try {
    const bool added = addUnits({static_cast<const std::uint8_t*>(data), size},
                                static_cast<Decoder*>(self)->stream);
    return added ? kDone : kFailed;
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

// Above the priority of the decoders that libheif brings.
constexpr int kPriority = 200;

const heif_decoder_plugin kPlugin{
    .plugin_api_version = 3,
    .get_plugin_name = [] { return "quorvin"; },
    .init_plugin = nullptr,
    .deinit_plugin = nullptr,
    .does_support_format =
        [](heif_compression_format format) {
          return format == heif_compression_HEVC ? kPriority : 0;
        },
    .new_decoder =
        [](void** decoder) {
          *decoder = new (std::nothrow) Decoder;
          return *decoder == nullptr ? kNoMemory : kDone;
        },
    .free_decoder = [](void* decoder) { delete static_cast<Decoder*>(decoder); },
    .push_data = pushData,
    .decode_image = decodeImage,
    .set_strict_decoding = [](void* decoder,
                              int strict) { static_cast<Decoder*>(decoder)->strict = strict != 0; },
    .id_name = "quorvin",
};

}  // namespace

void registerHevcDecoder() {
  heif_register_decoder_plugin(&kPlugin);
}

}  // namespace quorvin
