#include "media_worker/export/stream_copy.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include <string>
#include <string_view>

#include "media_worker/export/movie_output.h"
#include "media_worker/export/track_language.h"
#include "media_worker/reading/ffmpeg_versions.h"

namespace quorvin {

namespace {

/// Whether the movie can begin with the streams that it has.
bool beginsWith(AVFormatContext& movie, AVIOContext& io) {
  movie.pb = &io;
  return avformat_init_output(&movie, nullptr) >= 0;
}

/// The four letters that name the codec in the container; 0 leaves the choice to the muxer.
unsigned tagOfCopy(const AVCodecParameters& codec, const AVOutputFormat& format) {
  // Players of phones know HEVC by no other name.
  if (codec.codec_id == AV_CODEC_ID_HEVC) return MKTAG('h', 'v', 'c', '1');
  const bool known = av_codec_get_id(format.codec_tag, codec.codec_tag) == codec.codec_id;
  return known ? codec.codec_tag : 0;
}

VideoContainer containerOf(const AVOutputFormat& format) {
  return std::string_view(format.name) == muxerName(VideoContainer::quickTime)
             ? VideoContainer::quickTime
             : VideoContainer::mpeg4;
}

/// From 6.1 on FFmpeg puts plain samples into MPEG-4 files, where few players hear them.
bool isUnusualIn(VideoContainer container, AVCodecID codec) {
  return container == VideoContainer::mpeg4 && codec >= AV_CODEC_ID_FIRST_AUDIO &&
         codec < AV_CODEC_ID_ADPCM_IMA_QT;
}

}  // namespace

bool describeCopy(const AVStream& source, AVFormatContext& movie, AVStream& copy) {
  if (avcodec_parameters_copy(copy.codecpar, source.codecpar) < 0) return false;
  copy.codecpar->codec_tag = tagOfCopy(*source.codecpar, *movie.oformat);
  copy.time_base = source.time_base;
  copy.avg_frame_rate = source.avg_frame_rate;
  copy.r_frame_rate = source.r_frame_rate;
  copy.sample_aspect_ratio = source.sample_aspect_ratio;
  copySideData(source, copy);
  copyRole(source, movie, copy);
  return true;
}

void copyRole(const AVStream& source, const AVFormatContext& movie, AVStream& copy) {
  copy.disposition = source.disposition;
  const AVDictionaryEntry* language = av_dict_get(source.metadata, "language", nullptr, 0);
  if (language == nullptr) return;
  const std::string name = languageIn(containerOf(*movie.oformat), language->value);
  av_dict_set(&copy.metadata, "language", name.c_str(), 0);
}

bool canHoldCopyOf(const AVStream& source, VideoContainer container) {
  if (isUnusualIn(container, source.codecpar->codec_id)) return false;
  AVFormatContext* movie = nullptr;
  avformat_alloc_output_context2(&movie, nullptr, muxerName(container), nullptr);
  if (movie == nullptr) return false;
  AVStream* copy = avformat_new_stream(movie, nullptr);
  // A muxer tells what it refuses when it is about to begin, and looks at where it will write.
  AVIOContext* nowhere = nullptr;
  const bool holds =
      avio_open_dyn_buf(&nowhere) >= 0 && copy != nullptr && describeCopy(source, *movie, *copy) &&
      avformat_query_codec(movie->oformat, source.codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1 &&
      beginsWith(*movie, *nowhere);
  avformat_free_context(movie);
  if (nowhere != nullptr) {
    std::uint8_t* nothing = nullptr;
    avio_close_dyn_buf(nowhere, &nothing);
    av_free(nothing);
  }
  return holds;
}

}  // namespace quorvin
