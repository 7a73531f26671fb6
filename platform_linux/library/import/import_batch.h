// A number of units on their way into the library, stored in one change.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/import/import_plan.h"
#include "platform_linux/library/originals/original_copies.h"
#include "platform_linux/library/originals/staging.h"

namespace quorvin {

/// One thread. The folder, the catalogue and the staging outlive it.
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

  ImportBatch(Catalogue& catalogue, Staging& staging, const std::optional<std::string>& album,
              std::set<std::string>& newBursts)
      : catalogue_(catalogue),
        staging_(staging),
        copies_(catalogue.folder(), staging),
        album_(album),
        newBursts_(newBursts) {}
  /// Removes what was copied and not committed.
  ~ImportBatch();
  ImportBatch(const ImportBatch&) = delete;
  ImportBatch& operator=(const ImportBatch&) = delete;

  bool isEmpty() const { return units_.empty(); }
  bool isFull() const;

  /// Copies the unit's files. A file that cannot be copied is dropped from the unit and goes to
  /// `refused`; only an error that ends the import, no space, is returned, and the unit is then
  /// not in the batch.
  Done add(const std::vector<ImportFile>& files, const ImportUnit& unit,
           std::vector<std::pair<std::size_t, Failure>>& refused);

  /// Makes all of it durable, or none. The batch is empty afterwards.
  Result<Committed> commit();

 private:
  struct Part {
    std::size_t index = 0;
    const ImportFile* file = nullptr;
    std::optional<std::int64_t> existingAsset;
    OriginalCopy copy;        ///< unless the asset exists
    bool isEmbedded = false;  ///< a part of the main file
    bool isUnneeded = false;  ///< the library turned out to have it
  };
  struct Unit {
    std::string identifier;
    std::optional<Part> main;
    std::optional<Part> pairedVideo;
  };

  Result<Part> stage(const std::vector<ImportFile>& files, std::size_t index,
                     const std::string& uuid, bool isPaired);
  Result<Part> stageEmbedded(const std::vector<ImportFile>& files, std::size_t index,
                             const std::string& uuid);
  Done place();
  static NewAsset newAsset(const std::string& identifier, const ImportFile& file);
  bool store(Database& database, Unit& unit, Committed& committed);
  std::optional<std::int64_t> storeUnit(Database& database, Unit& unit, Committed& committed);
  std::optional<std::int64_t> storeAlone(Database& database, Unit& unit, Part& part,
                                         Committed& committed);
  void findExisting(Database& database, Part& part);
  bool settle(Database& database, const std::string& burst);
  /// False when one is still there.
  bool removeFiles(bool onlyUnneeded);

  Catalogue& catalogue_;
  Staging& staging_;
  OriginalCopies copies_;
  const std::optional<std::string>& album_;
  std::set<std::string>& newBursts_;  // those that this import brought in
  std::vector<Unit> units_;
  std::int64_t bytes_ = 0;
  std::size_t parts_ = 0;
  bool isAnyLeft_ = false;  ///< the next opening sees which files are needed
};

}  // namespace quorvin
