// Carries out what a change block asked for.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/changes/change_recorder.h"
#include "platform_linux/library/originals/original_copies.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/originals/staging.h"

namespace quorvin {

/// True when files are to be copied.
bool savesFiles(const std::vector<ChangeRequest>& requests);

/// One thread. The catalogue and the media service outlive it.
class ChangeApplier {
 public:
  ChangeApplier(Catalogue& catalogue, MediaService& media) : catalogue_(catalogue), media_(media) {}

  /// How many assets, not deleted yet, the requests would delete.
  Result<std::size_t> countDeletions(const std::vector<ChangeRequest>& requests);

  /// Makes all of the requests durable, in their order, or none. `status` is granted. With limited
  /// access, new assets join the selection, only assets of the selection can be deleted, and albums
  /// take no change.
  Done apply(const std::vector<ChangeRequest>& requests, PHAuthorizationStatus status);

 private:
  struct Creation {
    SourceFile file;
    NewAsset asset;
    OriginalCopy main;
    std::optional<OriginalCopy> pairedVideo;
  };

  Done makeReady();
  Done copyFiles(const std::vector<ChangeRequest>& requests, std::vector<Creation>& creations);
  Result<SourceFile> look(const CreateAsset& request);
  Result<Creation> copyFile(const CreateAsset& request);
  Done placeFiles(std::vector<Creation>& creations);
  /// False when one is still there.
  bool removeFiles(const std::vector<Creation>& creations) const;
  static Done store(Database& database, const std::vector<ChangeRequest>& requests,
                    const std::vector<Creation>& creations, PHAuthorizationStatus status);

  Catalogue& catalogue_;
  MediaService& media_;
  /// Kept from one change to the next, for making one takes longer than many a change.
  std::unique_ptr<Staging> staging_;
  std::unique_ptr<OriginalCopies> copies_;
};

}  // namespace quorvin
