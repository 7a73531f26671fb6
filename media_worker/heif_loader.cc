#include <libheif/heif.h>

#include <cmath>
#include <memory>
#include <vector>

#include "media_worker/loaded_image.h"
#include "platform_linux/media/worker_protocol.h"

namespace quorvin {

namespace {

template <auto free>
struct Free {
  template <class T>
  void operator()(T* object) const {
    free(object);
  }
};
using Context = std::unique_ptr<heif_context, Free<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Free<heif_image_handle_release>>;
using Options = std::unique_ptr<heif_decoding_options, Free<heif_decoding_options_free>>;

bool succeeded(const heif_error& error) {
  return error.code == heif_error_Ok;
}

struct Reading {
  InputFile file;
  std::int64_t position = 0;

  static std::int64_t tell(void* self) { return static_cast<Reading*>(self)->position; }

  static int read(void* into, std::size_t size, void* self) {
    auto& reading = *static_cast<Reading*>(self);
    const std::size_t got =
        reading.file.readAt(reading.position, {static_cast<std::uint8_t*>(into), size});
    reading.position += static_cast<std::int64_t>(got);
    return got == size ? 0 : -1;
  }

  static int seek(std::int64_t position, void* self) {
    static_cast<Reading*>(self)->position = position;
    return 0;
  }

  static heif_reader_grow_status waitForSize(std::int64_t size, void* self) {
    return size <= static_cast<Reading*>(self)->file.size()
               ? heif_reader_grow_status_size_reached
               : heif_reader_grow_status_size_beyond_eof;
  }
};

constexpr heif_reader kReader{1, Reading::tell, Reading::read, Reading::seek, Reading::waitForSize};

/// Sizes are upright: the file's own turns count, and they alone.
PixelSize sizeOf(const heif_image_handle* handle) {
  return {heif_image_handle_get_width(handle), heif_image_handle_get_height(handle)};
}

/// Whether a preview shows the same cut of the picture, with at least the asked pixels.
bool replaces(PixelSize preview, PixelSize primary, PixelSize asked) {
  if (preview.width < asked.width || preview.height < asked.height) return false;
  // A preview's sides are rounded to whole pixels, some to even ones.
  const double width = static_cast<double>(primary.width) * static_cast<double>(preview.height) /
                       static_cast<double>(primary.height);
  return std::abs(width - static_cast<double>(preview.width)) < 2;
}

/// The smallest embedded preview that does, else the primary picture.
Handle smallestSufficient(Handle primary, PixelSize asked) {
  const PixelSize full = sizeOf(primary.get());
  std::vector<heif_item_id> ids(
      static_cast<std::size_t>(heif_image_handle_get_number_of_thumbnails(primary.get())));
  heif_image_handle_get_list_of_thumbnail_IDs(primary.get(), ids.data(),
                                              static_cast<int>(ids.size()));
  Handle best;
  for (const heif_item_id id : ids) {
    heif_image_handle* found = nullptr;
    if (!succeeded(heif_image_handle_get_thumbnail(primary.get(), id, &found))) continue;
    Handle preview(found);
    if (!replaces(sizeOf(found), full, asked)) continue;
    if (!best || sizeOf(found).width < sizeOf(best.get()).width) best = std::move(preview);
  }
  return best ? std::move(best) : std::move(primary);
}

void attachProfile(const heif_image_handle* handle, VipsImage* image) {
  const std::size_t size = heif_image_handle_get_raw_color_profile_size(handle);
  std::vector<std::uint8_t> profile(size);
  if (size > 0 && succeeded(heif_image_handle_get_raw_color_profile(handle, profile.data()))) {
    vips_image_set_blob_copy(image, VIPS_META_ICC_NAME, profile.data(), size);
  }
}

/// Decodes to 8-bit RGB, or RGBA where there is alpha, upright.
ImagePtr decode(const heif_image_handle* handle, bool failOnDamage) {
  const Options options(heif_decoding_options_alloc());
  options->convert_hdr_to_8bit = 1;
  options->strict_decoding = failOnDamage ? 1 : 0;
  const bool alpha = heif_image_handle_has_alpha_channel(handle) != 0;
  heif_image* decoded = nullptr;
  if (!succeeded(heif_decode_image(
          handle, &decoded, heif_colorspace_RGB,
          alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, options.get()))) {
    return nullptr;
  }
  const std::shared_ptr<heif_image> owner(decoded, heif_image_release);
  int stride = 0;
  const std::uint8_t* rows =
      heif_image_get_plane_readonly(decoded, heif_channel_interleaved, &stride);
  if (rows == nullptr) return nullptr;
  ImagePtr image = imageOfRows(owner, rows, heif_image_get_primary_width(decoded),
                               heif_image_get_primary_height(decoded), alpha ? 4 : 3,
                               static_cast<std::size_t>(stride));
  if (!image) return nullptr;
  if (alpha && heif_image_handle_is_premultiplied_alpha(handle) != 0 &&
      !(apply(image, [](VipsImage* in,
                        VipsImage** out) { return vips_unpremultiply(in, out, nullptr); }) &&
        apply(image, [](VipsImage* in, VipsImage** out) {
          return vips_cast(in, out, VIPS_FORMAT_UCHAR, nullptr);
        }))) {
    return nullptr;
  }
  attachProfile(handle, image.get());
  return image;
}

}  // namespace

Result<LoadedImage> loadHeif(const InputFile& file, const RenderRequest& request) {
  Reading reading{file};
  const Context context(heif_context_alloc());
  // More threads gain nothing where several workers are busy.
  heif_context_set_max_decoding_threads(context.get(), 2);
  heif_image_handle* found = nullptr;
  if (!succeeded(heif_context_read_from_reader(context.get(), &kReader, &reading, nullptr)) ||
      !succeeded(heif_context_get_primary_image_handle(context.get(), &found))) {
    return cannotDecode();
  }
  Handle primary(found);
  const PixelSize size = sizeOf(found);
  if (!isDecodableSize(size.width, size.height)) return tooManyPixels();
  auto target = targetSize(request, size);
  if (!target) return target.error();
  const bool mayReplace = target->scaled.width < size.width;
  const Handle chosen =
      mayReplace ? smallestSufficient(std::move(primary), target->scaled) : std::move(primary);

  LoadedImage loaded;
  loaded.image = decode(chosen.get(), request.failOnDamage);
  loaded.target = *target;
  if (!loaded.image) return cannotDecode();
  return loaded;
}

}  // namespace quorvin
