#include "media_worker/colour.h"

#include <cstdlib>
#include <span>
#include <vector>

namespace quorvin {

namespace {

bool hasProfile(VipsImage* image) {
  return vips_image_get_typeof(image, VIPS_META_ICC_NAME) != 0;
}

int transform(VipsImage* in, VipsImage** out) {
  return vips_icc_transform(in, out, "srgb", "embedded", TRUE, "input_profile", "cmyk", "depth", 8,
                            nullptr);
}

/// Whether the attached profile leaves a grid of colours as they are, as that of a plain sRGB
/// picture does: then a large picture is spared the transform.
bool profileIsSrgb(VipsImage* image) {
  if (image->Bands < 3 || image->BandFmt != VIPS_FORMAT_UCHAR) return false;
  constexpr int kSteps = 6;
  std::vector<std::uint8_t> grid;
  for (int i = 0; i < kSteps * kSteps * kSteps; ++i) {
    for (const int step : {i % kSteps, i / kSteps % kSteps, i / kSteps / kSteps}) {
      grid.push_back(static_cast<std::uint8_t>(step * 255 / (kSteps - 1)));
    }
  }
  ImagePtr sample(vips_image_new_from_memory_copy(
      grid.data(), grid.size(), kSteps * kSteps * kSteps, 1, 3, VIPS_FORMAT_UCHAR));
  const void* profile = nullptr;
  std::size_t size = 0;
  if (!sample || vips_image_get_blob(image, VIPS_META_ICC_NAME, &profile, &size) != 0) return false;
  sample->Type = VIPS_INTERPRETATION_sRGB;
  vips_image_set_blob_copy(sample.get(), VIPS_META_ICC_NAME, profile, size);
  if (!apply(sample, transform)) return false;
  std::size_t bytes = 0;
  void* converted = vips_image_write_to_memory(sample.get(), &bytes);
  if (converted == nullptr) return false;
  bool same = bytes == grid.size();
  for (std::size_t i = 0; same && i < bytes; ++i) {
    same = std::abs(static_cast<std::uint8_t*>(converted)[i] - grid[i]) <= 1;
  }
  g_free(converted);
  return same;
}

bool isWorthASample(VipsImage* image) {
  return static_cast<std::int64_t>(image->Xsize) * image->Ysize > 500'000;
}

bool toColourSpace(ImagePtr& image) {
  const bool isCmyk = image->Type == VIPS_INTERPRETATION_CMYK;
  if (isCmyk || hasProfile(image.get())) {
    const bool spared = isWorthASample(image.get()) && profileIsSrgb(image.get());
    if (!spared && apply(image, transform)) return true;
  }
  if (image->Type == VIPS_INTERPRETATION_sRGB && image->BandFmt == VIPS_FORMAT_UCHAR &&
      image->Bands >= 3) {
    return true;
  }
  return apply(image, [](VipsImage* in, VipsImage** out) {
    return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
  });
}

}  // namespace

bool convertToSrgb(ImagePtr& image) {
  if (!toColourSpace(image)) return false;
  const int bands = image->Bands;
  if (bands < 3) return false;
  if (bands > 4 && !apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_extract_band(in, out, 0, "n", 4, nullptr);
      })) {
    return false;
  }
  return image->BandFmt == VIPS_FORMAT_UCHAR || apply(image, [](VipsImage* in, VipsImage** out) {
           return vips_cast(in, out, VIPS_FORMAT_UCHAR, nullptr);
         });
}

}  // namespace quorvin
