// getAssetList: one page of a gallery's assets, as records.
#include <algorithm>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/queries/asset_record.h"
#include "core/queries/media_type.h"

namespace quorvin {
namespace {

struct AssetListArguments {
  std::string collectionId;
  std::int64_t start = 0;  // below 0 counts as 0 when the page is cut
  std::int64_t end = 0;    // one past the last
  std::int64_t sort = 0;
  MediaType mediaType = MediaType::All;

  bool read(const Arguments& from) {
    return from.string("collectionId", collectionId) && from.integer("start", start) &&
           from.integer("end", end) && from.integer("sort", sort) &&
           readMediaType(from, "mediaType", mediaType) && end >= 1 && end > start;
  }
};

/// The filter `All` sets no predicate: the page then holds audio too.
PHFetchOptions pageOptions(const AssetListArguments& arguments) {
  PHFetchOptions options;
  sortByCreationDate(options, arguments.sort);
  if (arguments.mediaType != MediaType::All) {
    options.predicate = oneMediaTypePredicate(arguments.mediaType);
  }
  options.fetchLimit = static_cast<std::size_t>(arguments.end);
  return options;
}

/// Empty when the page lies beyond the end.
PHFetchResult<PHAsset>::Objects cutPage(const PHFetchResult<PHAsset>& assets,
                                        const AssetListArguments& arguments) {
  const auto count = static_cast<std::int64_t>(assets.count());
  const std::int64_t lower = std::max<std::int64_t>(arguments.start, 0);
  const std::int64_t upper = std::min(arguments.end, count);
  if (lower >= upper) return {};
  return assets.objectsAtIndexes(
      {static_cast<std::size_t>(lower), static_cast<std::size_t>(upper)});
}

}  // namespace

void ImageManager::getAssetList(const FlutterMethodCall& call, const ResultHolder& result) {
  AssetListArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kInvalidArguments);
  const Album gallery = fetchAlbum(arguments.collectionId);
  if (gallery == nullptr) return sendResult(result, List{});

  const PHFetchOptions options = pageOptions(arguments);
  const auto page = cutPage(
      *platform.sharedPhotoLibrary.fetchAssetsInAssetCollection(*gallery, &options), arguments);
  List records;
  records.reserve(page.size());
  for (const Asset& asset : page) records.emplace_back(assetToMap(*asset));
  {
    const NSLockHolder held(lock);
    for (const Asset& asset : page) assetMap.insert_or_assign(asset->localIdentifier, asset);
  }
  sendResult(result, std::move(records));
}

}  // namespace quorvin
