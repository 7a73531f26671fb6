// Planes of light and colour differences become red, green and blue, and those become upright
// pixels. Both go over the picture in bands of few rows, so that what one step writes is still in
// the processor's cache when the next one reads it. Turning takes no pass of its own: planes are
// turned one by one, band by band, on their way to being interleaved.
#include "media_worker/heif/planes.h"

#include <libyuv.h>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "media_worker/reading/orientation.h"

namespace quorvin {

namespace {

/// Rows that are worked on at once: few enough to stay in the processor's cache.
constexpr int kBand = 32;

using Samples = std::unique_ptr<std::uint8_t[]>;
using Scaler = std::unique_ptr<SwsContext, decltype([](SwsContext* s) { sws_freeContext(s); })>;

Samples samples(std::size_t count) {
  return Samples(new (std::nothrow) std::uint8_t[count]);
}

template <class Sample>
Sample* rowOf(const PlaneOf<Sample>& plane, int row) {
  return plane.data + static_cast<std::ptrdiff_t>(row) * plane.stride;
}

/// For the full range alone: for the other the library's factors for blue are too small. It makes
/// blue, green and red of the colour differences in their order, and red, green and blue of both
/// planes and constants exchanged.
const libyuv::YuvConstants* exchangedConstants(YuvMatrix matrix) {
  switch (matrix) {
    case YuvMatrix::bt601:
      return &libyuv::kYvuJPEGConstants;
    case YuvMatrix::bt709:
      return &libyuv::kYvuF709Constants;
    case YuvMatrix::bt2020:
      return &libyuv::kYvuV2020Constants;
  }
  return nullptr;
}

/// The full-range value of each limited one.
using RangeTable = std::array<std::uint8_t, 256>;

RangeTable rangeTable(double limitedZero, double zero, double limitedSteps) {
  RangeTable table;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const double value = (static_cast<double>(i) - limitedZero) * 255 / limitedSteps + zero;
    table.at(i) = static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
  }
  return table;
}

/// Gives rows of a picture as planes of the full range.
class RowSource {
 public:
  /// At most `rows` at a time. The picture outlives this.
  RowSource(const YuvPicture& picture, int rows) : picture_(picture) {
    if (picture.coding.fullRange) return;
    light_ = rangeTable(16, 0, 219);
    difference_ = rangeTable(128, 128, 224);
    capacity_ = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(rows);
    expanded_ = samples(3 * capacity_);
  }

  explicit operator bool() const { return picture_.coding.fullRange || expanded_ != nullptr; }

  /// Rows from `begin`, which is even, to `end`.
  std::array<Plane, 3> rows(int begin, int end) const {
    const bool halfRows = picture_.sampling == YuvSampling::yuv420;
    std::array<Plane, 3> planes;
    for (std::size_t i = 0; i < 3; ++i) {
      const bool half = halfRows && i > 0;
      const Plane& from = picture_.planes.at(i);
      planes.at(i) = {rowOf(from, half ? begin / 2 : begin), from.stride};
      if (expanded_ == nullptr) continue;
      const int width = i == 0 || picture_.sampling == YuvSampling::yuv444
                            ? picture_.width
                            : (picture_.width + 1) / 2;
      planes.at(i) = expanded(planes.at(i), width, half ? (end - begin + 1) / 2 : end - begin, i);
    }
    return planes;
  }

 private:
  Plane expanded(const Plane& from, int width, int rows, std::size_t index) const {
    const RangeTable& table = index == 0 ? light_ : difference_;
    const WritablePlane to{expanded_.get() + index * capacity_, picture_.width};
    for (int row = 0; row < rows; ++row) {
      std::transform(rowOf(from, row), rowOf(from, row) + width, rowOf(to, row),
                     [&table](std::uint8_t value) { return table[value]; });
    }
    return {to.data, to.stride};
  }

