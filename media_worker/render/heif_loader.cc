// HEIC, HEIF and AVIF. A small rendering is made of an embedded preview, where one shows the same
// cut of the picture with pixels enough; otherwise of the primary picture, whole, for libheif
// decodes no less. 8-bit HEVC without alpha comes from our own decoder as planes of red, green and
// blue: they become smaller one by one, and upright while they are put together, in the memory that
// is handed over. Everything else is left to libheif, which turns and converts by itself. Its
// colours have an ICC profile, or code points, of which libvips knows nothing: they are attached
// here.
#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <vector>

#include "media_protocol/wire.h"
#include "media_worker/heif/heif_file.h"
#include "media_worker/heif/hevc_decoder.h"
#include "media_worker/heif/planes.h"
#include "media_worker/reading/boxes.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/named_colours.h"
#include "media_worker/reading/signature.h"
#include "media_worker/render/colour.h"
#include "media_worker/render/loaded_image.h"

namespace quorvin {

namespace {

using SharedImage = std::shared_ptr<const heif_image>;
using Nclx = HeifPtr<heif_color_profile_nclx>;

/// Sizes are upright: the file's own turns count, and they alone.
PixelSize sizeOf(const heif_image_handle* handle) {
  return {heif_image_handle_get_width(handle), heif_image_handle_get_height(handle)};
}

/// Whether a preview shows the same cut of the picture, with at least the asked pixels.
bool replaces(PixelSize preview, PixelSize primary, PixelSize asked) {
  return preview.width >= asked.width && preview.height >= asked.height &&
         showsSameCut(preview, primary);
}

/// The smallest embedded preview that does, else the primary picture.
HeifHandle smallestSufficient(HeifHandle primary, PixelSize asked) {
  const PixelSize full = sizeOf(primary.get());
  std::vector<heif_item_id> ids(
      static_cast<std::size_t>(heif_image_handle_get_number_of_thumbnails(primary.get())));
  heif_image_handle_get_list_of_thumbnail_IDs(primary.get(), ids.data(),
                                              static_cast<int>(ids.size()));
  HeifHandle best;
  for (const heif_item_id id : ids) {
    heif_image_handle* found = nullptr;
    if (!succeeded(heif_image_handle_get_thumbnail(primary.get(), id, &found))) continue;
    HeifHandle preview(found);
    if (!replaces(sizeOf(found), full, asked)) continue;
    if (!best || sizeOf(found).width < sizeOf(best.get()).width) best = std::move(preview);
  }
  return best ? std::move(best) : std::move(primary);
}

/// Empty when there is none.
std::vector<std::uint8_t> profileOf(const heif_image_handle* handle) {
  std::vector<std::uint8_t> profile(heif_image_handle_get_raw_color_profile_size(handle));
  const bool isRead = !profile.empty() &&
                      succeeded(heif_image_handle_get_raw_color_profile(handle, profile.data()));
  return isRead ? profile : std::vector<std::uint8_t>();
}

/// Null when it fails.
SharedImage decodeTo(const heif_image_handle* handle, heif_chroma chroma,
                     const heif_decoding_options& options) {
  heif_image* decoded = nullptr;
  if (!succeeded(heif_decode_image(handle, &decoded, heif_colorspace_RGB, chroma, &options))) {
    return nullptr;
  }
  return {decoded, heif_image_release};
}

/// What the file says of its colours, besides a profile; null when that is nothing.
Nclx coloursOf(const heif_image_handle* handle) {
  heif_color_profile_nclx* colours = nullptr;
  heif_image_handle_get_nclx_color_profile(handle, &colours);
  return Nclx(colours);
}

ColourCodes namedColoursOf(const heif_image_handle* handle) {
  const Nclx colours = coloursOf(handle);
  if (!colours) return {};
  return {colours->color_primaries, colours->transfer_characteristics};
}

/// Whether pixels of the picture come as planes of red, green and blue from our decoder of HEVC,
/// with which we do the rest faster than libheif. Tiles may say by themselves what their picture
/// does not say of its coding.
HevcDecoding hevcDecoding(const InputFile& file, const heif_image_handle* handle) {
  HevcDecoding decoding;
  const auto head = file.head(kSignatureLength);
  if (heif_image_handle_has_alpha_channel(handle) != 0 ||
      heif_image_handle_get_luma_bits_per_pixel(handle) != 8 ||
      pictureSignature(head).type.identifier == "public.avif") {
    return decoding;
  }
  if (const Nclx colours = coloursOf(handle)) {
    const auto matrix = yuvMatrixOf(colours->matrix_coefficients);
    if (matrix) decoding.coding = YuvCoding{*matrix, colours->full_range_flag != 0};
    decoding.toRgb = matrix.has_value();
  } else {
    decoding.toRgb = !namesColours(file);
  }
  return decoding;
}

ImagePtr unpremultiplied(ImagePtr image) {
  const bool done =
      apply(image,
            [](VipsImage* in, VipsImage** out) { return vips_unpremultiply(in, out, nullptr); }) &&
      apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_cast(in, out, VIPS_FORMAT_UCHAR, nullptr);
      });
  return done ? std::move(image) : nullptr;
}

