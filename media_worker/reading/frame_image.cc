#include "media_worker/reading/frame_image.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <memory>

#include "media_worker/reading/named_colours.h"

namespace quorvin {

namespace {

using Scaler = std::unique_ptr<SwsContext, decltype([](SwsContext* s) { sws_freeContext(s); })>;

AVPixelFormat rgbFormat(bool alpha, bool deep) {
  if (deep) return alpha ? AV_PIX_FMT_RGBA64 : AV_PIX_FMT_RGB48;
  return alpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
}

}  // namespace

AVColorSpace matrixOf(AVColorSpace marked, int height) {
  constexpr int kLeastOfHighDefinition = 720;
  if (marked != AVCOL_SPC_UNSPECIFIED && marked != AVCOL_SPC_RGB) return marked;
  return height >= kLeastOfHighDefinition ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

ImagePtr imageOfFrame(const AVFrame& frame) {
  const auto stored = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(stored);
  if (description == nullptr || frame.width <= 0 || frame.height <= 0) return nullptr;
  const bool alpha = (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const int channels = alpha ? 4 : 3;
  const ColourCodes colours{frame.color_primaries, frame.color_trc};
  const bool deep = isHighRange(colours);
  const int pixelBytes = channels * (deep ? 2 : 1);
  // The exact conversion takes ten times as long, and shows in small pictures alone.
  constexpr int kManyPixels = 1'000'000;
  const int quality = frame.width >= kManyPixels / frame.height
                          ? SWS_BILINEAR
                          : SWS_BILINEAR | SWS_FULL_CHR_H_INT | SWS_ACCURATE_RND;
  const Scaler scaler(sws_getContext(frame.width, frame.height, stored, frame.width, frame.height,
                                     rgbFormat(alpha, deep), quality, nullptr, nullptr, nullptr));
  if (!scaler) return nullptr;
  const int fullRange = frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
  sws_setColorspaceDetails(scaler.get(),
                           sws_getCoefficients(matrixOf(frame.colorspace, frame.height)), fullRange,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  // Rows are padded, for the conversion writes in whole vectors, and to whole pixels at that.
  const int stride = (frame.width + 63) / 64 * 64 * pixelBytes;
  const std::size_t size =
      static_cast<std::size_t>(stride) * static_cast<std::size_t>(frame.height);
  const std::shared_ptr<std::uint8_t> rows(static_cast<std::uint8_t*>(av_malloc(size + 64)),
                                           av_free);
  if (!rows) return nullptr;
  std::uint8_t* const planes[4] = {rows.get()};
  const int strides[4] = {stride};
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) !=
      frame.height) {
    return nullptr;
  }
  ImagePtr image = imageOfRows(rows, rows.get(), frame.width, frame.height, channels,
                               static_cast<std::size_t>(stride), deep ? 2 : 1);
  if (image) nameColours(image.get(), colours);
  const AVFrameSideData* profile = av_frame_get_side_data(&frame, AV_FRAME_DATA_ICC_PROFILE);
  if (image && profile != nullptr) {
    vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, profile->data, profile->size);
  }
  return image;
}

}  // namespace quorvin
