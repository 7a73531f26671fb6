#include "platform_linux/library/originals/original_copies.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/original_record.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

PHAssetResourceType resourceType(MediaKind kind) {
  switch (kind) {
    case MediaKind::image:
      return PHAssetResourceType::photo;
    case MediaKind::video:
      return PHAssetResourceType::video;
    case MediaKind::audio:
      return PHAssetResourceType::audio;
  }
  return PHAssetResourceType::photo;
}

// The source's own extension where it is a plain one, for players go by it; else the content's.
std::string storedExtension(const SourceFile& file) {
  const std::size_t stem = nameStem(file.name).size();
  const std::string own = stem == file.name.size() ? "" : file.name.substr(stem + 1);
  return isPlainExtension(own) ? own : file.probe.extension;
}

bool isUnchanged(const struct stat& status, const SourceFile& file) {
  return status.st_dev == file.device && status.st_ino == file.inode &&
         status.st_size == file.size && modificationTime(status) == file.modified;
}

}  // namespace

Result<OriginalCopy> OriginalCopies::copyFile(const SourceFile& file, const std::string& uuid,
                                              bool isPaired) {
  OriginalCopy copy;
  copy.resource = {.type = resourceType(file.probe.kind),
                   .name = validUtf8(file.name),
                   .uniformTypeIdentifier = validUtf8(file.probe.uniformTypeIdentifier),
                   .path = originalPath(uuid, isPaired, storedExtension(file)),
                   .size = file.size,
                   .hash = {},
                   .orientation = file.probe.orientation};
  const auto source = openSource(folder_, file.path);
  if (!source) return source.error();
  if (auto copied = copyInto(copy, source->get(), 0, file.size); !copied) return copied.error();
  struct stat status = {};
  if (::fstat(source->get(), &status) != 0 || !isUnchanged(status, file)) {
    remove(copy);
    return Failure(LibraryErrorCode::invalidResource, "the file changed while it was read.");
  }
  const struct timespec times[2] = {status.st_atim, status.st_mtim};
  ::futimens(copy.content.get(), times);
  return copy;
}

Result<OriginalCopy> OriginalCopies::copyEmbeddedMovie(const SourceFile& file,
                                                       const std::string& uuid) {
  const std::int64_t offset = file.probe.embeddedMovieOffset;
  const std::int64_t length = file.probe.embeddedMovieLength;
  if (offset <= 0 || offset >= file.size || length > file.size - offset) {
    return Failure(LibraryErrorCode::invalidResource, "the movie lies outside the file.");
  }
  OriginalCopy copy;
  copy.resource = {.type = PHAssetResourceType::pairedVideo,
                   .name = validUtf8(nameStem(file.name) + ".MP4"),
                   .uniformTypeIdentifier = "public.mpeg-4",
                   .path = originalPath(uuid, true, "MP4"),
                   .size = length,
                   .hash = {},
                   .orientation = 1};
  const auto source = openSource(folder_, file.path);
  if (!source) return source.error();
  if (auto copied = copyInto(copy, source->get(), offset, length); !copied) return copied.error();
  return copy;
}

Done OriginalCopies::copyInto(OriginalCopy& copy, int source, std::int64_t offset,
                              std::int64_t length) {
  copy.place = staging_.path() + "/" + std::to_string(number_++);
  copy.content = folder_.held->openFile(copy.place, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!copy.content) return systemFailure("the copy cannot be made", errno);
  Done copied = Null{};
  if (const auto failure = copyContent(source, offset, length, copy.content.get())) {
    copied = systemFailure(
        failure->isOfSource ? "the file cannot be read" : "the copy cannot be written",
        failure->errorNumber);
  }
  if (copied) {
    // On its way to the disk while it is read once more.
    ::sync_file_range(copy.content.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    // Of the copy, which nobody can change any more.
    auto hash = hashContent(copy.content.get());
    if (hash) {
      copy.resource.hash = *std::move(hash);
    } else {
      copied = hash.error();
    }
  }
  if (!copied) remove(copy);
  return copied;
}

Done OriginalCopies::place(const std::vector<OriginalCopy*>& copies) {
  std::vector<std::string> paths;
  paths.reserve(copies.size());
  for (const OriginalCopy* copy : copies) paths.push_back(copy->resource.path);
  for (const OriginalCopy* copy : copies) {
    OriginalRecord record{copy->asset, copy->resource};
    if (copy->isPaired) record.resource.type = PHAssetResourceType::pairedVideo;
    if (auto written = writeRecord(folder_, copy->content.get(), record); !written) return written;
    if (::fchmod(copy->content.get(), 0400) != 0) {
      return systemFailure("the copy of “" + copy->resource.name + "” cannot be made", errno);
    }
    if (::fsync(copy->content.get()) != 0) {
      return systemFailure("the copy of “" + copy->resource.name + "” cannot be made durable",
                           errno);
    }
  }
  if (auto announced = staging_.announce(paths); !announced) return announced;
  constexpr mode_t kPrivate = 0700;
  const std::string originals = LibraryFolder::kOriginals;
  std::set<std::string> folders;
  for (OriginalCopy* copy : copies) {
    const std::string target = originals + "/" + copy->resource.path;
    const std::string folder = target.substr(0, target.rfind('/'));
    if (folder_.held->makeFolder(folder, kPrivate) == 0) {
      folder_.held->setMode(folder, kPrivate);
      folders.insert(originals);
    }
    folders.insert(folder);
    if (const int error =
            folder_.held->rename(copy->place, *folder_.held, target, Folder::Existing::replace);
        error != 0) {
      return systemFailure("the copy of “" + copy->resource.name + "” cannot be stored", error);
    }
    copy->place = target;
  }
  for (const std::string& folder : folders) {
    if (auto synced = syncFolder(folder_, folder); !synced) return synced;
  }
  return Null{};
}

bool OriginalCopies::remove(const OriginalCopy& copy) const {
  if (copy.place.empty()) return true;
  removeRecord(folder_, copy.resource.path);
  const int error = folder_.held->removeFile(copy.place);
  return error == 0 || error == ENOENT;
}

}  // namespace quorvin
