// getAssetOriginalFilename: the file name under which an asset's data is stored.
#include "core/manager/image_manager.h"

namespace quorvin {

void ImageManager::getAssetOriginalFilename(const FlutterMethodCall& call,
                                            const ResultHolder& result) {
  const Asset asset = findAsset(call, result);
  if (asset == nullptr) return;
  const auto name = getResourceName(*asset);
  sendResult(result, name ? Value(*name) : Value());
}

}  // namespace quorvin
