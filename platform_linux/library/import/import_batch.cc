#include "platform_linux/library/import/import_batch.h"

#include <optional>
#include <utility>

#include "platform_linux/errors/failure.h"

namespace quorvin {

ImportBatch::~ImportBatch() {
  removeFiles(false);
}

void ImportBatch::add(StagedFile file) {
  files_.push_back(std::move(file));
}

Done ImportBatch::place() {
  std::vector<OriginalCopy*> copies;
  for (StagedFile& file : files_) {
    for (std::optional<OriginalCopy>* copy : {&file.copy, &file.embeddedMovie}) {
      if (*copy) copies.push_back(&**copy);
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
  }
  appendOutcomes(committed);
  if (isUncertain || !removeFiles(static_cast<bool>(done))) isAnyLeft_ = true;
  if (!isAnyLeft_) staging_.forget();
  files_.clear();
  if (!done) return done.error();
  return committed;
}

bool ImportBatch::removeFiles(bool onlyUnneeded) {
  bool gone = true;
  for (const StagedFile& file : files_) {
    if (!onlyUnneeded || file.isUnneeded) gone = discard(copies_, file) && gone;
  }
  return gone;
}

}  // namespace quorvin
