#include "testing/media/coded_films.h"

#include <gtest/gtest.h>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <array>
#include <cstring>
#include <memory>

#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/ffmpeg_versions.h"

namespace quorvin {

namespace {

/// One stream in a container that is written to memory.
class Film {
 public:
  Film(const char* container, AVCodecID codec) {
    EXPECT_GE(avformat_alloc_output_context2(&format_, nullptr, container, nullptr), 0);
    // A container is finished by going back to its beginning.
    file_ = fileOf({});
    io_ = avio_alloc_context(static_cast<unsigned char*>(av_malloc(4096)), 4096, 1, this, nullptr,
                             write, seek);
    format_->pb = io_;
    const AVCodec* found = avcodec_find_encoder(codec);
    encoder_.reset(avcodec_alloc_context3(found));
    stream_ = avformat_new_stream(format_, found);
    if ((format_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
  }
  ~Film() {
    av_freep(&io_->buffer);
    avio_context_free(&io_);
    avformat_free_context(format_);
  }

  AVCodecContext& encoder() { return *encoder_; }
  AVStream& stream() { return *stream_; }

  /// The encoder and the stream are then described; the stream may be told more.
  void open() {
    EXPECT_GE(avcodec_open2(encoder_.get(), nullptr, nullptr), 0);
    stream_->time_base = encoder_->time_base;
    EXPECT_GE(avcodec_parameters_from_context(stream_->codecpar, encoder_.get()), 0);
  }

  void begin() { EXPECT_GE(avformat_write_header(format_, nullptr), 0); }

  void add(const AVFrame* frame) {
    EXPECT_GE(avcodec_send_frame(encoder_.get(), frame), 0);
    const PacketPtr packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder_.get(), packet.get()) >= 0) {
      packet->duration = 1;
      av_packet_rescale_ts(packet.get(), encoder_->time_base, stream_->time_base);
      packet->stream_index = 0;
      EXPECT_GE(av_interleaved_write_frame(format_, packet.get()), 0);
    }
  }

  Bytes end() {
    add(nullptr);
    EXPECT_GE(av_write_trailer(format_), 0);
    avio_flush(io_);
    return contents(file_);
  }

 private:
  static int write(void* self, WrittenBytes data, int size) {
    auto& film = *static_cast<Film*>(self);
    EXPECT_EQ(::pwrite(film.file_.get(), data, static_cast<std::size_t>(size), film.position_),
              size);
    film.position_ += size;
    return size;
  }

  static std::int64_t seek(void* self, std::int64_t offset, int whence) {
    auto& film = *static_cast<Film*>(self);
    if ((whence & AVSEEK_SIZE) != 0) return ::lseek(film.file_.get(), 0, SEEK_END);
    EXPECT_EQ(whence, SEEK_SET);
    return film.position_ = offset;
  }

  FileDescriptor file_;
  std::int64_t position_ = 0;
  AVIOContext* io_ = nullptr;
  AVFormatContext* format_ = nullptr;
  AVStream* stream_ = nullptr;
  CodecContextPtr encoder_;
};

FramePtr frameOf(const Picture& picture, std::int64_t time) {
  FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = picture.width;
  frame->height = picture.height;
  frame->pts = time;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  SwsContext* scaler =
      sws_getContext(picture.width, picture.height, AV_PIX_FMT_RGB24, picture.width, picture.height,
                     AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
  const std::uint8_t* const planes[4] = {picture.pixels.data()};
  const int strides[4] = {picture.width * 3};
  EXPECT_EQ(sws_scale(scaler, planes, strides, 0, picture.height, frame->data, frame->linesize),
            picture.height);
  sws_freeContext(scaler);
  return frame;
}

}  // namespace

Bytes video(const std::vector<Picture>& frames, const FilmOptions& options) {
  Film film(options.container, AV_CODEC_ID_MPEG4);
  film.encoder().width = frames.front().width;
  film.encoder().height = frames.front().height;
  film.encoder().pix_fmt = AV_PIX_FMT_YUV420P;
  film.encoder().time_base = {1, 10};
  film.encoder().flags |= AV_CODEC_FLAG_QSCALE;
  film.encoder().global_quality = 2 * FF_QP2LAMBDA;
  film.encoder().sample_aspect_ratio = {options.aspectWidth, options.aspectHeight};
  film.stream().sample_aspect_ratio = film.encoder().sample_aspect_ratio;
  film.open();
  if (options.orientation != 1) {
    // Rows: where the stored x and y axes point, by orientation.
    constexpr std::array<std::array<int, 4>, 8> kTurns{{{1, 0, 0, 1},
                                                        {-1, 0, 0, 1},
                                                        {-1, 0, 0, -1},
                                                        {1, 0, 0, -1},
                                                        {0, 1, 1, 0},
                                                        {0, 1, -1, 0},
                                                        {0, -1, -1, 0},
                                                        {0, -1, 1, 0}}};
    const auto& turn = kTurns.at(static_cast<std::size_t>(options.orientation - 1));
    const std::int32_t whole[9] = {
        turn[0] << 16, turn[1] << 16, 0, turn[2] << 16, turn[3] << 16, 0, 0, 0, 1 << 30};
    std::memcpy(newSideData(film.stream(), AV_PKT_DATA_DISPLAYMATRIX, sizeof whole), whole,
                sizeof whole);
  }
  film.begin();
  std::int64_t time = 0;
  for (const Picture& picture : frames) film.add(frameOf(picture, time++).get());
  return film.end();
}

Bytes sound() {
  Film film("wav", AV_CODEC_ID_PCM_S16LE);
  film.encoder().sample_rate = 8000;
  film.encoder().sample_fmt = AV_SAMPLE_FMT_S16;
  film.encoder().time_base = {1, 8000};
  av_channel_layout_default(&film.encoder().ch_layout, 1);
  film.open();
  film.begin();
  FramePtr frame(av_frame_alloc());
  frame->format = AV_SAMPLE_FMT_S16;
  frame->nb_samples = 8000;
  frame->sample_rate = 8000;
  frame->pts = 0;
  av_channel_layout_default(&frame->ch_layout, 1);
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  std::memset(frame->data[0], 0, 16000);
  film.add(frame.get());
  return film.end();
}

}  // namespace quorvin