heif_chroma interleaved(bool alpha, bool deep) {
  constexpr bool kLittle = std::endian::native == std::endian::little;
  if (!deep) return alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
  if (kLittle) {
    return alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE;
  }
  return alpha ? heif_chroma_interleaved_RRGGBBAA_BE : heif_chroma_interleaved_RRGGBB_BE;
}

/// Samples of fewer bits stand in the lower ones of 16.
bool raised(ImagePtr& image, int bits) {
  const double factor = 65'535.0 / ((1 << bits) - 1);
  return apply(image,
               [factor](VipsImage* in, VipsImage** out) {
                 return vips_linear1(in, out, factor, 0, nullptr);
               }) &&
         apply(image, [](VipsImage* in, VipsImage** out) {
           return vips_cast(in, out, VIPS_FORMAT_USHORT, nullptr);
         });
}

/// RGB, or RGBA where there is alpha, upright, as libheif makes them. Of 16 bits a channel if
/// `deep`, else of 8.
ImagePtr decodePixels(const heif_image_handle* handle, const heif_decoding_options& options,
                      bool deep) {
  const bool alpha = heif_image_handle_has_alpha_channel(handle) != 0;
  const SharedImage decoded = decodeTo(handle, interleaved(alpha, deep), options);
  int stride = 0;
  const std::uint8_t* rows =
      decoded ? heif_image_get_plane_readonly(decoded.get(), heif_channel_interleaved, &stride)
              : nullptr;
  if (rows == nullptr) return nullptr;
  ImagePtr image = imageOfRows(decoded, rows, heif_image_get_primary_width(decoded.get()),
                               heif_image_get_primary_height(decoded.get()), alpha ? 4 : 3,
                               static_cast<std::size_t>(stride), deep ? 2 : 1);
  const int bits = heif_image_get_bits_per_pixel_range(decoded.get(), heif_channel_interleaved);
  if (deep && (!image || !raised(image, bits))) return nullptr;
  const bool premultiplied = alpha && heif_image_handle_is_premultiplied_alpha(handle) != 0;
  return image && premultiplied ? unpremultiplied(std::move(image)) : std::move(image);
}

/// The turn that libheif may leave to us, who do it many times as fast; 1 when there is none, or
/// when the file does more to the picture than to turn it.
int turnOf(const HeifFile& file, const heif_image_handle* handle) {
  const int orientation = file.orientationOf(handle);
  const auto [width, height] = uprightSize(heif_image_handle_get_ispe_width(handle),
                                           heif_image_handle_get_ispe_height(handle), orientation);
  return sizeOf(handle) == PixelSize{width, height} ? orientation : 1;
}

/// How often the target goes into the picture's sides.
double reductionOf(PixelSize picture, PixelSize target) {
  return std::min(static_cast<double>(picture.width) / static_cast<double>(target.width),
                  static_cast<double>(picture.height) / static_cast<double>(target.height));
}

/// Means of whole pixels take the picture most of the way to a small target; the rest is left to a
/// better filter.
int shrinkFor(double reduction) {
  constexpr double kLeftForFilter = 2;
  return std::max(1, static_cast<int>(reduction / kLeftForFilter));
}

/// Makes it the asked size, as stored, or leaves it as it is.
bool makeSmaller(RgbPicture& picture, PixelSize asked, std::unique_ptr<std::uint8_t[]>& samples) {
  const int times = shrinkFor(reductionOf({picture.width, picture.height}, asked));
  if (times > 1 && !shrink(picture, times, samples)) return false;
  const int width = static_cast<int>(asked.width);
  const int height = static_cast<int>(asked.height);
  return (picture.width == width && picture.height == height) ||
         scale(picture, width, height, samples);
}

