#include "platform_linux/library/import/staged_unit.h"

#include <algorithm>

#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

bool isEnd(const Failure& failure) {
  return failure.is(LibraryErrorCode::notEnoughSpace);
}

class Stage {
 public:
  Stage(OriginalCopies& copies, const std::vector<ImportFile>& files, const BytesListener& copied)
      : copies_(copies), files_(files), copied_(copied) {}

  StagedUnit run(const ImportUnit& unit) {
    uuid_ = newUuid();
    staged_.identifier = uuid_ + "/L0/001";
    take(unit.main, false, staged_.main);
    if (unit.pairedVideo) {
      // Without its still, a movie is an asset of its own.
      if (!staged_.end) take(*unit.pairedVideo, staged_.main.has_value(), staged_.pairedVideo);
      if (!staged_.main) std::swap(staged_.main, staged_.pairedVideo);
    } else if (staged_.main && !staged_.main->existingAsset &&
               files_[unit.main].probe.embeddedMovieLength > 0) {
      takeEmbedded(unit.main);
    }
    if (staged_.end) {
      discard(copies_, staged_);
      staged_.main.reset();
      staged_.pairedVideo.reset();
    }
    return std::move(staged_);
  }

 private:
  void take(std::size_t index, bool isPaired, std::optional<StagedPart>& into) {
    StagedPart part;
    part.index = index;
    part.file = &files_[index];
    part.existingAsset = part.file->existingAsset;
    if (!part.existingAsset) {
      auto copy = copies_.copyFile(*part.file, uuid_, isPaired, copied_);
      if (!copy) return fail(index, copy.error());
      part.copy = *std::move(copy);
    }
    into = std::move(part);
  }

  // The photo holds its movie anyway, so it is taken also when the part cannot be cut out.
  void takeEmbedded(std::size_t index) {
    auto copy = copies_.copyEmbeddedMovie(files_[index], uuid_);
    if (!copy) {
      if (isEnd(copy.error())) staged_.end = copy.error();
      return;
    }
    StagedPart part;
    part.index = index;
    part.file = &files_[index];
    part.isEmbedded = true;
    part.copy = *std::move(copy);
    staged_.pairedVideo = std::move(part);
  }

  void fail(std::size_t index, const Failure& failure) {
    if (isEnd(failure)) {
      staged_.end = failure;
    } else {
      staged_.refused.emplace_back(index, failure);
    }
  }

  OriginalCopies& copies_;
  const std::vector<ImportFile>& files_;
  const BytesListener& copied_;
  std::string uuid_;
  StagedUnit staged_;
};

}  // namespace

bool StagedUnit::isOfShortage() const {
  return end ||
         std::ranges::any_of(refused, [](const auto& each) { return each.second.isOfDescriptors; });
}

StagedUnit stageUnit(OriginalCopies& copies, const std::vector<ImportFile>& files,
                     const ImportUnit& unit, const BytesListener& copied) {
  return Stage(copies, files, copied).run(unit);
}

bool discard(const OriginalCopies& copies, const StagedUnit& unit) {
  bool gone = true;
  for (const std::optional<StagedPart>* part : {&unit.main, &unit.pairedVideo}) {
    if (*part) gone = copies.remove((*part)->copy) && gone;
  }
  return gone;
}

UnitSize sizeOf(const std::vector<ImportFile>& files, const ImportUnit& unit) {
  UnitSize size;
  const auto add = [&size](const ImportFile& file) {
    ++size.parts;
    if (!file.existingAsset) size.bytes += file.size;
  };
  const ImportFile& main = files[unit.main];
  add(main);
  if (unit.pairedVideo) {
    add(files[*unit.pairedVideo]);
  } else if (!main.existingAsset && main.probe.embeddedMovieLength > 0) {
    ++size.parts;
    size.bytes += std::clamp<std::int64_t>(main.probe.embeddedMovieLength, 0, main.size);
  }
  return size;
}

}  // namespace quorvin
