// Decoded FFmpeg frames as pictures.
#pragma once

#include <cstdint>
#include <memory>

#include "core/platform/foundation.h"
#include "media_worker/reading/vips_image.h"

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

/// An open decoder for the stream; null when there is none or it refuses. Threads share the work on
/// each frame, where the stream allows.
CodecContextPtr openDecoder(const AVCodecParameters& parameters, int threads = 1);

/// The frame as stored: 8-bit RGB, or RGBA where it has alpha, neither turned nor made square.
/// Null when it cannot be converted.
ImagePtr imageOfFrame(const AVFrame& frame);

}  // namespace quorvin
