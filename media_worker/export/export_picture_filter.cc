#include "media_worker/export/export_picture_filter.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <array>
#include <utility>

#include "media_worker/export/filter_library.h"
#include "media_worker/reading/ffmpeg_versions.h"
#include "media_worker/reading/light.h"

namespace quorvin {

namespace {

/// From the stored pixels to upright ones.
const char* turnFrom(int orientation) {
  constexpr std::array<const char*, 9> kTurns{"",
                                              "",
                                              "hflip,",
                                              "hflip,vflip,",
                                              "vflip,",
                                              "transpose=cclock_flip,",
                                              "transpose=clock,",
                                              "transpose=clock_flip,",
                                              "transpose=cclock,"};
  return kTurns.at(static_cast<std::size_t>(orientation));
}

bool isFullRange(const AVFrame& frame) {
  switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P:
      return true;
    default:
      return frame.color_range == AVCOL_RANGE_JPEG;
  }
}

bool isRgb(const AVFrame& frame) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return format != nullptr && (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

/// Light of HDR screens is brought into the range of common ones, as it is for renderings: linear
/// light, the common primaries, the curve, the common code. The curve is the same for every file,
/// whatever light it announces. What has no tags is taken for the usual.
std::string toneMapping(const AVFrame& frame, int width, int height) {
  const bool hasMatrix = frame.colorspace != AVCOL_SPC_UNSPECIFIED;
  const bool hasPrimaries = frame.color_primaries != AVCOL_PRI_UNSPECIFIED;
  const std::string missing =
      std::string(hasMatrix ? "" : ":min=2020_ncl") + (hasPrimaries ? "" : ":pin=2020");
  return filterText("zscale=w=%d:h=%d:t=linear:npl=%g%s,format=gbrpf32le,zscale=p=709,", width,
                    height, kReferenceWhite, missing.c_str()) +
         filterText("tonemap=mobius:param=%g:peak=%g:desat=0,", kKnee, kMostLight) +
         "zscale=t=709:m=709:r=limited,";
}

/// The size before turning: scaled, unless only the odd row or column is cut off.
std::string sizing(const AVFrame& frame, int width, int height) {
  const bool square = frame.sample_aspect_ratio.num == frame.sample_aspect_ratio.den ||
                      frame.sample_aspect_ratio.num == 0;
  const bool cut = square && frame.width / 2 * 2 == width && frame.height / 2 * 2 == height;
  std::string filters;
  if (cut && (frame.width != width || frame.height != height)) {
    filters = filterText("crop=%d:%d:0:0,", width, height);
  }
  const char* range = isFullRange(frame) ? ":in_range=full" : "";
  const char* matrix = isRgb(frame) ? ":out_color_matrix=bt709" : "";
  if (!cut || isFullRange(frame) || isRgb(frame)) {
    filters += filterText("scale=%d:%d:flags=bicubic%s:out_range=limited%s,", width, height, range,
                          matrix);
  }
  return filters;
}

/// Leaves whole frames as they are. The filter counts time in ticks of half the length.
std::string joiningFields(AVRational timeBase) {
  return "bwdif=mode=send_frame:deint=interlaced," +
         filterText("settb=%d/%d,", timeBase.num, timeBase.den);
}

/// Lines are joined to whole pictures in sizes that the filter takes.
bool canJoinFields(const AVFrame& frame) {
  constexpr int kLeast = 16;
  return frame.width >= kLeast && frame.height >= kLeast;
}

std::string filtersFor(const AVFrame& frame, const PictureShape& shape) {
  const bool swapped = shape.orientation >= 5;
  const int width = swapped ? shape.height : shape.width;
  const int height = swapped ? shape.width : shape.height;
  return (shape.toneMapped ? toneMapping(frame, width, height) : sizing(frame, width, height)) +
         "format=yuv420p," + turnFrom(shape.orientation) + "setsar=1";
}

std::string sourceOf(const AVFrame& frame, AVRational timeBase) {
  const AVRational aspect = frame.sample_aspect_ratio;
  return filterText("video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d", frame.width,
                    frame.height, frame.format, timeBase.num, timeBase.den, aspect.num,
                    aspect.den > 0 ? aspect.den : 1);
}

}  // namespace

std::optional<Failure> PictureFilter::filter(AVFrame* frame, const TakeFrame& take) {
  if (frame != nullptr) {
    if (std::optional<Failure> failure = prepareFor(*frame, take)) return failure;
  }
  return chain_.filter(frame, take);
}

std::optional<Failure> PictureFilter::prepareFor(const AVFrame& frame, const TakeFrame& take) {
  hasFields_ = hasFields_ || isInterlaced(frame);
  const std::string source = sourceOf(frame, timeBase_);
  const std::string filters = (hasFields_ && canJoinFields(frame) ? joiningFields(timeBase_) : "") +
                              filtersFor(frame, shape_);
  std::string description = source + filters;
  if (description == description_) return std::nullopt;
  if (std::optional<Failure> failure = chain_.filter(nullptr, take)) return failure;
  description_ = std::move(description);
  return chain_.open(FilterChain::Kind::picture, source, filters);
}

bool canMapTones() {
  const FilterLibrary* library = filterLibrary();
  return library != nullptr && library->avfilter_get_by_name("zscale") != nullptr &&
         library->avfilter_get_by_name("tonemap") != nullptr;
}

}  // namespace quorvin
