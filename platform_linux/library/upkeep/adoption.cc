// The rows of an asset that is lost are made as an import makes them: what its files have in common
// is in their records, so that they find each other again.
#include "platform_linux/library/upkeep/adoption.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/catalogue/salvage.h"
#include "platform_linux/library/grouping/composition.h"
#include "platform_linux/library/grouping/regroup.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/original_record.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/identifiers.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

constexpr std::size_t kUuidAt = 3;
constexpr std::size_t kUuidSize = 36;
constexpr std::size_t kJoinedAtOnce = 256;

bool isPaired(const OriginalRecord& record) {
  return record.resource.type == PHAssetResourceType::pairedVideo;
}
// Not one that was cut out of it: that comes with its photo.
bool isMovieOfPhoto(const OriginalRecord& record) {
  return isPaired(record) && record.asset.probe.kind != MediaKind::image;
}

// The kind and type that the ending of a name stands for.
struct Ending {
  MediaKind kind;
  PHAssetResourceType type;
  const char* uti;
};
Ending endingOf(const std::string& name) {
  static const std::map<std::string, Ending> kEndings = {
      {"mov", {MediaKind::video, PHAssetResourceType::video, "com.apple.quicktime-movie"}},
      {"mp4", {MediaKind::video, PHAssetResourceType::video, "public.mpeg-4"}},
      {"m4v", {MediaKind::video, PHAssetResourceType::video, "com.apple.m4v-video"}},
      {"mkv", {MediaKind::video, PHAssetResourceType::video, "public.movie"}},
      {"webm", {MediaKind::video, PHAssetResourceType::video, "public.movie"}},
      {"avi", {MediaKind::video, PHAssetResourceType::video, "public.avi"}},
      {"mp3", {MediaKind::audio, PHAssetResourceType::audio, "public.mp3"}},
      {"m4a", {MediaKind::audio, PHAssetResourceType::audio, "public.mpeg-4-audio"}},
      {"wav", {MediaKind::audio, PHAssetResourceType::audio, "com.microsoft.waveform-audio"}},
      {"png", {MediaKind::image, PHAssetResourceType::photo, "public.png"}},
      {"heic", {MediaKind::image, PHAssetResourceType::photo, "public.heic"}},
      {"gif", {MediaKind::image, PHAssetResourceType::photo, "com.compuserve.gif"}},
  };
  const auto found = kEndings.find(lowerExtension(name));
  if (found != kEndings.end()) return found->second;
  return {MediaKind::image, PHAssetResourceType::photo, "public.jpeg"};
}

// Of an original without one: what its own name and its file tell.
OriginalRecord guessedRecord(const std::string& path, const struct stat& status) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const Ending ending = endingOf(name);
  const bool isMovieOfPhoto = path.substr(kUuidAt + kUuidSize).starts_with("-9");
  OriginalRecord record;
  record.asset.identifier = path.substr(kUuidAt, kUuidSize) + "/L0/001";
  record.asset.modified = modificationTime(status);
  record.asset.added = record.asset.modified;
  record.asset.probe.kind = ending.kind;
  record.resource = {.type = isMovieOfPhoto ? PHAssetResourceType::pairedVideo : ending.type,
                     .name = name,
                     .uniformTypeIdentifier = ending.uti,
                     .path = path,
                     .size = -1,
                     .hash = {},
                     .orientation = 1};
  return record;
}

// Size and checksum as they were when it came, or else as they are.
bool complete(const LibraryFolder& folder, OriginalRecord& record, const struct stat& status) {
  if (record.resource.size >= 0 && !record.resource.hash.empty()) return true;
  const FileDescriptor file = originalFile(folder, record.resource.path).open();
  if (!file) return false;
  auto hash = hashContent(file.get());
  if (!hash) return false;
  record.resource.size = status.st_size;
  record.resource.hash = *std::move(hash);
  return true;
}

class Adoption {
 public:
  Adoption(const LibraryFolder& folder, Database& into) : folder_(folder), into_(into) {}

  Adopted run() {
    // Damage may have changed a letter of a path.
    for (const std::string& path : resourcePaths(into_)) {
      if (!resourcePathIsOurs(path)) dropResource(into_, path);
    }
    reserveRows(into_);
    collect();
    restoreLost();
    // What belongs together lies side by side, and what came first before what joined it. The movie
    // of a photo that was never a file by itself comes behind all photos.
    std::ranges::sort(records_, {}, [](const OriginalRecord& record) {
      return std::tuple(isMovieOfPhoto(record), record.asset.sourceFolder,
                        familyByName(record.resource.name), record.asset.added,
                        record.resource.path);
    });
    for (const OriginalRecord& record : records_) adopt(record);
    joinAll();
    hideWaiting(into_);
    return std::move(adopted_);
  }

 private:
  // Of every original without a row, and of those whose asset has none.
  void collect() {
    for (const LostAsset& lost : lostAssets(into_)) {
      for (const std::string& path : lost.paths) orphaned_.emplace(path, lost.row);
    }
    for (const std::string& path : filesBelow(folder_, LibraryFolder::kOriginals)) {
      struct stat status = {};
      const std::string beneath = std::string(LibraryFolder::kOriginals) + "/" + path;
      if (!resourcePathIsOurs(path) || folder_.held->status(beneath, status) != 0 ||
          !S_ISREG(status.st_mode)) {
        continue;
      }
      const bool isOrphaned = orphaned_.contains(path);
      if (!isOrphaned && isNamedOriginal(into_, path).value_or(false)) continue;
      auto record = readRecord(folder_, path);
      if (!record) {
        record = guessedRecord(path, status);
        ++adopted_.withoutRecord;
      }
      if (!complete(folder_, *record, status)) {
        adopted_.impossible.push_back(path);
      } else if (isOrphaned) {
        ofLost_[orphaned_[path]].push_back(*std::move(record));
      } else {
        records_.push_back(*std::move(record));
      }
    }
  }

