#include "platform_linux/library/import/import_batch.h"

#include <utility>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

constexpr std::int64_t kMostBytes = 256LL * 1024 * 1024;
constexpr std::size_t kMostParts = 64;

}  // namespace

ImportBatch::~ImportBatch() {
  removeFiles(false);
}

bool ImportBatch::isFull() const {
  return bytes_ >= kMostBytes || parts_ >= kMostParts;
}

Done ImportBatch::add(const std::vector<ImportFile>& files, const ImportUnit& unit,
                      std::vector<std::pair<std::size_t, Failure>>& refused) {
  const std::string uuid = newUuid();
  Unit added{.identifier = uuid + "/L0/001", .main = {}, .pairedVideo = {}};
  const auto take = [&](std::size_t index, bool isPaired, std::optional<Part>& into) -> Done {
    auto part = stage(files, index, uuid, isPaired);
    if (part) {
      into = *std::move(part);
    } else if (part.error().is(LibraryErrorCode::notEnoughSpace)) {
      return part.error();
    } else {
      refused.emplace_back(index, part.error());
    }
    return Null{};
  };
  const auto drop = [this](const std::optional<Part>& part) {
    if (part) copies_.remove(part->copy);
  };
  if (Done taken = take(unit.main, false, added.main); !taken) return taken;
  if (unit.pairedVideo) {
    // Without its still, a movie is an asset of its own.
    if (Done taken = take(*unit.pairedVideo, added.main.has_value(), added.pairedVideo); !taken) {
      drop(added.main);
      return taken;
    }
    if (!added.main) std::swap(added.main, added.pairedVideo);
  } else if (added.main && !added.main->existingAsset &&
             files[unit.main].probe.embeddedMovieLength > 0) {
    auto movie = stageEmbedded(files, unit.main, uuid);
    if (!movie && movie.error().is(LibraryErrorCode::notEnoughSpace)) {
      drop(added.main);
      return movie.error();
    }
    // The photo holds its movie anyway, so it is taken also when the part cannot be cut out.
    if (movie) added.pairedVideo = *std::move(movie);
  }
  if (added.main) units_.push_back(std::move(added));
  return Null{};
}

Result<ImportBatch::Part> ImportBatch::stage(const std::vector<ImportFile>& files,
                                             std::size_t index, const std::string& uuid,
                                             bool isPaired) {
  Part part;
  part.index = index;
  part.file = &files[index];
  part.existingAsset = part.file->existingAsset;
  ++parts_;
  if (part.existingAsset) return part;
  bytes_ += part.file->size;
  auto copy = copies_.copyFile(*part.file, uuid, isPaired);
  if (!copy) return copy.error();
  part.copy = *std::move(copy);
  return part;
}

Result<ImportBatch::Part> ImportBatch::stageEmbedded(const std::vector<ImportFile>& files,
                                                     std::size_t index, const std::string& uuid) {
  Part part;
  part.index = index;
  part.file = &files[index];
  part.isEmbedded = true;
  ++parts_;
  auto copy = copies_.copyEmbeddedMovie(*part.file, uuid);
  if (!copy) return copy.error();
  part.copy = *std::move(copy);
  bytes_ += part.copy.resource.size;
  return part;
}

Done ImportBatch::place() {
  std::vector<OriginalCopy*> copies;
  for (Unit& unit : units_) {
    const bool isNew = unit.main && !unit.main->existingAsset;
    for (std::optional<Part>* part : {&unit.main, &unit.pairedVideo}) {
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
  if (done) {
    done = catalogue_.change(
        [this, &committed](Database& database) -> Done {
          for (Unit& unit : units_) {
            if (!store(database, unit, committed)) {
              return database.lastError("the files cannot be stored");
            }
          }
          return Null{};
        },
        Catalogue::Room::free, &isUncertain);
  }
  if (isUncertain || !removeFiles(static_cast<bool>(done))) isAnyLeft_ = true;
  if (!isAnyLeft_) staging_.forget();
  units_.clear();
  bytes_ = 0;
  parts_ = 0;
  if (!done) return done.error();
  return committed;
}

bool ImportBatch::removeFiles(bool onlyUnneeded) {
  bool gone = true;
  for (Unit& unit : units_) {
    for (const std::optional<Part>* part : {&unit.main, &unit.pairedVideo}) {
      if (!*part || (onlyUnneeded && !(*part)->isUnneeded)) continue;
      gone = copies_.remove((*part)->copy) && gone;
    }
  }
  return gone;
}

}  // namespace quorvin
