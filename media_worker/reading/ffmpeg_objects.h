// Owners of FFmpeg's objects.
#pragma once

#include <memory>

struct AVCodecContext;
struct AVCodecParameters;
struct AVFrame;
struct AVPacket;

namespace quorvin {

struct CodecContextFree {
  void operator()(AVCodecContext* context) const;
};
struct FrameFree {
  void operator()(AVFrame* frame) const;
};
struct PacketFree {
  void operator()(AVPacket* packet) const;
};
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextFree>;
using FramePtr = std::unique_ptr<AVFrame, FrameFree>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFree>;

/// Most pixels of a video's frame, of which decoders keep up to seventeen: more than the largest
/// cameras have, 16K.
inline constexpr std::int64_t kMaximumFramePixelCount = 140'000'000;

/// A decoder for the stream that is yet to be opened; null when there is none that is wanted.
CodecContextPtr newDecoder(const AVCodecParameters& parameters);

/// An open decoder for the stream; null when there is none or it refuses. Threads share the work on
/// each frame, where the stream allows.
CodecContextPtr openDecoder(const AVCodecParameters& parameters, int threads = 1,
                            std::int64_t mostPixels = kMaximumFramePixelCount);

}  // namespace quorvin
