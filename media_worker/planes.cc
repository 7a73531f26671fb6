#include "media_worker/planes.h"

#include <libyuv.h>

#include <algorithm>
#include <memory>
#include <new>

#include "media_worker/probe_orientation.h"

namespace quorvin {

namespace {

/// Rows that are worked on at once: few enough to stay in the processor's cache.
constexpr int kBand = 32;

using Samples = std::unique_ptr<std::uint8_t[]>;

Samples samples(std::size_t count) {
  return Samples(new (std::nothrow) std::uint8_t[count]);
}

template <class Sample>
Sample* rowOf(const PlaneOf<Sample>& plane, int row) {
  return plane.data + static_cast<std::ptrdiff_t>(row) * plane.stride;
}

/// The library makes blue, green and red of the colour differences in their order, and red, green
/// and blue of both planes and constants exchanged.
const libyuv::YuvConstants* exchangedConstants(YuvCoding coding) {
  switch (coding.matrix) {
    case YuvMatrix::bt601:
      return coding.fullRange ? &libyuv::kYvuJPEGConstants : &libyuv::kYvuI601Constants;
    case YuvMatrix::bt709:
      return coding.fullRange ? &libyuv::kYvuF709Constants : &libyuv::kYvuH709Constants;
    case YuvMatrix::bt2020:
      return coding.fullRange ? &libyuv::kYvuV2020Constants : &libyuv::kYvu2020Constants;
  }
  return nullptr;
}

/// Converts rows from `begin` to `end`, of which `begin` is even, to interleaved pixels.
void convertRows(const YuvPicture& picture, int begin, int end, std::uint8_t* pixels) {
  const auto* constants = exchangedConstants(picture.coding);
  const int stride = picture.width * 3;
  const int chromaRow = picture.sampling == YuvSampling::yuv420 ? begin / 2 : begin;
  const auto& [y, u, v] = picture.planes;
  const std::uint8_t* luma = rowOf(y, begin);
  const std::uint8_t* blue = rowOf(u, chromaRow);
  const std::uint8_t* red = rowOf(v, chromaRow);
  const int rows = end - begin;
  switch (picture.sampling) {
    case YuvSampling::yuv444:
      libyuv::I444ToRGB24Matrix(luma, y.stride, red, v.stride, blue, u.stride, pixels, stride,
                                constants, picture.width, rows);
      break;
    case YuvSampling::yuv422:
      libyuv::I422ToRGB24MatrixFilter(luma, y.stride, red, v.stride, blue, u.stride, pixels, stride,
                                      constants, picture.width, rows, libyuv::kFilterBilinear);
      break;
    case YuvSampling::yuv420:
      libyuv::I420ToRGB24MatrixFilter(luma, y.stride, red, v.stride, blue, u.stride, pixels, stride,
                                      constants, picture.width, rows, libyuv::kFilterBilinear);
      break;
  }
}

/// The rows of a plane from `begin` on after a turn. `from` is the plane as stored, upside down
/// where the turn begins with that; `band` has room for them. What needs no other memory stays
/// where it is.
Plane turnedRows(const Plane& from, int width, int height, int orientation, int begin, int rows,
                 const WritablePlane& band) {
  switch (orientation) {
    case 2:
    case 3:
      libyuv::MirrorPlane(rowOf(from, begin), from.stride, band.data, band.stride, width, rows);
      break;
    case 5:
    case 6:
      libyuv::RotatePlane(from.data + begin, from.stride, band.data, band.stride, rows, height,
                          libyuv::kRotate90);
      break;
    case 7:
    case 8:
      libyuv::RotatePlane(from.data + (width - begin - rows), from.stride, band.data, band.stride,
                          rows, height, libyuv::kRotate270);
      break;
    default:
      return {rowOf(from, begin), from.stride};
  }
  return {band.data, band.stride};
}

bool beginsUpsideDown(int orientation) {
  return orientation == 3 || orientation == 4 || orientation == 5 || orientation == 7;
}

}  // namespace

std::optional<YuvMatrix> yuvMatrixOf(int matrixCoefficients) {
  switch (matrixCoefficients) {
    case 1:
      return YuvMatrix::bt709;
    case 2:  // unspecified
    case 5:
    case 6:
      return YuvMatrix::bt601;
    case 9:
      return YuvMatrix::bt2020;
    default:
      return std::nullopt;
  }
}

bool convertToRgb(const YuvPicture& picture, const std::array<WritablePlane, 3>& rgb) {
  const int stride = picture.width * 3;
  // Beside the band, the rows between whose colours its first and last ones lie.
  constexpr int kBeside = 2;
  const auto pixels = samples(static_cast<std::size_t>(stride) * (kBand + 2 * kBeside));
  if (!pixels) return false;
  for (int begin = 0; begin < picture.height; begin += kBand) {
    const int end = std::min(begin + kBand, picture.height);
    const int first = std::max(begin - kBeside, 0);
    convertRows(picture, first, std::min(end + kBeside, picture.height), pixels.get());
    libyuv::SplitRGBPlane(pixels.get() + static_cast<std::ptrdiff_t>(begin - first) * stride,
                          stride, rowOf(rgb[0], begin), rgb[0].stride, rowOf(rgb[1], begin),
                          rgb[1].stride, rowOf(rgb[2], begin), rgb[2].stride, picture.width,
                          end - begin);
  }
  return true;
}

bool interleaveUpright(const RgbPicture& picture, int orientation, std::uint8_t* pixels) {
  const bool turned = exchangesSides(orientation);
  const int width = turned ? picture.height : picture.width;
  const int height = turned ? picture.width : picture.height;
  const std::size_t bandSize = static_cast<std::size_t>(width) * kBand;
  const auto bands = samples(3 * bandSize);
  if (!bands) return false;
  std::array<Plane, 3> from = picture.planes;
  if (beginsUpsideDown(orientation)) {
    for (Plane& each : from) each = {rowOf(each, picture.height - 1), -each.stride};
  }
  for (int begin = 0; begin < height; begin += kBand) {
    const int rows = std::min(kBand, height - begin);
    std::array<Plane, 3> rgb;
    for (std::size_t c = 0; c < 3; ++c) {
      rgb.at(c) = turnedRows(from.at(c), picture.width, picture.height, orientation, begin, rows,
                             {bands.get() + c * bandSize, width});
    }
    libyuv::MergeRGBPlane(rgb[0].data, rgb[0].stride, rgb[1].data, rgb[1].stride, rgb[2].data,
                          rgb[2].stride, pixels + static_cast<std::ptrdiff_t>(begin) * width * 3,
                          width * 3, width, rows);
  }
  return true;
}

}  // namespace quorvin