/// RGB, upright, in memory that can be handed over, of planes of 8 bits; `target` is upright.
std::shared_ptr<PixelMemory> decodePlanes(const heif_image_handle* handle, int orientation,
                                          PixelSize target, heif_decoding_options& options) {
  options.ignore_transformations = orientation == 1 ? 0 : 1;
  const SharedImage decoded = decodeTo(handle, heif_chroma_444, options);
  if (!decoded) return nullptr;
  constexpr std::array kChannels{heif_channel_R, heif_channel_G, heif_channel_B};
  RgbPicture picture{{},
                     heif_image_get_width(decoded.get(), heif_channel_R),
                     heif_image_get_height(decoded.get(), heif_channel_R)};
  for (std::size_t i = 0; i < kChannels.size(); ++i) {
    Plane& plane = picture.planes.at(i);
    plane.data = heif_image_get_plane_readonly(decoded.get(), kChannels.at(i), &plane.stride);
    if (plane.data == nullptr ||
        heif_image_get_bits_per_pixel_range(decoded.get(), kChannels.at(i)) != 8 ||
        heif_image_get_width(decoded.get(), kChannels.at(i)) != picture.width ||
        heif_image_get_height(decoded.get(), kChannels.at(i)) != picture.height) {
      return nullptr;
    }
  }
  std::unique_ptr<std::uint8_t[]> smaller;
  const PixelSize asked = exchangesSides(orientation) ? target.turned() : target;
  if (!makeSmaller(picture, asked, smaller)) return nullptr;
  const auto [width, height] = uprightSize(picture.width, picture.height, orientation);
  auto memory = PixelMemory::make({width, height, 3});
  if (!memory || !interleaveUpright(picture, orientation, memory->data())) return nullptr;
  return memory;
}

}  // namespace

Result<LoadedImage> loadHeif(const InputFile& file, const RenderRequest& request) {
  const auto opened = HeifFile::open(file, decodingThreads());
  HeifHandle primary = opened ? opened->primary() : nullptr;
  if (!primary) return cannotDecode();
  const heif_image_handle* const found = primary.get();
  const PixelSize size = sizeOf(found);
  if (!isDecodableSize(size.width, size.height, kMaximumWholePixelCount)) return tooManyPixels();
  auto target = renderingSize(request, size);
  if (!target) return target.error();
  const bool mayReplace = target->scaled.width < size.width;
  const HeifHandle chosen =
      mayReplace ? smallestSufficient(std::move(primary), target->scaled) : std::move(primary);

  if (request.previewAlone && chosen.get() == found) return noPreview();

  LoadedImage loaded;
  loaded.target = *target;
  requireMemory(memoryOfPicture(file, chosen.get()));
  const HeifPtr<heif_decoding_options> options(heif_decoding_options_alloc());
  options->strict_decoding = request.failOnDamage ? 1 : 0;
  const ColourCodes colours = namedColoursOf(chosen.get());
  const std::vector<std::uint8_t> profile = profileOf(chosen.get());
  const bool deep = heif_image_handle_get_luma_bits_per_pixel(chosen.get()) > 8 &&
                    isHighRange(profile.empty() ? colours : highRangeCodes(profile));
  HevcDecoding decoding = hevcDecoding(file, chosen.get());
  decoding.strict = request.failOnDamage;
  const double reduction = reductionOf(sizeOf(chosen.get()), target->scaled);
  constexpr double kEdgesVanish = 4;
  decoding.leavesEdges = reduction >= kEdgesVanish;
  const HevcDecodingScope scope(decoding);
  options->convert_hdr_to_8bit = deep ? 0 : 1;
  if (decoding.toRgb) {
    const int orientation = chosen.get() == found ? turnOf(*opened, found) : 1;
    loaded.pixels = decodePlanes(chosen.get(), orientation, target->scaled, *options);
    if (loaded.pixels) loaded.image = PixelMemory::imageOf(loaded.pixels);
  } else {
    loaded.image = decodePixels(chosen.get(), *options, deep);
  }
  if (!loaded.image) return cannotDecode();
  nameColours(loaded.image.get(), colours);
  if (!profile.empty()) {
    vips_image_set_blob_copy(loaded.image.get(), VIPS_META_ICC_NAME, profile.data(),
                             profile.size());
  }
  return loaded;
}

}  // namespace quorvin
