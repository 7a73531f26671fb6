// getGalleryAssetCount and getGalleryFirstAssetId: one gallery's counts and its first asset.
#include <limits>
#include <utility>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/queries/gallery_record.h"
#include "core/queries/media_type.h"

namespace quorvin {
namespace {

using Asset = std::shared_ptr<const PHAsset>;

// Not the gallery list's text: single signs, and a blank at the end.
constexpr std::string_view kSummaryPredicate = "mediaType = %d || mediaType = %d ";

struct GalleryArguments {
  std::string collectionId;
  std::int64_t sort = 0;
  MediaType mediaType = MediaType::All;

  bool read(const Arguments& from) {
    return from.string("collectionId", collectionId) && from.integer("sort", sort) &&
           readMediaType(from, "mediaType", mediaType);
  }
};

std::int64_t countOf(PHPhotoLibrary& library, const PHAssetCollection& gallery,
                     MediaType mediaType) {
  PHFetchOptions options;
  options.predicate = oneMediaTypePredicate(mediaType);
  return static_cast<std::int64_t>(
      library.fetchAssetsInAssetCollection(gallery, &options)->count());
}

struct Summary {
  AssetCounts counts;
  Asset first;
};

/// Images and videos; the first asset may be of any type.
Summary summaryOfAll(PHPhotoLibrary& library, const PHAssetCollection& gallery,
                     PHFetchOptions sorted) {
  sorted.fetchLimit = 1;
  Summary summary;
  summary.first = library.fetchAssetsInAssetCollection(gallery, &sorted)->firstObject();
  AssetCounts& counts = summary.counts;
  counts.photos = countOf(library, gallery, MediaType::Image);
  counts.videos = countOf(library, gallery, MediaType::Video);
  if (counts.videos > std::numeric_limits<std::int64_t>::max() - counts.photos) {
    fatalError("the gallery's asset counts overflow their sum");
  }
  counts.total = counts.photos + counts.videos;
  return summary;
}

Summary summaryOfOneType(PHPhotoLibrary& library, const PHAssetCollection& gallery,
                         PHFetchOptions sorted, MediaType mediaType) {
  sorted.predicate = oneMediaTypePredicate(mediaType);
  const auto assets = library.fetchAssetsInAssetCollection(gallery, &sorted);
  const auto total = static_cast<std::int64_t>(assets->count());
  return {countsUnderFilter(mediaType, total), assets->firstObject()};
}

}  // namespace

void ImageManager::getGalleryAssetCount(const FlutterMethodCall& call, const ResultHolder& result) {
  GalleryArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kInvalidArguments);
  PHFetchOptions sorted;
  sortByCreationDate(sorted, arguments.sort);
  const Album gallery = fetchAlbum(arguments.collectionId);
  if (gallery == nullptr) {
    return fail(result, errors::withId(errors::kGalleryNotFound, arguments.collectionId));
  }
  PHPhotoLibrary& library = platform.sharedPhotoLibrary;
  const Summary summary =
      arguments.mediaType == MediaType::All
          ? summaryOfAll(library, *gallery, std::move(sorted))
          : summaryOfOneType(library, *gallery, std::move(sorted), arguments.mediaType);
  std::string firstAssetId;
  if (summary.first != nullptr) {
    firstAssetId = summary.first->localIdentifier;
    const NSLockHolder held(lock);
    assetMap.insert_or_assign(firstAssetId, summary.first);
  }
  Map reply = countsToMap(summary.counts);
  reply.emplace_back("firstAssetId"_lit, std::move(firstAssetId));
  sendResult(result, std::move(reply));
}

void ImageManager::getGalleryFirstAssetId(const FlutterMethodCall& call,
                                          const ResultHolder& result) {
  GalleryArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kInvalidArguments);
  PHFetchOptions options;
  options.fetchLimit = 1;
  sortByCreationDate(options, arguments.sort);
  const Album gallery = fetchAlbum(arguments.collectionId);
  if (gallery == nullptr) {
    return fail(result, errors::withId(errors::kGalleryNotFound, arguments.collectionId));
  }
  PHPhotoLibrary& library = platform.sharedPhotoLibrary;
  options.predicate = arguments.mediaType == MediaType::All
                          ? imageOrVideoPredicate(kSummaryPredicate)
                          : oneMediaTypePredicate(arguments.mediaType);
  const auto first = library.fetchAssetsInAssetCollection(*gallery, &options)->firstObject();
  if (first == nullptr) {
    return fail(result, errors::withId(errors::kAssetNotFoundForGallery, arguments.collectionId));
  }
  sendResult(result, first->localIdentifier);
}

}  // namespace quorvin
