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
#include "platform_linux/library/import/staged_unit.h"
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
              const std::optional<std::string>& album, std::set<std::string>& newBursts)
      : catalogue_(catalogue),
        staging_(staging),
        copies_(copies),
        album_(album),
        newBursts_(newBursts) {}
  /// Removes what was copied and not committed.
  ~ImportBatch();
  ImportBatch(const ImportBatch&) = delete;
  ImportBatch& operator=(const ImportBatch&) = delete;

  bool isEmpty() const { return units_.empty(); }

  /// Takes the unit, unless nothing of it comes in.
  void add(StagedUnit unit);

  /// Makes all of it durable, or none. The batch is empty afterwards.
  Result<Committed> commit();

 private:
  Done place();
  bool isAnythingToStore() const;
  static void appendOutcomes(const StagedUnit& unit, Committed& committed);
  Done storeAll(Database& database, Committed& committed);
  static NewAsset newAsset(const std::string& identifier, const ImportFile& file);
  bool store(Database& database, StagedUnit& unit, Committed& committed);
  std::optional<std::int64_t> storeUnit(Database& database, StagedUnit& unit, Committed& committed);
  std::optional<std::int64_t> storeAlone(Database& database, StagedUnit& unit, StagedPart& part,
                                         Committed& committed);
  void findExisting(Database& database, StagedPart& part);
  static bool note(Database& database, const StagedPart& part);
  bool settle(Database& database, const std::string& burst);
  /// False when one is still there.
  bool removeFiles(bool onlyUnneeded);

  Catalogue& catalogue_;
  Staging& staging_;
  OriginalCopies& copies_;
  const std::optional<std::string>& album_;
  std::set<std::string>& newBursts_;  // those that this import brought in
  std::vector<StagedUnit> units_;
  bool isAnyLeft_ = false;  ///< the next opening sees which files are needed
};

}  // namespace quorvin
