#include "media_worker/reading/named_colours.h"

namespace quorvin {

namespace {

constexpr const char* kPrimaries = "quorvin-primaries";
constexpr const char* kTransfer = "quorvin-transfer";

}  // namespace

void nameColours(VipsImage* image, ColourCodes codes) {
  vips_image_set_int(image, kPrimaries, codes.primaries);
  vips_image_set_int(image, kTransfer, codes.transfer);
}

void copyColours(VipsImage* from, VipsImage* to) {
  const void* profile = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(from, VIPS_META_ICC_NAME) != 0 &&
      vips_image_get_blob(from, VIPS_META_ICC_NAME, &profile, &size) == 0) {
    vips_image_set_blob_copy(to, VIPS_META_ICC_NAME, profile, size);
  }
  nameColours(to, namedColours(from));
}

ColourCodes namedColours(VipsImage* image) {
  const ColourCodes unspecified;
  return {integerField(image, kPrimaries, unspecified.primaries),
          integerField(image, kTransfer, unspecified.transfer)};
}

}  // namespace quorvin
