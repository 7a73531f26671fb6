// The HEIF family: HEIC, AVIF and their kin.
#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/platform/photo_library.h"
#include "media_worker/headers/tiff_directories.h"
#include "media_worker/heif/heif_file.h"
#include "media_worker/heif/heif_parts.h"
#include "media_worker/heif/hevc_decoder.h"
#include "media_worker/probe/probe_picture.h"
#include "media_worker/reading/boxes.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {
namespace {

constexpr int kOnThisThread = 0;

/// Larger pictures are not put together just to look at them.
constexpr std::int64_t kLargestTiledTrial = 100'000'000;

/// How the picture's own pixels are tried: damage counts, and of tiles a few stand for the rest.
HevcDecoding trialOf(const InputFile& file, const heif_image_handle* picture) {
  HevcDecoding decoding;
  decoding.strict = true;
  decoding.toRgb = heif_image_handle_has_alpha_channel(picture) == 0;
  decoding.coding = YuvCoding{};
  decoding.triedOfTiles = partsOfPrimary(file);
  return decoding;
}

heif_error_code tryDecoding(const InputFile& file, const heif_image_handle* picture) {
  requireMemory(memoryOfPicture(file, picture));
  const HevcDecodingScope scope(trialOf(file, picture));
  const HeifPtr<heif_decoding_options> options(heif_decoding_options_alloc());
  options->strict_decoding = 1;
  options->ignore_transformations = 1;
  heif_image* image = nullptr;
  const heif_error error = heif_decode_image(picture, &image, heif_colorspace_undefined,
                                             heif_chroma_undefined, options.get());
  const HeifPtr<heif_image> owned(image);
  return error.code;
}

/// Previews say nothing of the picture.
std::optional<Failure> decodingError(const InputFile& file, const heif_image_handle* picture,
                                     std::int64_t pixels) {
  if (pixels > kLargestTiledTrial) return std::nullopt;
  switch (tryDecoding(file, picture)) {
    case heif_error_Ok:
      return std::nullopt;
    case heif_error_Unsupported_feature:
    case heif_error_Unsupported_filetype:
      return pictureError("the photo is of a format that cannot be decoded.");
    default:
      return pictureError("the photo is damaged: it cannot be decoded.");
  }
}

bool hasGainMap(const heif_image_handle* picture) {
  const int filter = LIBHEIF_AUX_IMAGE_FILTER_OMIT_ALPHA | LIBHEIF_AUX_IMAGE_FILTER_OMIT_DEPTH;
  const int count = heif_image_handle_get_number_of_auxiliary_images(picture, filter);
  std::vector<heif_item_id> ids(static_cast<std::size_t>(std::max(count, 0)));
  heif_image_handle_get_list_of_auxiliary_image_IDs(picture, filter, ids.data(), count);
  for (const heif_item_id id : ids) {
    heif_image_handle* handle = nullptr;
    if (!succeeded(heif_image_handle_get_auxiliary_image_handle(picture, id, &handle))) {
      continue;
    }
    const HeifHandle auxiliary(handle);
    const char* type = nullptr;
    if (!succeeded(heif_image_handle_get_auxiliary_type(handle, &type))) continue;
    const bool found = std::string_view(type).ends_with(":hdrgainmap");
    heif_image_handle_free_auxiliary_types(handle, &type);
    if (found) return true;
  }
  return false;
}

constexpr std::size_t kLargestBlock = 16 << 20;
/// A camera writes two; each is read and kept.
constexpr std::size_t kMostBlocks = 16;

void readBlock(const heif_image_handle* picture, heif_item_id id, FileMetadata& metadata) {
  const std::string_view type = heif_image_handle_get_metadata_type(picture, id);
  const std::size_t size = heif_image_handle_get_metadata_size(picture, id);
  const bool exif = type == "Exif";
  const bool xmp = type == "mime" && heif_image_handle_get_metadata_content_type(picture, id) ==
                                         std::string_view("application/rdf+xml");
  if (size == 0 || size > kLargestBlock || !(exif || xmp)) return;
  std::vector<std::uint8_t> block(size);
  if (!succeeded(heif_image_handle_get_metadata(picture, id, block.data()))) return;
  if (xmp) return addXmp({block.begin(), block.end()}, metadata);
  // Four bytes tell how far behind them the TIFF header stands.
  if (size < 4) return;
  const std::size_t skipped =
      std::size_t{4} + (std::size_t{block[0]} << 24 | block[1] << 16 | block[2] << 8 | block[3]);
  if (skipped >= size) return;
  const auto exifBlock = std::span<const std::uint8_t>(block).subspan(skipped);
  if (!hasTooManyTags(exifBlock)) addExif(exifBlock, metadata);
}

void readBlocks(const heif_image_handle* picture, FileMetadata& metadata) {
  std::vector<heif_item_id> ids(
      static_cast<std::size_t>(heif_image_handle_get_number_of_metadata_blocks(picture, nullptr)));
  heif_image_handle_get_list_of_metadata_block_IDs(picture, nullptr, ids.data(),
                                                   static_cast<int>(ids.size()));
  ids.resize(std::min(ids.size(), kMostBlocks));
  for (const heif_item_id id : ids) readBlock(picture, id, metadata);
}

}  // namespace

Result<MediaProbe> probeHeif(const InputFile& file, FileMetadata& metadata) {
  if (isCutShort(file)) return pictureError("the photo is damaged: the file is cut short.");
  const auto opened = HeifFile::open(file, kOnThisThread);
  const HeifHandle picture = opened ? opened->primary() : nullptr;
  if (!picture) return pictureError("the photo is damaged: its header cannot be read.");
  const heif_image_handle* handle = picture.get();
  MediaProbe probe;
  probe.pixelWidth = heif_image_handle_get_width(handle);
  probe.pixelHeight = heif_image_handle_get_height(handle);
  probe.orientation = opened->orientationOf(handle);
  if (auto error = sizeError(probe.pixelWidth, probe.pixelHeight, kMaximumWholePixelCount))
    return *std::move(error);
  if (auto error = decodingError(file, handle, probe.pixelWidth * probe.pixelHeight)) {
    return *std::move(error);
  }
  readBlocks(handle, metadata);
  if (heif_image_handle_has_depth_image(handle) != 0) {
    probe.mediaSubtypes |= PHAssetMediaSubtype::photoDepthEffect;
  }
  if (hasGainMap(handle)) probe.mediaSubtypes |= PHAssetMediaSubtype::photoHDR;
  return probe;
}

}  // namespace quorvin
