// getBurstAssetList: the records of every member of the burst that an asset represents.
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/queries/asset_record.h"

namespace quorvin {

void ImageManager::getBurstAssetList(const FlutterMethodCall& call, const ResultHolder& result) {
  std::string assetId;
  if (!Arguments(call.arguments).string("assetId", assetId)) {
    return fail(result, errors::kErrorArguments);
  }
  const Asset asset = getPHAsset(assetId);
  // A photo that represents no burst is as good as unknown here.
  if (asset == nullptr || !asset->representsBurst || !asset->burstIdentifier) {
    return fail(result, errors::withId(errors::kAssetNotFound, assetId));
  }
  List records;
  {
    const NSLockHolder held(lock);
    PHFetchOptions options;
    options.includeAllBurstAssets = true;
    const auto members = platform.sharedPhotoLibrary.fetchAssetsWithBurstIdentifier(
        *asset->burstIdentifier, &options);
    for (const Asset& member : members->objectsAtIndexes({0, members->count()})) {
      records.emplace_back(assetToMap(*member));
      assetMap.insert_or_assign(member->localIdentifier, member);
    }
  }
  sendResult(result, std::move(records));
}

}  // namespace quorvin
