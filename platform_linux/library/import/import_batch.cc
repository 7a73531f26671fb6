#include "platform_linux/library/import/import_batch.h"

#include <algorithm>
#include <utility>

#include "platform_linux/errors/failure.h"

namespace quorvin {

ImportBatch::~ImportBatch() {
  removeFiles(false);
}

void ImportBatch::add(StagedUnit unit) {
  if (unit.main) units_.push_back(std::move(unit));
}

Done ImportBatch::place() {
  std::vector<OriginalCopy*> copies;
  for (StagedUnit& unit : units_) {
    const bool isNew = unit.main && !unit.main->existingAsset;
    for (std::optional<StagedPart>* part : {&unit.main, &unit.pairedVideo}) {
      if (!*part || (*part)->existingAsset) continue;
      OriginalCopy& copy = (*part)->copy;
      copy.asset = newAsset(unit.identifier, *(*part)->file);
      copy.isPaired = isNew && part == &unit.pairedVideo;
      copies.push_back(&copy);
    }
  }
  return copies_.place(copies);
}

Result<ImportBatch::Committed> ImportBatch::commit() {
  Committed committed;
  bool isUncertain = false;
  auto done = place();
  if (done && isAnythingToStore()) {
    done = catalogue_.change(
        [this, &committed](Database& database) { return storeAll(database, committed); },
        Catalogue::Room::free, &isUncertain);
  } else if (done) {
    for (const StagedUnit& unit : units_) appendOutcomes(unit, committed);
  }
  if (isUncertain || !removeFiles(static_cast<bool>(done))) isAnyLeft_ = true;
  if (!isAnyLeft_) staging_.forget();
  units_.clear();
  if (!done) return done.error();
  return committed;
}

bool ImportBatch::removeFiles(bool onlyUnneeded) {
  bool gone = true;
  for (const StagedUnit& unit : units_) {
    for (const std::optional<StagedPart>* part : {&unit.main, &unit.pairedVideo}) {
      if (!*part || (onlyUnneeded && !(*part)->isUnneeded)) continue;
      gone = copies_.remove((*part)->copy) && gone;
    }
  }
  return gone;
}

}  // namespace quorvin
