#include "platform_linux/library/import/staged_file.h"

#include <algorithm>
#include <utility>

#include "platform_linux/library/values/identifiers.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

bool isEnd(const Failure& failure) {
  return failure.is(LibraryErrorCode::notEnoughSpace);
}

void fail(StagedFile& staged, const Failure& failure) {
  (isEnd(failure) ? staged.end : staged.refusal) = failure;
}

}  // namespace

StagedFile stageFile(OriginalCopies& copies, const std::vector<ImportFile>& files,
                     std::size_t index, const BytesListener& copied) {
  const ImportFile& file = files[index];
  StagedFile staged;
  staged.index = index;
  staged.file = &file;
  staged.existingAsset = file.existingAsset;
  if (staged.existingAsset) return staged;
  const std::string uuid = newUuid();
  auto copy = copies.copyFile(file, uuid, false, copied);
  if (!copy) {
    fail(staged, copy.error());
    return staged;
  }
  staged.copy = *std::move(copy);
  staged.copy->asset = newAssetOf(uuid + "/L0/001", file);
  staged.copy->asset.sourceFolder = folderNumber(file.folder);
  if (file.probe.embeddedMovieLength <= 0) return staged;
  auto movie = copies.copyEmbeddedMovie(file, uuid);
  if (movie) {
    staged.embeddedMovie = *std::move(movie);
    staged.embeddedMovie->asset = staged.copy->asset;
    staged.embeddedMovie->isPaired = true;
  } else if (isEnd(movie.error())) {
    discard(copies, staged);
    staged.copy.reset();
    staged.end = movie.error();
  }
  // The photo holds its movie anyway, so it is taken also when the part cannot be cut out.
  return staged;
}

bool discard(const OriginalCopies& copies, const StagedFile& staged) {
  bool gone = true;
  for (const std::optional<OriginalCopy>* copy : {&staged.copy, &staged.embeddedMovie}) {
    if (*copy) gone = copies.remove(**copy) && gone;
  }
  return gone;
}

StagedSize sizeOf(const ImportFile& file) {
  StagedSize size{.bytes = 0, .files = 1};
  if (file.existingAsset) return size;
  size.bytes = file.size;
  if (file.probe.embeddedMovieLength > 0) {
    ++size.files;
    size.bytes += std::clamp<std::int64_t>(file.probe.embeddedMovieLength, 0, file.size);
  }
  return size;
}

}  // namespace quorvin
