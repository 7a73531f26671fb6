// getAssetInfo: the record of one asset.
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/queries/asset_record.h"

namespace quorvin {

void ImageManager::getAssetInfo(const FlutterMethodCall& call, const ResultHolder& result) {
  std::string assetId;
  if (!Arguments(call.arguments).string("assetId", assetId)) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const Asset asset = getPHAsset(assetId);
  if (asset == nullptr) {
    return sendError(result, errors::kCode, errors::withId(errors::kAssetNotFound, assetId));
  }
  sendResult(result, assetToMap(*asset));
}

}  // namespace quorvin
