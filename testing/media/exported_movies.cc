#include "testing/media/exported_movies.h"

#include <gtest/gtest.h>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <memory>
#include <span>

#include "media_protocol/sealed_memory.h"
#include "media_worker/export/export.h"
#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/frame_image.h"
#include "media_worker/reading/movie_input.h"

namespace quorvin {

namespace {

std::unique_ptr<MovieInput> opened(const FileDescriptor& file) {
  const auto input = InputFile::open(file.get());
  EXPECT_TRUE(input);
  auto movie = MovieInput::open(*input);
  EXPECT_TRUE(movie && (*movie)->findStreams());
  return *std::move(movie);
}

double seconds(std::int64_t time, AVRational timeBase) {
  return time == AV_NOPTS_VALUE ? 0 : static_cast<double>(time) * av_q2d(timeBase);
}

std::string tagged(const AVDictionary* tags, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(tags, key, nullptr, 0);
  return entry == nullptr ? "" : entry->value;
}

std::string fourLetters(unsigned tag) {
  std::string text;
  for (int i = 0; i < 4; ++i) text.push_back(static_cast<char>(tag >> (8 * i)));
  return text;
}

TestTrack trackOf(const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  TestTrack track;
  track.picture = codec.codec_type == AVMEDIA_TYPE_VIDEO;
  track.codec = avcodec_get_name(codec.codec_id);
  track.tag = fourLetters(codec.codec_tag);
  track.width = codec.width;
  track.height = codec.height;
  track.profile = codec.profile;
  if (track.picture) track.orientation = displayGeometry(stream).orientation;
  track.sampleRate = codec.sample_rate;
  track.channels = codec.ch_layout.nb_channels;
  track.beginning = seconds(stream.start_time, stream.time_base);
  track.duration = seconds(stream.duration, stream.time_base);
  track.transfer = codec.color_trc;
  track.primaries = codec.color_primaries;
  track.matrix = codec.color_space;
  track.language = tagged(stream.metadata, "language");
  track.disposition = stream.disposition;
  return track;
}

/// Decodes one stream to its end; every packet must decode.
void decode(MovieInput& movie, const AVStream& stream,
            const std::function<void(const AVFrame&)>& take) {
  const CodecContextPtr decoder = openDecoder(*stream.codecpar);
  ASSERT_TRUE(decoder);
  decoder->pkt_timebase = stream.time_base;
  const PacketPtr packet(av_packet_alloc());
  const FramePtr frame(av_frame_alloc());
  const auto receive = [&] {
    while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
      EXPECT_EQ(frame->decode_error_flags, 0);
      take(*frame);
    }
  };
  while (av_read_frame(&movie.context(), packet.get()) >= 0) {
    if (packet->stream_index == stream.index) {
      EXPECT_GE(avcodec_send_packet(decoder.get(), packet.get()), 0);
      receive();
    }
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(decoder.get(), nullptr);
  receive();
}

Picture pictureOf(const AVFrame& frame) {
  Picture picture(frame.width, frame.height, 3);
  SwsContext* scaler = sws_getContext(
      frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
      frame.height, AV_PIX_FMT_RGB24, SWS_POINT, nullptr, nullptr, nullptr);
  sws_setColorspaceDetails(scaler, sws_getCoefficients(matrixOf(frame.colorspace, frame.height)),
                           frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  // The conversion writes in whole vectors, beyond a row's end.
  const std::size_t row = static_cast<std::size_t>(frame.width) * 3;
  const std::size_t stride = (row + 255) / 64 * 64;
  Bytes padded(stride * static_cast<std::size_t>(frame.height + 1));
  std::uint8_t* const planes[4] = {padded.data()};
  const int strides[4] = {static_cast<int>(stride)};
  EXPECT_EQ(sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes, strides),
            frame.height);
  sws_freeContext(scaler);
  for (std::size_t y = 0; y < static_cast<std::size_t>(frame.height); ++y) {
    std::copy_n(padded.data() + y * stride, row, picture.pixels.data() + y * row);
  }
  return picture;
}

float sampleAt(const AVFrame& frame, int channel, int index) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const std::uint8_t* data = frame.extended_data[planar ? channel : 0];
  const int at = planar ? index : index * frame.ch_layout.nb_channels + channel;
  if (av_get_packed_sample_fmt(format) == AV_SAMPLE_FMT_FLT) {
    return reinterpret_cast<const float*>(data)[at];
  }
  EXPECT_EQ(frame.format, AV_SAMPLE_FMT_S16);
  return static_cast<float>(reinterpret_cast<const std::int16_t*>(data)[at]) / 32768.F;
}

}  // namespace

std::string film(int rate, const std::string& inputs) {
  return "-f lavfi -i testsrc2=s=160x120:r=" + std::to_string(rate) +
         " -f lavfi -i sine=frequency=440:r=48000 " + inputs +
         " -t 3 -preset ultrafast -pix_fmt yuv420p ";
}

std::string nameOf(const FileDescriptor& file) {
  return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(file.get());
}

Exported exported(const FileDescriptor& source, VideoPreset preset, VideoContainer container,
                  const TimeMap& map, const ExportEncoders& encoders) {
  Exported result{makeMemoryFile(0), {}};
  result.error = exportVideo(
      source.get(), result.file.get(), {preset, container, true, map}, [](std::int64_t) {},
      encoders);
  return result;
}

