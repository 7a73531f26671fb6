// A decoder plug-in of libheif's, over FFmpeg.
//
// libheif comes with a decoder of HEVC that takes about three times as long as FFmpeg's on a
// phone's picture. So we register one of our own, with a higher priority. libheif hands it the
// picture, or each tile of it, as units behind their sizes; it puts start codes in their place, as
// a stream has them, has FFmpeg decode that one frame, and hands over the frame's planes with what
// the stream says of its colours.
//
// Of 8-bit pictures with colour it can hand over red, green and blue instead: libheif would convert
// every tile to these by itself, and slowly. Whether it may is known to whoever asks for the
// picture and not to the plug-in, for which libheif's interface has no room; so it is told beside
// libheif, by the one HevcDecodingScope that there is at a time. What is asked for is noted when a
// decoder is made, since libheif decodes tiles on threads of its own.
//
// Threads: tiles are small and decoded side by side, each by one thread; a larger picture is one
// stream, on which FFmpeg's threads share the work.
#include "media_worker/heif/hevc_decoder.h"

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
#include <optional>
#include <span>
#include <vector>

#include "media_worker/heif/heif_file.h"
#include "media_worker/heif/libheif_versions.h"
#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/processors.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {

namespace {

constexpr heif_error kDone{heif_error_Ok, heif_suberror_Unspecified, ""};
constexpr heif_error kFailed{heif_error_Decoder_plugin_error, heif_suberror_Unspecified,
                             "the picture cannot be decoded"};
constexpr heif_error kNoMemory{heif_error_Memory_allocation_error, heif_suberror_Unspecified,
                               "memory ran out"};

/// The one thing that is not handed from function to function: the decoder's interface has no room
/// for it.
struct State {
  std::mutex inUse;  ///< held by the scope that there is
  std::mutex mutex;  ///< guards `decoding`, which libheif's threads read
  HevcDecoding decoding;
  int made = 0;       ///< decoders since the scope began
  int tileWidth = 0;  ///< of a tile that came as red, green and blue; 0: none did yet
  int tileHeight = 0;
};

State& state() {
  static State theState;
  return theState;
}

/// One picture: its units as they arrive, in the form in which a stream has them.
struct Decoder {
  std::vector<std::uint8_t> stream;
  HevcDecoding decoding;
  int index = 0;  ///< among those of one scope
  bool isDone = false;
};

Decoder nextDecoder() {
  const std::lock_guard guard(state().mutex);
  return {{}, state().decoding, state().made++, false};
}

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

/// Tiles are decoded side by side; larger pictures than they are take their threads for themselves.
constexpr std::size_t kLargestTile = 512 << 10;

FramePtr decodeFrame(const Decoder& decoder) {
  AVCodecParameters parameters{};
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_HEVC;
  parameters.format = -1;
  const bool isTile = decoder.stream.size() < kLargestTile;
  const CodecContextPtr context =
      openDecoder(parameters, isTile ? 1 : decodingThreads(), kMaximumWholePixelCount);
  const PacketPtr packet(av_packet_alloc());
  FramePtr frame(av_frame_alloc());
  if (!context || !packet || !frame ||
      av_new_packet(packet.get(), static_cast<int>(decoder.stream.size())) < 0) {
    return nullptr;
  }
  std::copy(decoder.stream.begin(), decoder.stream.end(), packet->data);
  // Without this the decoder passes over what it cannot make sense of.
  if (decoder.decoding.strict) context->err_recognition |= AV_EF_EXPLODE;
  if (decoder.decoding.leavesEdges) context->skip_loop_filter = AVDISCARD_ALL;
  if (avcodec_send_packet(context.get(), packet.get()) < 0) return nullptr;
  avcodec_send_packet(context.get(), nullptr);
  if (avcodec_receive_frame(context.get(), frame.get()) < 0) return nullptr;
  const bool damaged =
      frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
  return damaged && decoder.decoding.strict ? nullptr : std::move(frame);
}

heif_chroma chromaOf(const AVPixFmtDescriptor& format) {
  if (format.nb_components == 1) return heif_chroma_monochrome;
  if (format.log2_chroma_w == 0) return heif_chroma_444;
  return format.log2_chroma_h == 0 ? heif_chroma_422 : heif_chroma_420;
}

using Image = HeifPtr<heif_image>;

/// What the stream itself says of its colours; a file's own word goes before it.
void addColours(const AVFrame& frame, heif_image* image) {
  const HeifPtr<heif_color_profile_nclx> owned(heif_nclx_color_profile_alloc());
  heif_color_profile_nclx* colours = owned.get();
  if (colours == nullptr) return;
  // Values that libheif does not know leave its defaults.
  heif_nclx_color_profile_set_color_primaries(colours,
                                              static_cast<uint16_t>(frame.color_primaries));
  heif_nclx_color_profile_set_transfer_characteristics(colours,
                                                       static_cast<uint16_t>(frame.color_trc));
  heif_nclx_color_profile_set_matrix_coefficients(colours, static_cast<uint16_t>(frame.colorspace));
  colours->full_range_flag = frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
  heif_image_set_nclx_color_profile(image, colours);
}

/// What the stream itself says; what it does not say is as libheif takes it to be.
std::optional<YuvCoding> codingOf(const AVFrame& frame) {
  const auto matrix = yuvMatrixOf(frame.colorspace);
  if (!matrix) return std::nullopt;
  return YuvCoding{*matrix, frame.color_range == AVCOL_RANGE_JPEG};
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

std::optional<YuvSampling> samplingOf(const AVPixFmtDescriptor& format) {
  if (format.nb_components != 3 || format.comp[0].depth != 8 ||
      (format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PLANAR)) != AV_PIX_FMT_FLAG_PLANAR) {
    return std::nullopt;
  }
  if (format.log2_chroma_w == 0) return YuvSampling::yuv444;
  return format.log2_chroma_h == 0 ? YuvSampling::yuv422 : YuvSampling::yuv420;
}

/// An image and its planes, which are yet to be filled.
Image rgbImage(int width, int height, std::array<WritablePlane, 3>& rgb) {
  heif_image* made = nullptr;
  if (!succeeded(heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_444, &made))) {
    return nullptr;
  }
  Image image(made);
  constexpr std::array<heif_channel, 3> kChannels{heif_channel_R, heif_channel_G, heif_channel_B};
  for (std::size_t i = 0; i < 3; ++i) {
    if (!succeeded(heif_image_add_plane(made, kChannels.at(i), width, height, 8))) return nullptr;
    rgb.at(i).data = heif_image_get_plane(made, kChannels.at(i), &rgb.at(i).stride);
    if (rgb.at(i).data == nullptr) return nullptr;
  }
  return image;
}

