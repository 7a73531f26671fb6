// getGalleryList: the smart albums, the user library last among them, then the user albums.
#include <optional>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/queries/gallery_record.h"
#include "core/queries/media_type.h"

namespace quorvin {
namespace {

constexpr std::string_view kImageOrVideoPredicate = "mediaType == %d || mediaType == %d";

struct GalleryListArguments {
  bool withAllPhotos = false;  // asked for, and without effect
  bool filterEmptyAsset = false;
  bool withSmartAlbum = false;
  MediaType mediaType = MediaType::All;

  bool read(const Arguments& from) {
    return from.boolean("withAllPhotos", withAllPhotos) &&
           from.boolean("filterEmptyAsset", filterEmptyAsset) &&
           from.boolean("withSmartAlbum", withSmartAlbum) &&
           readMediaType(from, "mediaType", mediaType);
  }
};

PHFetchOptions countingOptions(MediaType mediaType) {
  PHFetchOptions options;
  options.predicate = mediaType == MediaType::All ? imageOrVideoPredicate(kImageOrVideoPredicate)
                                                  : oneMediaTypePredicate(mediaType);
  return options;
}

/// The list as it grows.
class GalleryList {
 public:
  GalleryList(PHPhotoLibrary& library, const GalleryListArguments& arguments)
      : library_(library), arguments_(arguments), counting_(countingOptions(arguments.mediaType)) {}

  void addSmartAlbum(const PHAssetCollection& album) {
    const bool isUserLibrary =
        album.assetCollectionSubtype == PHAssetCollectionSubtype::smartAlbumUserLibrary;
    if (isUserLibrary && !arguments_.withSmartAlbum) return;
    // Recorded before the empty test, so that it may come to name the album that follows.
    if (isUserLibrary) libraryPosition_ = list_.size();
    add(isUserLibrary ? "user"_lit : "smart"_lit, album);
  }

  void addUserAlbum(const PHAssetCollection& album) { add("user"_lit, album); }

  void moveUserLibraryToTheEnd() {
    if (!libraryPosition_ || list_.size() < 2) return;
    if (*libraryPosition_ >= list_.size()) {
      fatalError("the gallery list has no record at the user library's position");
    }
    const auto position = list_.begin() + static_cast<List::difference_type>(*libraryPosition_);
    Value moved = std::move(*position);
    list_.erase(position);
    list_.push_back(std::move(moved));
  }

  List take() { return std::move(list_); }

 private:
  void add(Literal type, const PHAssetCollection& album) {
    const auto total = static_cast<std::int64_t>(
        library_.fetchAssetsInAssetCollection(album, &counting_)->count());
    if (arguments_.filterEmptyAsset && total == 0) return;
    list_.emplace_back(galleryToMap(type, album, countsUnderFilter(arguments_.mediaType, total)));
  }

  PHPhotoLibrary& library_;
  const GalleryListArguments& arguments_;
  const PHFetchOptions counting_;
  List list_;
  std::optional<std::size_t> libraryPosition_;
};

}  // namespace

void ImageManager::getGalleryList(const FlutterMethodCall& call, const ResultHolder& result) {
  GalleryListArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kInvalidArguments);
  PHPhotoLibrary& library = platform.sharedPhotoLibrary;
  GalleryList galleries(library, arguments);
  library
      .fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum,
                                     PHAssetCollectionSubtype::any, nullptr)
      ->enumerateObjectsUsingBlock([&](const auto& album) { galleries.addSmartAlbum(album); });
  galleries.moveUserLibraryToTheEnd();
  library
      .fetchAssetCollectionsWithType(PHAssetCollectionType::album,
                                     PHAssetCollectionSubtype::albumRegular, nullptr)
      ->enumerateObjectsUsingBlock([&](const auto& album) { galleries.addUserAlbum(album); });
  sendResult(result, galleries.take());
}

}  // namespace quorvin