std::vector<VideoContainer> containersOf(const FileDescriptor& source, VideoPreset preset) {
  const auto containers = exportContainers(source.get(), preset);
  EXPECT_TRUE(containers) << containers.error().sentence();
  return containers ? *containers : std::vector<VideoContainer>();
}

const TestTrack& TestMovie::picture() const {
  return *std::ranges::find_if(tracks, [](const TestTrack& each) { return each.picture; });
}

const TestTrack& TestMovie::sound() const {
  return *std::ranges::find_if(tracks, [](const TestTrack& each) { return !each.picture; });
}

std::vector<TestTrack> TestMovie::sounds() const {
  std::vector<TestTrack> found;
  std::ranges::copy_if(tracks, std::back_inserter(found),
                       [](const TestTrack& each) { return !each.picture; });
  return found;
}

TestMovie contentsOf(const FileDescriptor& file) {
  const auto input = opened(file);
  AVFormatContext& context = input->context();
  TestMovie found;
  found.duration = static_cast<double>(context.duration) / AV_TIME_BASE;
  found.brand = tagged(context.metadata, "major_brand");
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(context.metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    found.tags[entry->key] = entry->value;
  }
  for (const AVStream* each : std::span(context.streams, context.nb_streams)) {
    found.tracks.push_back(trackOf(*each));
  }
  const PacketPtr packet(av_packet_alloc());
  while (av_read_frame(&context, packet.get()) >= 0) {
    const AVRational timeBase = context.streams[packet->stream_index]->time_base;
    found.tracks[static_cast<std::size_t>(packet->stream_index)].packets.push_back(
        {seconds(packet->pts, timeBase), seconds(packet->dts, timeBase),
         static_cast<std::size_t>(packet->pos), Bytes(packet->data, packet->data + packet->size)});
    av_packet_unref(packet.get());
  }
  return found;
}

std::vector<Shown> shown(const FileDescriptor& file) {
  const auto input = opened(file);
  const AVStream& stream = *input->videoStream();
  std::vector<Shown> frames;
  decode(*input, stream, [&](const AVFrame& frame) {
    frames.push_back({seconds(frame.best_effort_timestamp, stream.time_base), pictureOf(frame)});
  });
  return frames;
}

std::vector<float> heard(const FileDescriptor& file, int channel, int track) {
  const auto input = opened(file);
  AVFormatContext& context = input->context();
  const auto streams = std::span(context.streams, context.nb_streams);
  const auto found = std::ranges::find_if(streams, [&track](const AVStream* each) {
    return each->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && track-- == 0;
  });
  EXPECT_NE(found, streams.end());
  const AVStream& stream = **found;
  std::vector<float> samples;
  decode(*input, stream, [&](const AVFrame& frame) {
    const double time = seconds(frame.best_effort_timestamp, stream.time_base);
    const auto first = static_cast<std::ptrdiff_t>(std::llround(time * frame.sample_rate));
    if (first < 0) return;
    samples.resize(static_cast<std::size_t>(first));
    for (int i = 0; i < frame.nb_samples; ++i) {
      samples.push_back(sampleAt(frame, channel, i));
    }
  });
  return samples;
}

double pitch(const std::vector<float>& samples, int sampleRate, double from, double to) {
  const auto begin = static_cast<std::size_t>(from * sampleRate);
  const auto end = static_cast<std::size_t>(to * sampleRate);
  if (end > samples.size() || begin + 1 >= end) {
    ADD_FAILURE() << "there is no such part";
    return 0;
  }
  int rises = 0;
  for (std::size_t i = begin + 1; i < end; ++i) {
    if (samples[i - 1] < 0 && samples[i] >= 0) ++rises;
  }
  return rises / (to - from);
}

double onset(const std::vector<float>& samples, int sampleRate) {
  constexpr float kLoud = 0.02F;
  const auto loud = std::ranges::find_if(samples, [](float x) { return std::abs(x) > kLoud; });
  return static_cast<double>(loud - samples.begin()) / sampleRate;
}

double psnr(const std::vector<Shown>& some, const std::vector<Shown>& others) {
  EXPECT_EQ(some.size(), others.size());
  double sum = 0;
  double count = 0;
  for (std::size_t i = 0; i < std::min(some.size(), others.size()); ++i) {
    const Bytes& a = some[i].picture.pixels;
    const Bytes& b = others[i].picture.pixels;
    EXPECT_EQ(a.size(), b.size());
    for (std::size_t j = 0; j < std::min(a.size(), b.size()); ++j) {
      sum += std::pow(static_cast<double>(a[j]) - static_cast<double>(b[j]), 2);
    }
    count += static_cast<double>(a.size());
  }
  return 10 * std::log10(255.0 * 255.0 * count / std::max(sum, 1e-9));
}

std::string boxesOf(const FileDescriptor& file) {
  const Bytes bytes = contents(file);
  std::string names;
  for (std::size_t at = 0; at + 8 <= bytes.size();) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < 4; ++i) size = size << 8 | bytes[at + i];
    names += std::string(bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                         bytes.begin() + static_cast<std::ptrdiff_t>(at + 8)) +
             " ";
    if (size < 8) break;
    at += size;
  }
  return names;
}

}  // namespace quorvin
