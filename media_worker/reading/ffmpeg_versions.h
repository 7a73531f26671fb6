// What differs between the versions of FFmpeg: 5.1 (Debian 12) and 7.1 (Debian 13). What version 8
// takes away is not used for the newer ones.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <algorithm>
#include <cstdint>

namespace quorvin {

// From 7.0 on the callback that writes may not change the bytes.
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(61, 0, 100)
using WrittenBytes = const std::uint8_t*;
#else
using WrittenBytes = std::uint8_t*;
#endif

// From 6.0 on a frame's duration has its final name.
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
inline std::int64_t& durationOf(AVFrame& frame) {
  return frame.duration;
}
inline std::int64_t durationOf(const AVFrame& frame) {
  return frame.duration;
}
#else
inline std::int64_t& durationOf(AVFrame& frame) {
  return frame.pkt_duration;
}
inline std::int64_t durationOf(const AVFrame& frame) {
  return frame.pkt_duration;
}
#endif

/// Whether the frame is made of two fields, of different moments. From 6.1 on it is a flag.
inline bool isInterlaced(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
  return frame.interlaced_frame != 0;
#endif
}

// From 6.1 on a stream's side data belong to its codec's parameters, and are copied with them.
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
inline const std::uint8_t* sideDataOf(const AVStream& stream, AVPacketSideDataType type) {
  const AVPacketSideData* found = av_packet_side_data_get(
      stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, type);
  return found == nullptr ? nullptr : found->data;
}
/// Room for side data of the stream; null when memory runs out.
inline std::uint8_t* newSideData(AVStream& stream, AVPacketSideDataType type, std::size_t size) {
  AVPacketSideData* made = av_packet_side_data_new(
      &stream.codecpar->coded_side_data, &stream.codecpar->nb_coded_side_data, type, size, 0);
  return made == nullptr ? nullptr : made->data;
}
/// What the copy of the codec's parameters leaves out.
inline void copySideData(const AVStream&, AVStream&) {}
#else
inline const std::uint8_t* sideDataOf(const AVStream& stream, AVPacketSideDataType type) {
  return av_stream_get_side_data(&stream, type, nullptr);
}
/// Room for side data of the stream; null when memory runs out.
inline std::uint8_t* newSideData(AVStream& stream, AVPacketSideDataType type, std::size_t size) {
  return av_stream_new_side_data(&stream, type, size);
}
/// What the copy of the codec's parameters leaves out.
inline void copySideData(const AVStream& source, AVStream& copy) {
  for (int i = 0; i < source.nb_side_data; ++i) {
    const AVPacketSideData& each = source.side_data[i];
    std::uint8_t* data = newSideData(copy, each.type, each.size);
    if (data != nullptr) std::copy_n(each.data, each.size, data);
  }
}
#endif

}  // namespace quorvin