  const YuvPicture& picture_;
  RangeTable light_{};
  RangeTable difference_{};
  std::size_t capacity_ = 0;
  Samples expanded_;
};

/// Converts rows to interleaved pixels.
void convertRows(const YuvPicture& picture, const std::array<Plane, 3>& planes, int rows,
                 std::uint8_t* pixels) {
  const auto* constants = exchangedConstants(picture.coding.matrix);
  const int stride = picture.width * 3;
  const auto& [y, u, v] = planes;
  switch (picture.sampling) {
    case YuvSampling::yuv444:
      libyuv::I444ToRGB24Matrix(y.data, y.stride, v.data, v.stride, u.data, u.stride, pixels,
                                stride, constants, picture.width, rows);
      break;
    case YuvSampling::yuv422:
      libyuv::I422ToRGB24MatrixFilter(y.data, y.stride, v.data, v.stride, u.data, u.stride, pixels,
                                      stride, constants, picture.width, rows,
                                      libyuv::kFilterBilinear);
      break;
    case YuvSampling::yuv420:
      libyuv::I420ToRGB24MatrixFilter(y.data, y.stride, v.data, v.stride, u.data, u.stride, pixels,
                                      stride, constants, picture.width, rows,
                                      libyuv::kFilterBilinear);
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

/// Interleaved pixels become planes. The last columns are taken by hand: libyuv 0.0.1904 (Debian
/// 13) writes past a buffer of its own where less than a vector of them is left.
void splitRows(const std::uint8_t* pixels, int width, int rows,
               const std::array<WritablePlane, 3>& rgb) {
  constexpr int kVector = 32;
  const int stride = width * 3;
  const int whole = width - width % kVector;
  libyuv::SplitRGBPlane(pixels, stride, rgb[0].data, rgb[0].stride, rgb[1].data, rgb[1].stride,
                        rgb[2].data, rgb[2].stride, whole, rows);
  for (int row = 0; row < rows; ++row) {
    const std::uint8_t* from = pixels + static_cast<std::ptrdiff_t>(row) * stride;
    for (std::size_t c = 0; c < 3; ++c) {
      std::uint8_t* to = rowOf(rgb.at(c), row);
      for (int x = whole; x < width; ++x) to[x] = from[3 * x + static_cast<std::ptrdiff_t>(c)];
    }
  }
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
  const RowSource source(picture, kBand + 2 * kBeside);
  if (!pixels || !source) return false;
  for (int begin = 0; begin < picture.height; begin += kBand) {
    const int end = std::min(begin + kBand, picture.height);
    const int first = std::max(begin - kBeside, 0);
    const int last = std::min(end + kBeside, picture.height);
    convertRows(picture, source.rows(first, last), last - first, pixels.get());
    std::array<WritablePlane, 3> band = rgb;
    for (WritablePlane& each : band) each.data = rowOf(each, begin);
    splitRows(pixels.get() + static_cast<std::ptrdiff_t>(begin - first) * stride, picture.width,
              end - begin, band);
  }
  return true;
}

bool shrink(RgbPicture& picture, int times, std::unique_ptr<std::uint8_t[]>& samples) {
  const int width = picture.width / times;
  const int height = picture.height / times;
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  samples = quorvin::samples(3 * size);
  if (!samples) return false;
  for (std::size_t c = 0; c < 3; ++c) {
    Plane& plane = picture.planes.at(c);
    std::uint8_t* const to = samples.get() + c * size;
    libyuv::ScalePlane(plane.data, plane.stride, picture.width, picture.height, to, width, width,
                       height, libyuv::kFilterBox);
    plane = {to, width};
  }
  picture.width = width;
  picture.height = height;
  return true;
}

bool scalePlane(const Plane& from, int width, int height, const WritablePlane& to, int toWidth,
                int toHeight) {
  // Its filters are made once for planes, and pictures, of the same sizes.
  thread_local Scaler scaler;
  scaler.reset(sws_getCachedContext(scaler.release(), width, height, AV_PIX_FMT_GRAY8, toWidth,
                                    toHeight, AV_PIX_FMT_GRAY8, SWS_LANCZOS | SWS_ACCURATE_RND,
                                    nullptr, nullptr, nullptr));
  if (!scaler) return false;
  const std::uint8_t* const source[4] = {from.data};
  const int sourceStrides[4] = {from.stride};
  std::uint8_t* const target[4] = {to.data};
  const int targetStrides[4] = {to.stride};
  return sws_scale(scaler.get(), source, sourceStrides, 0, height, target, targetStrides) ==
         toHeight;
}

bool scale(RgbPicture& picture, int width, int height, std::unique_ptr<std::uint8_t[]>& samples) {
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  auto scaled = quorvin::samples(3 * size);
  if (!scaled) return false;
  for (std::size_t c = 0; c < 3; ++c) {
    const WritablePlane to{scaled.get() + c * size, width};
    if (!scalePlane(picture.planes.at(c), picture.width, picture.height, to, width, height)) {
      return false;
    }
  }
  for (std::size_t c = 0; c < 3; ++c) picture.planes.at(c) = {scaled.get() + c * size, width};
  picture.width = width;
  picture.height = height;
  samples = std::move(scaled);
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
