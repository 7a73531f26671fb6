// getAssetInfo: the record of one asset.
#include "core/manager/image_manager.h"
#include "core/queries/asset_record.h"

namespace quorvin {

void ImageManager::getAssetInfo(const FlutterMethodCall& call, const ResultHolder& result) {
  const Asset asset = findAsset(call, result);
  if (asset == nullptr) return;
  sendResult(result, assetToMap(*asset));
}

}  // namespace quorvin
