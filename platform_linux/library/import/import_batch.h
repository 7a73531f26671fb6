// Files on their way into the library, stored in one change.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/import/import_file.h"
#include "platform_linux/library/import/staged_file.h"
#include "platform_linux/library/originals/original_copies.h"
#include "platform_linux/library/originals/staging.h"

namespace quorvin {

/// One thread. The catalogue, the staging and the copies outlive it.
class ImportBatch {
 public:
  struct Outcome {
    std::size_t file = 0;  ///< index
    bool isAdded = false;  ///< else the library held it already
  };
  struct Committed {
    std::size_t addedAssets = 0;
    std::vector<Outcome> files;
  };

  ImportBatch(Catalogue& catalogue, Staging& staging, OriginalCopies& copies,
              std::set<std::string>& newBursts)
      : catalogue_(catalogue), staging_(staging), copies_(copies), newBursts_(newBursts) {}
  /// Removes what was copied and not committed.
  ~ImportBatch();
  ImportBatch(const ImportBatch&) = delete;
  ImportBatch& operator=(const ImportBatch&) = delete;

  bool isEmpty() const { return files_.empty(); }

  /// Takes a file that was not refused.
  void add(StagedFile file);

  /// Makes all of it durable, or none. The batch is empty afterwards.
  Result<Committed> commit();

 private:
  Done place();
  bool isAnythingToStore() const;
  Done storeAll(Database& database, Committed& committed);
  void findExisting(Database& database, StagedFile& file);
  void findTwins();
  bool join(Database& database, Committed& committed);
  bool note(Database& database, const StagedFile& file);
  bool settle(Database& database, const std::string& burst);
  void appendOutcomes(Committed& committed) const;
  /// False when one is still there.
  bool removeFiles(bool onlyUnneeded);

  Catalogue& catalogue_;
  Staging& staging_;
  OriginalCopies& copies_;
  std::set<std::string>& newBursts_;  // those that this import brought in
  std::vector<StagedFile> files_;
  bool isAnyLeft_ = false;  ///< the next opening sees which files are needed
};

}  // namespace quorvin
