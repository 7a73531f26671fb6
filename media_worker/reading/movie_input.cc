#include "media_worker/reading/movie_input.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/mem.h>
}

#include <cmath>
#include <cstdio>
#include <span>
#include <utility>

#include "media_protocol/wire.h"
#include "media_worker/reading/ffmpeg_versions.h"
#include "media_worker/reading/movie_tables.h"
#include "media_worker/reading/wanted_decoders.h"

namespace quorvin {

namespace {

constexpr int kBufferSize = 64 * 1024;

// By demuxer name. Scripts, playlists and picture sequences are left out: they name other files.
constexpr const char* kFormats =
    "mov,matroska,avi,mpeg,mpegts,mpegvideo,asf,flv,live_flv,ogg,wav,w64,aiff,caf,mp3,aac,ac3,eac3,"
    "flac,amr,amrnb,amrwb,ape,wv,dv,mxf,h264,hevc,ivf,obu";

/// The orientation whose turn the matrix makes.
int orientationOf(const std::int32_t* matrix) {
  // Rows are the images of the axes, 16.16; the signs of the larger entries tell the turn.
  const double a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
  if (std::abs(a) + std::abs(d) >= std::abs(b) + std::abs(c)) {
    if (a < 0) return d < 0 ? 3 : 2;
    return d < 0 ? 4 : 1;
  }
  if (b > 0) return c < 0 ? 6 : 5;
  return c < 0 ? 7 : 8;
}

}  // namespace

Result<std::unique_ptr<MovieInput>> MovieInput::open(const InputFile& file) {
  const Failure cannotBeRead(LibraryErrorCode::invalidResource,
                             "the file is not a photo, video or audio file that can be read.");
  if (claimsTooMuch(file)) return cannotBeRead;
  std::unique_ptr<MovieInput> input(new MovieInput(file));
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  input->io_ = avio_alloc_context(buffer, kBufferSize, 0, input.get(), &MovieInput::read, nullptr,
                                  &MovieInput::seek);
  AVFormatContext* context = avformat_alloc_context();
  if (input->io_ == nullptr || context == nullptr) {
    if (input->io_ == nullptr) av_free(buffer);
    avformat_free_context(context);
    return Failure(LibraryErrorCode::internal, "memory ran out.");
  }
  context->pb = input->io_;
  context->flags |= AVFMT_FLAG_CUSTOM_IO;
  // A container may name further files (references of a movie): there is no way to open them.
  context->io_open = [](AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
  };
  context->max_streams = kMostTracks;
  context->format_whitelist = av_strdup(kFormats);
  if (context->format_whitelist == nullptr || !allowWantedDecoders(*context)) {
    avformat_free_context(context);
    return Failure(LibraryErrorCode::internal, "memory ran out.");
  }
  // On failure the context is freed, but the input's own I/O is not.
  if (avformat_open_input(&context, "", nullptr, nullptr) < 0) {
    return cannotBeRead;
  }
  input->context_ = context;
  return input;
}

MovieInput::~MovieInput() {
  avformat_close_input(&context_);
  if (io_ != nullptr) av_freep(&io_->buffer);
  avio_context_free(&io_);
}

bool MovieInput::findStreams() {
  return avformat_find_stream_info(context_, nullptr) >= 0;
}

AVStream* MovieInput::videoStream() const {
  for (AVStream* stream : std::span(context_->streams, context_->nb_streams)) {
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
        (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
      return stream;
    }
  }
  return nullptr;
}

int MovieInput::read(void* self, std::uint8_t* into, int size) {
  auto& input = *static_cast<MovieInput*>(self);
  const std::size_t got =
      input.file_.readAt(input.position_, {into, static_cast<std::size_t>(size)});
  input.position_ += static_cast<std::int64_t>(got);
  return got == 0 ? AVERROR_EOF : static_cast<int>(got);
}

std::int64_t MovieInput::seek(void* self, std::int64_t offset, int whence) {
  auto& input = *static_cast<MovieInput*>(self);
  const int origin = whence & ~AVSEEK_FORCE;
  if (origin == AVSEEK_SIZE) return input.file_.size();
  if (origin == SEEK_CUR) offset += input.position_;
  if (origin == SEEK_END) offset += input.file_.size();
  if (offset < 0) return AVERROR(EINVAL);
  return input.position_ = offset;
}

DisplayGeometry displayGeometry(const AVStream& stream) {
  DisplayGeometry geometry{stream.codecpar->width, stream.codecpar->height, 1};
  AVRational aspect = stream.sample_aspect_ratio;
  if (aspect.num <= 0 || aspect.den <= 0) aspect = stream.codecpar->sample_aspect_ratio;
  if (aspect.num > 0 && aspect.den > 0) {
    geometry.width = std::llround(static_cast<double>(geometry.width) * av_q2d(aspect));
  }
  if (geometry.width <= 0 || geometry.height <= 0) return {};
  const std::uint8_t* matrix = sideDataOf(stream, AV_PKT_DATA_DISPLAYMATRIX);
  if (matrix != nullptr) {
    geometry.orientation = orientationOf(reinterpret_cast<const std::int32_t*>(matrix));
  }
  if (geometry.orientation >= 5) std::swap(geometry.width, geometry.height);
  return geometry;
}

}  // namespace quorvin
