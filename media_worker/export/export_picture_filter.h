// From decoded frames to those that are encoded.
#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <string>

#include "media_protocol/failure.h"
#include "media_worker/export/export_filter.h"

namespace quorvin {

/// How the pictures of a track come out: upright, of even size, with square pixels.
struct PictureShape {
  int width = 0;
  int height = 0;
  int orientation = 1;      ///< of the stored pixels, 1 to 8
  bool toneMapped = false;  ///< from the range of light of HDR screens to that of any screen
};

/// 8-bit 4:2:0 frames of the shape, upright; of two fields becomes one whole frame, at the time of
/// the first. A change of the source's frames on the way is followed. One thread at a time.
class PictureFilter {
 public:
  using TakeFrame = FilterChain::TakeFrame;

  PictureFilter(PictureShape shape, AVRational timeBase) : shape_(shape), timeBase_(timeBase) {}

  /// Hands over what becomes of the frame; `frame` null: of those that are still inside.
  std::optional<Failure> filter(AVFrame* frame, const TakeFrame& take);

 private:
  std::optional<Failure> prepareFor(const AVFrame& frame, const TakeFrame& take);

  const PictureShape shape_;
  const AVRational timeBase_;
  FilterChain chain_;
  bool hasFields_ = false;   ///< some frame until now was made of fields
  std::string description_;  ///< of the chain; empty: there is none yet
};

/// Whether frames can be brought to the light of any screen here.
bool canMapTones();

}  // namespace quorvin
