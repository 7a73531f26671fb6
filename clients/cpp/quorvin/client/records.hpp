// What methods reply and events tell.
#ifndef QUORVIN_CLIENT_RECORDS_HPP_
#define QUORVIN_CLIENT_RECORDS_HPP_

#include <cstdint>
#include <string>
#include <vector>

namespace quorvin {
namespace client {

/// What an asset is.
enum class MediaType { unknown = 0, image = 1, video = 2, audio = 3 };

/// One asset of the library. What is unknown is 0, "" or false.
struct Asset {
  /// Names the asset for as long as it exists.
  std::string id;
  MediaType mediaType = MediaType::unknown;
  /// Pixels, upright.
  std::int64_t width = 0;
  std::int64_t height = 0;
  /// Whole milliseconds since 1970-01-01 00:00 UTC.
  std::int64_t creationDate = 0;
  std::int64_t modificationDate = 0;
  /// Milliseconds with their fraction; 0 for a still.
  double duration = 0;
  bool isFavorite = false;
  bool isHidden = false;
  /// "" outside any burst.
  std::string burstIdentifier;
  bool representsBurst = false;
  /// Bit 0: picked automatically; bit 1: picked by the user.
  std::int64_t burstSelectionTypes = 0;
  bool isLivePhoto = false;
};

/// Under the filter of one type, its count and the total are the same, and the other two are 0.
/// What stands there under "all" is each method's own.
struct AssetCount {
  std::int64_t photoCount = 0;
  std::int64_t videoCount = 0;
  std::int64_t audioCount = 0;
  std::int64_t totalCount = 0;
};

enum class GalleryType { smart, user };

struct Gallery {
  /// `user` for the gallery of all assets and the user's albums.
  GalleryType type = GalleryType::smart;
  std::string id;
  /// "" when there is none.
  std::string title;
  AssetCount assetCount;
};

struct GalleryAssetCount : AssetCount {
  /// The first asset in the order asked for; "" in an empty gallery.
  std::string firstAssetId;
};

struct ExportedFile {
  /// The plain path.
  std::string url;
  /// False for a file of the library's own; every other one is the caller's to delete.
  bool deletable = false;
};

/// What a commit, or several close together, changed in the library.
struct Change {
  /// Rises with each event of the engine.
  std::int64_t sequence = 0;
  /// Identifiers of assets that are new, or restored.
  std::vector<std::string> inserted;
  /// Those whose record differs, or that were deleted and restored in between.
  std::vector<std::string> changed;
  /// Those that were deleted.
  std::vector<std::string> removed;
  /// Identifiers of galleries that are new, gone or of another title, or list other assets.
  std::vector<std::string> galleries;
  /// False: there was more than the lists tell; ask for everything anew.
  bool complete = false;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_RECORDS_HPP_
