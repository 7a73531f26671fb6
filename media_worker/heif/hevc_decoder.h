// HEVC pictures inside HEIC, decoded by FFmpeg.
#pragma once

#include <mutex>
#include <optional>

#include "media_worker/heif/planes.h"

namespace quorvin {

/// Has libheif decode HEVC with FFmpeg, which is about three times as fast as the decoder that
/// comes with it. Called once, before the first picture.
void registerHevcDecoder();

/// How many threads decode a picture. More gain nothing where several workers are busy.
int decodingThreads();

/// How HEVC pictures are to be decoded.
struct HevcDecoding {
  /// A picture that is damaged fails.
  bool strict = false;
  /// It is made so much smaller afterwards that edges of blocks need not be smoothed.
  bool leavesEdges = false;
  /// Pictures of 8 bits with colour come as planes of red, green and blue, if their coding is one
  /// that is known: libheif would make these of every tile of a large picture by itself, and take
  /// longer over it than decoding does. Not for alpha.
  bool toRgb = false;
  /// What the file says of the coding, which goes before what the stream says; none: nothing.
  std::optional<YuvCoding> coding;
  /// Above 0: of a picture of so many tiles the first, a middle and the last one are decoded, and
  /// the others left blank, where they can come as red, green and blue. The file is one that
  /// decodes its tiles in order, on one thread.
  int triedOfTiles = 0;
};

/// Makes it so while it lives. libheif hands a decoder nothing but the stream, and of a tiled
/// picture not even whether damage matters, so that it has to learn of these beside libheif. One
/// at a time: another thread that wants one waits.
class HevcDecodingScope {
 public:
  explicit HevcDecodingScope(const HevcDecoding& decoding);
  ~HevcDecodingScope();
  HevcDecodingScope(const HevcDecodingScope&) = delete;
  HevcDecodingScope& operator=(const HevcDecodingScope&) = delete;

 private:
  std::unique_lock<std::mutex> only_;
};

}  // namespace quorvin
