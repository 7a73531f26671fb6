// createAlbum: a new user album.
#include <memory>
#include <optional>
#include <string>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/changes.h"
#include "core/queries/gallery_record.h"

namespace quorvin {

void ImageManager::createAlbum(const FlutterMethodCall& call, const ResultHolder& result) {
  std::string title;
  if (!Arguments(call.arguments).string("title", title)) {
    return fail(result, errors::kErrorArguments);
  }
  const auto placeholder = std::make_shared<std::optional<PHObjectPlaceholder>>();
  platform.photoLibraryChanges.performChanges(
      [placeholder, title](PHChangeRequests& requests) {
        *placeholder = requests.creationRequestForAssetCollectionWithTitle(title);
      },
      [self = shared_from_this(), result, placeholder](bool success,
                                                       const std::optional<NSError>& error) {
        const auto failed = [&](Value details) {
          self->fail(result, errors::kCreateAlbumError, std::move(details));
        };
        if (!success) return failed(errors::detailsOf(error));
        if (!*placeholder) return failed(errors::kNilPlaceholder);
        self->readingLibrary(result, [&] {
          const Album album = self->fetchAlbum((*placeholder)->localIdentifier);
          if (album == nullptr) return failed(errors::kFetchResultError);
          self->sendResult(result, galleryToMap("user"_lit, *album, {}));
        });
      });
}

}  // namespace quorvin
