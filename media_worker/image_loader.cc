#include <algorithm>
#include <string_view>

#include "media_worker/loaded_image.h"
#include "media_worker/probe_orientation.h"
#include "platform_linux/media/worker_protocol.h"

namespace quorvin {

namespace {

/// How far a JPEG's decoder may shrink by itself: it averages blocks, so that the rest has to be
/// left to a better filter.
int jpegShrink(double wanted) {
  constexpr double kLeftForFilter = 1.5;
  for (const int shrink : {8, 4, 2}) {
    if (wanted >= shrink * kLeftForFilter) return shrink;
  }
  return 1;
}

ImagePtr open(VipsSource* source, const RenderRequest& request, const char* option, double value) {
  const VipsFailOn failOn = request.failOnDamage ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_NONE;
  VipsImage* image =
      option == nullptr ? vips_image_new_from_source(source, "", "access", VIPS_ACCESS_SEQUENTIAL,
                                                     "memory", TRUE, "fail_on", failOn, nullptr)
      : std::string_view(option) == "shrink"
          ? vips_image_new_from_source(source, "", "access", VIPS_ACCESS_SEQUENTIAL, "memory", TRUE,
                                       "fail_on", failOn, option, static_cast<int>(value), nullptr)
          : vips_image_new_from_source(source, "", "access", VIPS_ACCESS_SEQUENTIAL, "memory", TRUE,
                                       "fail_on", failOn, option, value, nullptr);
  return ImagePtr(image);
}

Result<LoadedImage> load(VipsSource* source, const RenderRequest& request) {
  const char* found = vips_foreign_find_load_source(source);
  const std::string_view loader = found == nullptr ? "" : found;
  LoadedImage loaded;
  if (!loader.empty()) loaded.image = open(source, request, nullptr, 0);
  if (!loaded.image) return cannotDecode();

  VipsImage* header = loaded.image.get();
  const int width = vips_image_get_width(header);
  const int height = vips_image_get_height(header);
  if (!isDecodableSize(width, height)) return tooManyPixels();
  loaded.orientation = std::clamp(vips_image_get_orientation(header), 1, 8);
  const auto [uprightWidth, uprightHeight] = uprightSize(width, height, loaded.orientation);
  auto target = targetSize(request, {uprightWidth, uprightHeight});
  if (!target) return target.error();
  loaded.target = *target;

  const double wanted = std::min(
      static_cast<double>(uprightWidth) / static_cast<double>(loaded.target.scaled.width),
      static_cast<double>(uprightHeight) / static_cast<double>(loaded.target.scaled.height));
  if (loader.starts_with("VipsForeignLoadJpeg") && jpegShrink(wanted) > 1) {
    loaded.image = open(source, request, "shrink", jpegShrink(wanted));
  } else if (loader.starts_with("VipsForeignLoadWebp") && wanted > 2) {
    // Its decoder scales with a fair filter; twice the size is left to ours.
    loaded.image = open(source, request, "scale", 2 / wanted);
  }
  if (!loaded.image) return cannotDecode();
  return loaded;
}

}  // namespace

Result<LoadedImage> loadImage(const InputFile& file, const RenderRequest& request) {
  const SourcePtr source = sourceOf(file);
  return load(source.get(), request);
}

Result<LoadedImage> loadImage(std::span<const std::uint8_t> bytes, const RenderRequest& request) {
  const SourcePtr source(vips_source_new_from_memory(bytes.data(), bytes.size()));
  return load(source.get(), request);
}

NSError cannotDecode() {
  return workerError(LibraryErrorCode::invalidResource, "The picture cannot be decoded.");
}

NSError tooManyPixels() {
  return workerError(LibraryErrorCode::invalidResource,
                     "The picture has more pixels than can be decoded.");
}

bool isDecodableSize(std::int64_t width, std::int64_t height) {
  return width > 0 && height > 0 && height <= kMaximumPixelCount / width;
}

}  // namespace quorvin
