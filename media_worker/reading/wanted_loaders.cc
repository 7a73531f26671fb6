#include "media_worker/reading/wanted_loaders.h"

#include <algorithm>

namespace quorvin {

namespace {

struct Loader {
  PictureFormat format;
  const char* name;  ///< of libvips' operation
};

constexpr Loader kLoaders[] = {{PictureFormat::jpeg, "jpegload_source"},
                               {PictureFormat::png, "pngload_source"},
                               {PictureFormat::gif, "gifload_source"},
                               {PictureFormat::webp, "webpload_source"},
                               {PictureFormat::tiff, "tiffload_source"}};

}  // namespace

void allowWantedLoaders() {
  // It knows which are fit for what strangers wrote; that is more than is needed here.
  vips_block_untrusted_set(TRUE);
  vips_operation_block_set("VipsForeignLoad", TRUE);
  for (const Loader& each : kLoaders) {
    const GType type = vips_type_find("VipsForeignLoad", each.name);
    if (type != 0) vips_operation_block_set(g_type_name(type), FALSE);
  }
}

ImagePtr openPicture(VipsSource* source, PictureFormat format, VipsFailOn failOn, double scale) {
  const auto* const found = std::ranges::find(kLoaders, format, &Loader::format);
  if (found == std::end(kLoaders)) return nullptr;
  VipsImage* image = nullptr;
  const int status = format == PictureFormat::webp
                         ? vips_call(found->name, source, &image, "access", VIPS_ACCESS_SEQUENTIAL,
                                     "fail_on", failOn, "scale", scale, nullptr)
                         : vips_call(found->name, source, &image, "access", VIPS_ACCESS_SEQUENTIAL,
                                     "fail_on", failOn, nullptr);
  return status == 0 ? ImagePtr(image) : nullptr;
}

}  // namespace quorvin
