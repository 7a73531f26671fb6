// The rows of an import's units.
#include <algorithm>
#include <string>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/pair_rows.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/library/import/import_batch.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {

NewAsset ImportBatch::newAsset(const std::string& identifier, const ImportFile& file) {
  NewAsset asset = newAssetOf(identifier, file);
  asset.sourceFolder = folderNumber(file.folder);
  return asset;
}

// The same content may have come in meanwhile: earlier in this import, or by another one.
void ImportBatch::findExisting(Database& database, StagedPart& part) {
  if (part.existingAsset) return;
  for (const KnownContent& known :
       findContent(database, part.copy.resource.size, part.copy.resource.hash)) {
    const FileDescriptor file = originalFile(catalogue_.folder(), known.path).open();
    const FileDescriptor copy = catalogue_.folder().held->openRegularFile(part.copy.place);
    if (!file || !copy || !haveSameContent(file.get(), copy.get())) continue;
    part.existingAsset = known.asset;
    part.isUnneeded = true;
    part.sameOriginal = known.path;
    return;
  }
}

// False for files that are there, of which nothing is to be said that is not said yet.
bool ImportBatch::isAnythingToStore() const {
  const auto isToStore = [](const std::optional<StagedPart>& part) {
    return part && (!part->existingAsset || !part->file->originalToNote.empty() ||
                    !part->file->probe.burstIdentifier.empty());
  };
  return album_ || std::ranges::any_of(units_, [&isToStore](const StagedUnit& unit) {
           return isToStore(unit.main) || isToStore(unit.pairedVideo);
         });
}

Done ImportBatch::storeAll(Database& database, Committed& committed) {
  const auto failed = [&database] { return database.lastError("the files cannot be stored"); };
  if (!makeSourceTable(database)) return failed();
  for (StagedUnit& unit : units_) {
    if (!store(database, unit, committed)) return failed();
  }
  return Null{};
}

void ImportBatch::appendOutcomes(const StagedUnit& unit, Committed& committed) {
  for (const std::optional<StagedPart>* part : {&unit.main, &unit.pairedVideo}) {
    if (*part && !(*part)->isEmbedded) {
      committed.files.push_back({(*part)->index, !(*part)->existingAsset.has_value()});
    }
  }
}

bool ImportBatch::store(Database& database, StagedUnit& unit, Committed& committed) {
  findExisting(database, *unit.main);
  if (unit.pairedVideo && !unit.pairedVideo->isEmbedded) findExisting(database, *unit.pairedVideo);
  if (unit.main->isUnneeded && unit.pairedVideo && unit.pairedVideo->isEmbedded) {
    // It goes with the photo that it was cut from.
    unit.pairedVideo->isUnneeded = true;
    unit.pairedVideo->existingAsset = unit.main->existingAsset;
  }
  const auto asset = storeUnit(database, unit, committed);
  if (!asset) return false;
  appendOutcomes(unit, committed);
  for (const std::optional<StagedPart>* part : {&unit.main, &unit.pairedVideo}) {
    if (*part && !note(database, **part)) return false;
  }
  if (album_) {
    const auto album = albumWithTitle(database, validUtf8(*album_));
    if (!album || !addToAlbum(database, *album, *asset)) return false;
  }
  const std::string burst = validUtf8(unit.main->file->probe.burstIdentifier);
  return burst.empty() || settle(database, burst);
}

// Gives the row of the asset that the unit's main file belongs to.
std::optional<std::int64_t> ImportBatch::storeUnit(Database& database, StagedUnit& unit,
                                                   Committed& committed) {
  StagedPart& main = *unit.main;
  if (!unit.pairedVideo) return storeAlone(database, unit, main, committed);
  StagedPart& video = *unit.pairedVideo;
  if (main.existingAsset && video.existingAsset) return main.existingAsset;
  if (main.existingAsset) {
    if (!isWaitingPhoto(database, *main.existingAsset)) {
      return storeAlone(database, unit, video, committed) ? main.existingAsset : std::nullopt;
    }
    return insertPairedVideo(database, *main.existingAsset, video.copy.resource)
               ? main.existingAsset
               : std::nullopt;
  }
  if (video.existingAsset && isWaitingVideo(database, *video.existingAsset)) {
    const NewAsset still = newAsset(unit.identifier, *main.file);
    return joinStill(database, *video.existingAsset, still, main.copy.resource)
               ? video.existingAsset
               : std::nullopt;
  }
  const auto asset = insertAsset(database, newAsset(unit.identifier, *main.file));
  if (!asset || !insertResource(database, *asset, main.copy.resource)) return std::nullopt;
  ++committed.addedAssets;
  if (video.existingAsset || insertPairedVideo(database, *asset, video.copy.resource)) return asset;
  return std::nullopt;
}

// A file without a partner in this batch: the catalogue may hold the partner.
std::optional<std::int64_t> ImportBatch::storeAlone(Database& database, StagedUnit& unit,
                                                    StagedPart& part, Committed& committed) {
  if (part.existingAsset) return part.existingAsset;
  const NewAsset asset = newAsset(unit.identifier, *part.file);
  const std::string& content = asset.probe.contentIdentifier;
  if (part.file->probe.kind == MediaKind::video) {
    const auto photo =
        findWaitingPhoto(database, content, *asset.sourceFolder, part.copy.resource.name);
    if (photo) {
      return insertPairedVideo(database, *photo, part.copy.resource) ? photo : std::nullopt;
    }
  } else if (part.file->probe.kind == MediaKind::image) {
    const auto video =
        findWaitingVideo(database, content, *asset.sourceFolder, part.copy.resource.name);
    if (video) {
      return joinStill(database, *video, asset, part.copy.resource) ? video : std::nullopt;
    }
  }
  const auto row = insertAsset(database, asset);
  if (!row || !insertResource(database, *row, part.copy.resource)) return std::nullopt;
  ++committed.addedAssets;
  return row;
}

// By which original the part's file is to be known again.
bool ImportBatch::note(Database& database, const StagedPart& part) {
  const ImportFile& file = *part.file;
  const bool isCopied = !part.copy.place.empty() && !part.isEmbedded;
  if (isCopied && file.showsChanges && part.copy.isOfThatState) {
    const std::string& own = part.copy.resource.path;
    return noteSource(database, file.name, file, part.isUnneeded ? part.sameOriginal : own);
  }
  return file.originalToNote.empty() || noteSource(database, file.name, file, file.originalToNote);
}

bool ImportBatch::settle(Database& database, const std::string& burst) {
  if (!isRepresented(database, burst)) newBursts_.insert(burst);
  return settleBurst(database, burst,
                     newBursts_.contains(burst) ? BurstChoice::anew : BurstChoice::keep);
}

}  // namespace quorvin
