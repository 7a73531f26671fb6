// What methods are asked with.
#ifndef QUORVIN_CLIENT_ARGUMENTS_HPP_
#define QUORVIN_CLIENT_ARGUMENTS_HPP_

#include <cstdint>
#include <string>

namespace quorvin {
namespace client {

/// Which assets count. What "all" means is each method's own.
enum class MediaFilter { all = 0, images = 1, videos = 2, audio = 3 };

/// By creation date, or as the gallery has them: the order of addition, or the album's own.
enum class SortOrder { newestFirst = 0, oldestFirst = 1, gallery = 2 };

/// How a thumbnail meets its target: it fits inside, or covers it.
enum class ContentMode { fit = 0, cover = 1 };

enum class VideoFormat { original = 0, quickTime = 1, mpeg4 = 2 };

/// What the user lets an engine see.
enum class Authorization : std::int32_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorized = 3,
  limited = 4
};

struct GalleryListOptions {
  /// Leaves out galleries without a matching asset.
  bool filterEmptyAsset = false;
  /// False leaves out the gallery of all assets, and no other.
  bool withSmartAlbum = true;
  /// The filter of the counts, under which "all" is images and videos.
  MediaFilter mediaType = MediaFilter::all;
};

struct AssetSelection {
  SortOrder sort = SortOrder::newestFirst;
  MediaFilter mediaType = MediaFilter::all;
};

struct AssetPage {
  /// The first index; below 0 counts as 0.
  std::int64_t start = 0;
  /// One past the last index: at least 1, and more than `start`.
  std::int64_t end = 1;
  SortOrder sort = SortOrder::newestFirst;
  MediaFilter mediaType = MediaFilter::all;
};

struct ThumbnailOptions {
  /// The target in pixels.
  double width = 0;
  double height = 0;
  ContentMode contentMode = ContentMode::fit;
  /// JPEG at the best quality, else PNG.
  bool jpegFormat = true;
};

struct ImageDataOptions {
  /// An image that is stored as HEIC becomes a JPEG of the best quality.
  bool convertJpeg = false;
};

struct ImageUrlOptions {
  /// An image that is stored as HEIC or HEIF becomes a JPEG of the best quality.
  bool convertJpeg = false;
  /// A JPEG that fits into 1024 x 1024 pixels, whatever the image is stored as.
  bool mediumQuality = false;
};

struct VideoUrlOptions {
  /// Encoded again, within 568 x 320 pixels, or 480 x 360.
  bool mediumQuality = false;
  /// Original: as it is, where it is one file.
  VideoFormat videoFormat = VideoFormat::original;
};

struct SavingOptions {
  /// A user album that gets the new asset; "": none.
  std::string collectionId;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_ARGUMENTS_HPP_
