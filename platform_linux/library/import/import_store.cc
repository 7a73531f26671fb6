// The rows of an import's files.
#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/grouping/regroup.h"
#include "platform_linux/library/import/import_batch.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

Part newPart(const OriginalCopy& copy) {
  OriginalRecord record{copy.asset, copy.resource};
  if (copy.isPaired) record.resource.type = PHAssetResourceType::pairedVideo;
  return partOf(std::move(record));
}

std::vector<std::int64_t> familiesByName(const ImportFile& file) {
  return familyNumbers(folderNumber(file.folder), validUtf8(file.name), file.probe.notes);
}

}  // namespace

// The same content may have come in meanwhile: earlier in this import, or by another one. Side
// files may say the same of different photos.
void ImportBatch::findExisting(Database& database, StagedFile& file) {
  if (file.existingAsset || file.file->probe.kind == MediaKind::side) return;
  const NewResource& resource = file.copy->resource;
  for (const KnownContent& known : findContent(database, resource.size, resource.hash)) {
    const FileDescriptor there = originalFile(catalogue_.folder(), known.path).open();
    const FileDescriptor copy = catalogue_.folder().held->openRegularFile(file.copy->place);
    if (!there || !copy || !haveSameContent(there.get(), copy.get())) continue;
    file.existingAsset = known.asset;
    file.isUnneeded = true;
    file.sameOriginal = known.path;
    return;
  }
}

// Files of this batch with the same content are one.
void ImportBatch::findTwins() {
  std::map<std::pair<std::int64_t, std::string>, std::size_t> first;
  for (std::size_t i = 0; i < files_.size(); ++i) {
    StagedFile& file = files_[i];
    if (file.existingAsset || file.file->probe.kind == MediaKind::side) continue;
    const NewResource& resource = file.copy->resource;
    const auto [there, isFirst] = first.try_emplace({resource.size, resource.hash}, i);
    if (isFirst) continue;
    const Folder& held = *catalogue_.folder().held;
    const FileDescriptor one = held.openRegularFile(files_[there->second].copy->place);
    const FileDescriptor other = held.openRegularFile(file.copy->place);
    if (one && other && haveSameContent(one.get(), other.get())) file.twin = there->second;
  }
}

// False for files that are there, of which nothing is to be said that is not said yet.
bool ImportBatch::isAnythingToStore() const {
  const bool isToStore = std::ranges::any_of(files_, [](const StagedFile& file) {
    return !file.existingAsset || !file.file->originalToNote.empty() || !file.file->albums.empty();
  });
  if (isToStore) return true;
  Catalogue::Reader database = catalogue_.reader();
  return !database || std::ranges::any_of(files_, [&database](const StagedFile& file) {
    return !isOfFamily(*database, *file.existingAsset, familiesByName(*file.file));
  });
}

Done ImportBatch::storeAll(Database& database, Committed& committed) {
  const auto failed = [&database] { return database.lastError("the files cannot be stored"); };
  if (!makeSourceTable(database)) return failed();
  for (StagedFile& file : files_) findExisting(database, file);
  findTwins();
  if (!join(database, committed)) return failed();
  for (const StagedFile& file : files_) {
    if (!note(database, file)) return failed();
    for (const std::string& title : file.file->albums) {
      const auto album = albumWithTitle(database, validUtf8(title));
      if (!album || !addToAlbum(database, *album, *file.existingAsset)) return failed();
    }
  }
  return Null{};
}

// Every file has its asset afterwards.
bool ImportBatch::join(Database& database, Committed& committed) {
  std::vector<Part> parts;
  std::vector<StagedFile*> owners;  // of the parts
  std::vector<FoundAgain> foundAgain;
  for (StagedFile& file : files_) {
    if (file.existingAsset) {
      foundAgain.push_back({*file.existingAsset, familiesByName(*file.file)});
      continue;
    }
    if (file.twin) continue;
    for (const std::optional<OriginalCopy>* copy : {&file.copy, &file.embeddedMovie}) {
      if (!*copy) continue;
      parts.push_back(newPart(**copy));
      owners.push_back(&file);
    }
  }
  // What lies beside a twin belongs to the other one.
  for (const StagedFile& file : files_) {
    if (!file.twin) continue;
    const auto owner = std::ranges::find(owners, &files_[*file.twin]);
    Part& part = parts[static_cast<std::size_t>(owner - owners.begin())];
    const auto families = familiesByName(*file.file);
    part.families.insert(part.families.end(), families.begin(), families.end());
  }
  const auto done =
      regroup(database, catalogue_.folder(), std::move(parts), foundAgain, presentTime());
  if (!done) return false;
  for (std::size_t i = 0; i < owners.size(); ++i) {
    owners[i]->existingAsset = done->places[i].row;
    if (done->places[i].sameOriginal.empty()) continue;
    owners[i]->isUnneeded = true;
    owners[i]->sameOriginal = done->places[i].sameOriginal;
  }
  for (StagedFile& file : files_) {
    if (!file.twin) continue;
    file.existingAsset = files_[*file.twin].existingAsset;
    file.isUnneeded = true;
    file.sameOriginal = files_[*file.twin].copy->resource.path;
  }
  committed.addedAssets += done->newAssets;
  return std::ranges::all_of(done->bursts,
                             [&](const std::string& burst) { return settle(database, burst); });
}

void ImportBatch::appendOutcomes(Committed& committed) const {
  for (const StagedFile& file : files_) {
    committed.files.push_back({file.index, file.copy && !file.isUnneeded});
  }
}

// By which original the file is to be known again.
bool ImportBatch::note(Database& database, const StagedFile& staged) {
  const ImportFile& file = *staged.file;
  if (staged.copy && file.showsChanges && staged.copy->isOfThatState) {
    const std::string& own = staged.copy->resource.path;
    return noteSource(database, file.name, file, staged.isUnneeded ? staged.sameOriginal : own);
  }
  return file.originalToNote.empty() || noteSource(database, file.name, file, file.originalToNote);
}

bool ImportBatch::settle(Database& database, const std::string& burst) {
  if (!isRepresented(database, burst)) newBursts_.insert(burst);
  return settleBurst(database, burst,
                     newBursts_.contains(burst) ? BurstChoice::anew : BurstChoice::keep);
}

}  // namespace quorvin
