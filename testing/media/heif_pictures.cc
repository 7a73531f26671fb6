#include "testing/media/heif_pictures.h"

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <algorithm>
#include <memory>

#include "media_worker/heif/heif_file.h"

namespace quorvin {

namespace {

void expectDone(const heif_error& error) {
  EXPECT_EQ(error.code, heif_error_Ok) << error.message;
}

using HeifImage = std::shared_ptr<heif_image>;

HeifImage heifImage(const Picture& picture, heif_colorspace space, heif_chroma chroma) {
  heif_image* image = nullptr;
  expectDone(heif_image_create(picture.width, picture.height, space, chroma, &image));
  return {image, heif_image_release};
}

/// The image with one plane, of which `fill(row, y)` fills each row.
template <class Fill>
HeifImage filledRows(const Picture& picture, HeifImage image, heif_channel channel, int bits,
                     Fill fill) {
  expectDone(heif_image_add_plane(image.get(), channel, picture.width, picture.height, bits));
  int stride = 0;
  std::uint8_t* rows = heif_image_get_plane(image.get(), channel, &stride);
  for (int y = 0; y < picture.height; ++y) fill(rows + static_cast<std::ptrdiff_t>(y) * stride, y);
  return image;
}

/// Each channel in the ten lower bits of two bytes, the lower byte first.
HeifImage tenBitImage(const Picture& picture) {
  return filledRows(picture,
                    heifImage(picture, heif_colorspace_RGB, heif_chroma_interleaved_RRGGBB_LE),
                    heif_channel_interleaved, 10, [&picture](std::uint8_t* row, int y) {
                      for (int x = 0; x < picture.width; ++x) {
                        for (std::size_t c = 0; c < 3; ++c) {
                          const int value = picture.at(x, y).at(c) * 1023 / 255;
                          *row++ = static_cast<std::uint8_t>(value);
                          *row++ = static_cast<std::uint8_t>(value >> 8);
                        }
                      }
                    });
}

HeifImage heifImage(const Picture& picture) {
  const auto rowBytes = static_cast<std::size_t>(picture.width * picture.channels);
  const auto fill = [&](std::uint8_t* row, int y) {
    std::copy_n(picture.pixels.data() + static_cast<std::size_t>(y) * rowBytes, rowBytes, row);
  };
  if (picture.channels == 1) {
    return filledRows(picture,
                      heifImage(picture, heif_colorspace_monochrome, heif_chroma_monochrome),
                      heif_channel_Y, 8, fill);
  }
  const bool alpha = picture.channels == 4;
  return filledRows(picture,
                    heifImage(picture, heif_colorspace_RGB,
                              alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB),
                    heif_channel_interleaved, 8, fill);
}

using Nclx = HeifPtr<heif_color_profile_nclx>;

Nclx nclxOf(const HeifOptions& options) {
  if (!options.coding) return nullptr;
  Nclx nclx(heif_nclx_color_profile_alloc());
  nclx->color_primaries = static_cast<heif_color_primaries>(options.coding->primaries);
  nclx->transfer_characteristics =
      static_cast<heif_transfer_characteristics>(options.coding->transfer);
  nclx->matrix_coefficients = static_cast<heif_matrix_coefficients>(options.coding->matrix);
  nclx->full_range_flag = options.coding->fullRange ? 1 : 0;
  return nclx;
}

/// An Exif block with nothing but the orientation.
Bytes exifOf(int orientation) {
  return {
      'E', 'x', 'i', 'f',  0,    0, 'M', 'M', 0, 42, 0, 0, 0,
      8,   0,   1,   0x01, 0x12, 0, 3,   0,   0, 0,  1, 0, static_cast<std::uint8_t>(orientation),
      0,   0,   0,   0,    0,    0};
}

}  // namespace

Bytes heif(const Picture& picture, const HeifOptions& options) {
  const std::shared_ptr<heif_context> context(heif_context_alloc(), heif_context_free);
  heif_encoder* found = nullptr;
  expectDone(heif_context_get_encoder_for_format(
      context.get(), options.avif ? heif_compression_AV1 : heif_compression_HEVC, &found));
  const std::shared_ptr<heif_encoder> encoder(found, heif_encoder_release);
  heif_encoder_set_lossy_quality(found, 95);
  heif_encoder_set_parameter_string(found, "chroma", options.chroma);

  const auto image = options.tenBits ? tenBitImage(picture) : heifImage(picture);
  if (!options.profile.empty()) {
    expectDone(heif_image_set_raw_color_profile(image.get(), "prof", options.profile.data(),
                                                options.profile.size()));
  }
  const std::shared_ptr<heif_encoding_options> encoding(heif_encoding_options_alloc(),
                                                        heif_encoding_options_free);
  encoding->image_orientation = static_cast<heif_orientation>(options.orientation);
  const auto colours = nclxOf(options);
  if (colours) {
    encoding->macOS_compatibility_workaround_no_nclx_profile = 0;
    expectDone(heif_image_set_nclx_color_profile(image.get(), colours.get()));
    encoding->output_nclx_profile = colours.get();
  }
  heif_image_handle* primary = nullptr;
  expectDone(
      heif_context_encode_image(context.get(), image.get(), found, encoding.get(), &primary));
  const Bytes exif = options.exifOrientation ? exifOf(*options.exifOrientation) : options.exif;
  for (int copy = 0; copy < options.exifCopies && !exif.empty(); ++copy) {
    expectDone(heif_context_add_exif_metadata(context.get(), primary, exif.data(),
                                              static_cast<int>(exif.size())));
  }
  if (!options.xmp.empty()) {
    expectDone(heif_context_add_XMP_metadata(context.get(), primary, options.xmp.data(),
                                             static_cast<int>(options.xmp.size())));
  }
  if (options.thumbnailSize > 0) {
    const auto pixels = options.thumbnail ? heifImage(*options.thumbnail) : image;
    heif_image_handle* thumbnail = nullptr;
    expectDone(heif_context_encode_thumbnail(context.get(), pixels.get(), primary, found,
                                             encoding.get(), options.thumbnailSize, &thumbnail));
    heif_image_handle_release(thumbnail);
  }
  heif_image_handle_release(primary);

  Bytes bytes;
  heif_writer writer{1, [](heif_context*, const void* data, std::size_t size, void* into) {
                       const auto* begin = static_cast<const std::uint8_t*>(data);
                       static_cast<Bytes*>(into)->assign(begin, begin + size);
                       return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
                     }};
  expectDone(heif_context_write(context.get(), &writer, &bytes));
  return bytes;
}

}  // namespace quorvin
