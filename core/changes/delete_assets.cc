// deleteAssets: assets taken out of the library, in one change.
#include <string>
#include <utility>
#include <vector>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/changes.h"

namespace quorvin {

void ImageManager::deleteAssets(const FlutterMethodCall& call, const ResultHolder& result) {
  std::vector<std::string> assetIds;
  if (!Arguments(call.arguments).strings("assetIds", assetIds)) {
    return fail(result, errors::kErrorArguments);
  }
  // Identifiers that nothing has are no fault: they are not among what is found.
  platform.photoLibraryChanges.performChanges(
      [self = shared_from_this(), assetIds = std::move(assetIds)](PHChangeRequests& requests) {
        requests.deleteAssets(
            *self->platform.sharedPhotoLibrary.fetchAssetsWithLocalIdentifiers(assetIds, nullptr));
      },
      [self = shared_from_this(), result](bool success, const std::optional<NSError>& error) {
        if (!success) {
          return self->fail(result, errors::kDeletingAssetsError, errors::detailsOf(error));
        }
        self->sendResult(result, true);
      });
}

}  // namespace quorvin