  // Assets whose files still have rows: under the number that these know them by.
  void restoreLost() {
    for (const LostAsset& lost : lostAssets(into_)) {
      auto records = ofLost_.extract(lost.row);
      if (records.empty()) {
        if (!lost.identifier.empty()) rows_.emplace(lost.identifier, lost.row);
        continue;
      }
      std::vector<OriginalRecord>& own = records.mapped();
      const auto first = std::ranges::min_element(
          own, {}, [](const OriginalRecord& record) { return record.asset.added; });
      std::string identifier = lost.identifier.empty() ? first->asset.identifier : lost.identifier;
      if (!isAssetIdentifier(identifier) || assetRow(into_, identifier)) {
        identifier = newAssetIdentifier();
      }
      NewAsset asset = compositionOf(own).asset;
      asset.identifier = identifier;
      asset.added = first->asset.added;
      const auto made = insertAsset(into_, asset);
      if (made && putBack(into_, *made, lost.row)) {
        adopted_.originals += static_cast<std::int64_t>(own.size());
        continue;
      }
      for (OriginalRecord& record : own) {
        dropResource(into_, record.resource.path);
        records_.push_back(std::move(record));
      }
    }
  }

  static Composition compositionOf(const std::vector<OriginalRecord>& records) {
    std::vector<Part> parts;
    for (const OriginalRecord& record : records) parts.push_back(partOf(record));
    const Grouping grouping = groupParts(parts);
    return compose(parts, grouping.assets.empty() ? std::vector<Role>{{0, parts.front().type}}
                                                  : grouping.assets.front());
  }

  void adopt(const OriginalRecord& record) {
    const auto owner = assetRow(into_, record.asset.identifier);
    if (!owner && isMovieOfPhoto(record)) return note(record, insertAlone(record));
    if (!owner) return joinLater(record);
    const auto type = static_cast<std::int64_t>(record.resource.type);
    const std::string present = resourcePath(into_, *owner, type);
    const bool isMissing = !present.empty() && !originalFile(folder_, present).open();
    if (isMissing) dropResource(into_, present);
    if (present.empty() || isMissing) {
      return note(record, isPaired(record) ? insertPairedVideo(into_, *owner, record.resource)
                                           : insertResource(into_, *owner, record.resource));
    }
    OriginalRecord other = record;
    other.asset.identifier = newAssetIdentifier();
    return isPaired(record) ? note(record, insertAlone(other)) : joinLater(other);
  }

  void note(const OriginalRecord& record, bool isAdopted) {
    if (isAdopted) {
      ++adopted_.originals;
    } else {
      adopted_.impossible.push_back(record.resource.path);
    }
  }

  // Families are not cut apart.
  void joinLater(const OriginalRecord& record) {
    const bool isFull = waiting_.size() >= kJoinedAtOnce;
    if (isFull &&
        (record.asset.sourceFolder != waiting_.back().asset.sourceFolder ||
         familyByName(record.resource.name) != familyByName(waiting_.back().resource.name))) {
      joinAll();
    }
    waiting_.push_back(record);
  }

  void joinAll() {
    std::vector<Part> parts;
    for (const OriginalRecord& record : waiting_) parts.push_back(partOf(record));
    const bool isJoined = !parts.empty() && regroup(into_, folder_, std::move(parts), {}, 0);
    for (const OriginalRecord& record : waiting_) {
      note(record, isJoined && putBackIfKnown(record.asset.identifier));
    }
    waiting_.clear();
  }

  // Under the number that its albums know it by.
  bool putBackIfKnown(const std::string& identifier) {
    const auto known = rows_.find(identifier);
    const auto row = assetRow(into_, identifier);
    return known == rows_.end() || !row || *row == known->second ||
           putBack(into_, *row, known->second);
  }

  // Its photo is gone: it is a video of its own.
  bool insertAlone(OriginalRecord record) {
    record.resource.type = PHAssetResourceType::video;
    record.asset.probe.kind = MediaKind::video;
    const auto row = insertAsset(into_, record.asset);
    return row && insertResource(into_, *row, record.resource) &&
           putBackIfKnown(record.asset.identifier);
  }

  const LibraryFolder& folder_;
  Database& into_;
  std::map<std::string, std::int64_t> orphaned_;                ///< paths, with lost rows
  std::map<std::int64_t, std::vector<OriginalRecord>> ofLost_;  ///< by lost row
  std::map<std::string, std::int64_t> rows_;                    ///< that identifiers had
  std::vector<OriginalRecord> records_;
  std::vector<OriginalRecord> waiting_;  ///< to be joined
  Adopted adopted_;
};

}  // namespace

Adopted adoptOriginals(const LibraryFolder& folder, Database& into) {
  return Adoption(folder, into).run();
}

}  // namespace quorvin
