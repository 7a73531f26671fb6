#include "media_worker/reading/wanted_decoders.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <string>

namespace quorvin {

namespace {

// Plain samples are not named one by one.
constexpr AVCodecID kCodecs[] = {
    // Videos of telephones and cameras, and of the net.
    AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_AV1, AV_CODEC_ID_VP8, AV_CODEC_ID_VP9,
    AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263, AV_CODEC_ID_MJPEG, AV_CODEC_ID_MPEG1VIDEO,
    AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_DVVIDEO, AV_CODEC_ID_THEORA, AV_CODEC_ID_FLV1,
    AV_CODEC_ID_MSMPEG4V1, AV_CODEC_ID_MSMPEG4V2, AV_CODEC_ID_MSMPEG4V3, AV_CODEC_ID_WMV1,
    AV_CODEC_ID_WMV2, AV_CODEC_ID_WMV3, AV_CODEC_ID_VC1, AV_CODEC_ID_SVQ1, AV_CODEC_ID_SVQ3,
    // Of studios, of archives, and of screens that were recorded.
    AV_CODEC_ID_PRORES, AV_CODEC_ID_DNXHD, AV_CODEC_ID_CFHD, AV_CODEC_ID_JPEG2000, AV_CODEC_ID_FFV1,
    AV_CODEC_ID_HUFFYUV, AV_CODEC_ID_FFVHUFF, AV_CODEC_ID_QTRLE, AV_CODEC_ID_PNG,
    AV_CODEC_ID_RAWVIDEO, AV_CODEC_ID_V210,
    // Pictures that are no videos.
    AV_CODEC_ID_BMP, AV_CODEC_ID_JPEGXL,
    // Sounds.
    AV_CODEC_ID_AAC, AV_CODEC_ID_ALAC, AV_CODEC_ID_MP1, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
    AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3, AV_CODEC_ID_DTS, AV_CODEC_ID_FLAC, AV_CODEC_ID_OPUS,
    AV_CODEC_ID_VORBIS, AV_CODEC_ID_SPEEX, AV_CODEC_ID_AMR_NB, AV_CODEC_ID_AMR_WB, AV_CODEC_ID_APE,
    AV_CODEC_ID_WAVPACK, AV_CODEC_ID_WMAV1, AV_CODEC_ID_WMAV2, AV_CODEC_ID_WMAPRO,
    AV_CODEC_ID_WMALOSSLESS, AV_CODEC_ID_NELLYMOSER, AV_CODEC_ID_QDM2, AV_CODEC_ID_ADPCM_IMA_QT,
    AV_CODEC_ID_ADPCM_IMA_WAV, AV_CODEC_ID_ADPCM_MS, AV_CODEC_ID_ADPCM_SWF};

bool isWanted(const AVCodec& codec) {
  // Those that drive devices find none in the sandbox.
  constexpr int kOfDevices = AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID;
  if (av_codec_is_decoder(&codec) == 0 || (codec.capabilities & kOfDevices) != 0) return false;
  const bool isPlainSound =
      codec.id >= AV_CODEC_ID_FIRST_AUDIO && codec.id < AV_CODEC_ID_ADPCM_IMA_QT;
  return isPlainSound || std::ranges::find(kCodecs, codec.id) != std::end(kCodecs);
}

std::string namesOfWanted() {
  std::string names;
  void* place = nullptr;
  while (const AVCodec* codec = av_codec_iterate(&place)) {
    if (!isWanted(*codec)) continue;
    if (!names.empty()) names += ',';
    names += codec->name;
  }
  return names;
}

/// In place of what the context has.
bool setList(char*& list) {
  av_freep(&list);
  list = av_strdup(wantedDecoders());
  return list != nullptr;
}

}  // namespace

const char* wantedDecoders() {
  static const std::string kNames = namesOfWanted();
  return kNames.c_str();
}

bool allowWantedDecoders(AVCodecContext& context) {
  return setList(context.codec_whitelist);
}

bool allowWantedDecoders(AVFormatContext& context) {
  return setList(context.codec_whitelist);
}

}  // namespace quorvin
