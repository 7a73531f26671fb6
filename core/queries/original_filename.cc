// getAssetOriginalFilename: the file name under which an asset's data is stored.
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {

void ImageManager::getAssetOriginalFilename(const FlutterMethodCall& call,
                                            const ResultHolder& result) {
  std::string assetId;
  if (!Arguments(call.arguments).string("assetId", assetId)) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const Asset asset = getPHAsset(assetId);
  if (asset == nullptr) {
    return sendError(result, errors::kCode, errors::withId(errors::kAssetNotFound, assetId));
  }
  const auto name = getResourceName(*asset);
  sendResult(result, name ? Value(*name) : Value());
}

}  // namespace quorvin