/// The picture as red, green and blue; null when it is none that can be turned into them here.
Image rgbImageOf(const AVFrame& frame, std::optional<YuvCoding> coding) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const auto sampling = format == nullptr ? std::nullopt : samplingOf(*format);
  if (!coding) coding = codingOf(frame);
  if (!sampling || !coding) return nullptr;
  std::array<WritablePlane, 3> rgb;
  Image image = rgbImage(frame.width, frame.height, rgb);
  YuvPicture picture{{}, frame.width, frame.height, *sampling, *coding};
  for (std::size_t i = 0; i < 3; ++i) {
    picture.planes.at(i) = {frame.data[i], frame.linesize[i]};
    if (frame.data[i] == nullptr) return nullptr;
  }
  return image && convertToRgb(picture, rgb) ? std::move(image) : nullptr;
}

/// In place of a tile that is not tried; null when it is, or while the size of tiles is not known.
Image blankTile(const Decoder& decoder) {
  const int tiles = decoder.decoding.triedOfTiles;
  if (decoder.index == 0 || decoder.index == tiles / 2 || decoder.index >= tiles - 1) {
    return nullptr;
  }
  std::unique_lock guard(state().mutex);
  const int width = state().tileWidth;
  const int height = state().tileHeight;
  guard.unlock();
  std::array<WritablePlane, 3> rgb;
  Image blank = width == 0 ? nullptr : rgbImage(width, height, rgb);
  if (!blank) return nullptr;
  for (const WritablePlane& plane : rgb) {
    std::fill_n(plane.data, static_cast<std::ptrdiff_t>(plane.stride) * height, std::uint8_t{0});
  }
  return blank;
}

void noteTile(const AVFrame& frame) {
  const std::lock_guard guard(state().mutex);
  state().tileWidth = frame.width;
  state().tileHeight = frame.height;
}

Image decodedImage(const Decoder& decoder) {
  const FramePtr frame = decodeFrame(decoder);
  if (!frame) return nullptr;
  Image rgb = decoder.decoding.toRgb ? rgbImageOf(*frame, decoder.decoding.coding) : nullptr;
  if (!rgb) return imageOf(*frame);
  noteTile(*frame);
  return rgb;
}

heif_error decodeImage(void* self, heif_image** image) {
  auto& decoder = *static_cast<Decoder*>(self);
  *image = nullptr;
  if (decoder.isDone) return kDone;  // asked for one more than there is
  decoder.isDone = true;
  try {
    Image decoded = blankTile(decoder);
    if (!decoded) decoded = decodedImage(decoder);
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

int supportsFormat(heif_compression_format format) {
  return format == heif_compression_HEVC ? kPriority : 0;
}

heif_error makeDecoder(void** decoder) {
  *decoder = new (std::nothrow) Decoder(nextDecoder());
  return *decoder == nullptr ? kNoMemory : kDone;
}

/// What it says of strict decoding is left out: it says so of untiled pictures alone.
heif_decoder_plugin makePlugin() {
  heif_decoder_plugin plugin{};
  plugin.get_plugin_name = [] { return "quorvin"; };
  plugin.id_name = "quorvin";
  plugin.free_decoder = [](void* decoder) { delete static_cast<Decoder*>(decoder); };
  setDecoderCalls<supportsFormat, makeDecoder, pushData, decodeImage>(plugin);
  return plugin;
}

}  // namespace

int decodingThreads() {
  return static_cast<int>(std::clamp(processorCount(), 1U, 4U));
}

void registerHevcDecoder() {
  static const heif_decoder_plugin kPlugin = makePlugin();
  heif_register_decoder_plugin(&kPlugin);
}

HevcDecodingScope::HevcDecodingScope(const HevcDecoding& decoding) : only_(state().inUse) {
  const std::lock_guard guard(state().mutex);
  state().decoding = decoding;
  state().made = 0;
  state().tileWidth = 0;
}

HevcDecodingScope::~HevcDecodingScope() {
  const std::lock_guard guard(state().mutex);
  state().decoding = {};
}

}  // namespace quorvin
