// Planes of 8-bit samples: their conversion to RGB and to finished pixels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace quorvin {

/// Rows of samples, `stride` bytes apart. Does not own them.
template <class Sample>
struct PlaneOf {
  Sample* data = nullptr;
  int stride = 0;
};
using Plane = PlaneOf<const std::uint8_t>;
using WritablePlane = PlaneOf<std::uint8_t>;

/// How light and colour differences make red, green and blue.
enum class YuvMatrix { bt601, bt709, bt2020 };

struct YuvCoding {
  YuvMatrix matrix = YuvMatrix::bt601;
  bool fullRange = true;
  friend bool operator==(const YuvCoding&, const YuvCoding&) = default;
};

/// The matrix of a code point of ISO/IEC 23091-2; BT.601 where it says nothing, none for matrices
/// that pictures hardly ever have.
std::optional<YuvMatrix> yuvMatrixOf(int matrixCoefficients);

/// How many colour samples there are.
enum class YuvSampling { yuv444, yuv422, yuv420 };

struct YuvPicture {
  std::array<Plane, 3> planes;
  int width = 0;
  int height = 0;
  YuvSampling sampling = YuvSampling::yuv420;
  YuvCoding coding;
};

/// Converts to planes of red, green and blue; colour is interpolated between its samples. False
/// when memory runs out.
bool convertToRgb(const YuvPicture& picture, const std::array<WritablePlane, 3>& rgb);

struct RgbPicture {
  std::array<Plane, 3> planes;
  int width = 0;
  int height = 0;
};

/// The picture so many times smaller, each pixel the mean of those whose place it takes; sides are
/// rounded down. Its planes lie in `samples`. False when memory runs out.
bool shrink(RgbPicture& picture, int times, std::unique_ptr<std::uint8_t[]>& samples);

/// One plane at another size, by a filter for pictures that become up to some dozen times smaller.
/// libvips has such a filter, but uses no vectors for it inside the sandbox. False when it fails.
bool scalePlane(const Plane& from, int width, int height, const WritablePlane& to, int toWidth,
                int toHeight);

/// The picture at another size, likewise. Its planes lie in `samples`.
bool scale(RgbPicture& picture, int width, int height, std::unique_ptr<std::uint8_t[]>& samples);

/// Writes pixels of 3 bytes, rows without padding, turned upright by the Exif orientation. False
/// when memory runs out.
bool interleaveUpright(const RgbPicture& picture, int orientation, std::uint8_t* pixels);

}  // namespace quorvin
