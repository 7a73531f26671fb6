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
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

PHAssetResourceType resourceType(const MediaProbe& probe) {
  switch (probe.kind) {
    case MediaKind::image:
      return PHAssetResourceType::photo;
    case MediaKind::video:
      return PHAssetResourceType::video;
    case MediaKind::audio:
      return PHAssetResourceType::audio;
    case MediaKind::side:
      return resourceTypeOf(probe.notes.kind);
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
                                              bool isPaired, const BytesListener& copied) {
  OriginalCopy copy;
  copy.resource = {.type = resourceType(file.probe),
                   .name = validUtf8(file.name),
                   .uniformTypeIdentifier = validUtf8(file.probe.uniformTypeIdentifier),
                   .path = originalPath(uuid, isPaired, storedExtension(file)),
                   .size = file.size,
                   .hash = {},
                   .orientation = file.probe.orientation};
  const auto source = openSource(folder_, file.path);
  if (!source) return source.error();
  if (auto done = copyInto(copy, source->get(), 0, file.size, copied); !done) return done.error();
  struct stat status = {};
  if (::fstat(source->get(), &status) != 0 || !isUnchanged(status, file)) {
    remove(copy);
    return Failure(LibraryErrorCode::invalidResource, "the file changed while it was read.");
  }
  copy.isOfThatState = stateOf(status) == static_cast<const SourceState&>(file);
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
  if (auto done = copyInto(copy, source->get(), offset, length, {}); !done) return done.error();
  return copy;
}

Done OriginalCopies::copyInto(OriginalCopy& copy, int source, std::int64_t offset,
                              std::int64_t length, const BytesListener& copied) {
  copy.place = staging_.path() + "/" + std::to_string(number_++);
  copy.content = folder_.held->openFile(copy.place, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!copy.content) return systemFailure("the copy cannot be made", errno);
  Done done = Null{};
  if (const auto failure = copyContent(source, offset, length, copy.content.get(), {}, copied)) {
    done = systemFailure(
        failure->isOfSource ? "the file cannot be read" : "the copy cannot be written",
        failure->errorNumber);
  }
  if (done) {
    // On its way to the disk while it is read once more.
    ::sync_file_range(copy.content.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    // Of the copy, which nobody can change any more.
    auto hash = hashContent(copy.content.get(), copied);
    if (hash) {
      copy.resource.hash = *std::move(hash);
    } else {
      done = hash.error();
    }
  }
  if (!done) remove(copy);
  return done;
}

Done OriginalCopies::place(const std::vector<OriginalCopy*>& copies) {
  if (copies.empty()) return Null{};
  for (const OriginalCopy* copy : copies) {
    OriginalRecord record{copy->asset, copy->resource};
    if (copy->isPaired) record.resource.type = PHAssetResourceType::pairedVideo;
    if (auto written = writeRecord(folder_, copy->content.get(), record); !written) return written;
    if (::fchmod(copy->content.get(), 0400) != 0) {
      return systemFailure("the copy of “" + copy->resource.name + "” cannot be made", errno);
    }
  }
  if (auto done = makeContentsDurable(copies); !done) return done;
  // By a file of the same file system: the folders are found, and cannot be written by. The others
  // are closed, so that there are descriptors for what follows.
  const FileDescriptor any = std::move(copies.front()->content);
  for (OriginalCopy* copy : copies) copy->content = FileDescriptor();
  std::set<std::string> folders;
  for (OriginalCopy* copy : copies) {
    if (auto moved = moveIn(*copy, folders); !moved) return moved;
  }
  if (flush_.all(any.get(), folders.size())) return Null{};
  const std::vector<std::string> each(folders.begin(), folders.end());
  return flush_.each(each.size(), [&](std::size_t i) { return syncFolder(folder_, each[i]); });
}

// And the list of the names that they will have.
Done OriginalCopies::makeContentsDurable(const std::vector<OriginalCopy*>& copies) {
  std::vector<std::string> paths;
  paths.reserve(copies.size());
  for (const OriginalCopy* copy : copies) paths.push_back(copy->resource.path);
  if (auto listed = staging_.list(paths); !listed) return listed;
  if (flush_.all(copies.front()->content.get(), copies.size())) {
    staging_.noteDurable();
    return Null{};
  }
  const auto done = flush_.each(copies.size(), [&copies](std::size_t i) -> Done {
    if (::fsync(copies[i]->content.get()) == 0) return Null{};
    return systemFailure("the copy of “" + copies[i]->resource.name + "” cannot be made durable",
                         errno);
  });
  return done ? staging_.makeListDurable() : done;
}

Done OriginalCopies::moveIn(OriginalCopy& copy, std::set<std::string>& folders) const {
  constexpr mode_t kPrivate = 0700;
  const std::string originals = LibraryFolder::kOriginals;
  const std::string target = originals + "/" + copy.resource.path;
  const std::string folder = target.substr(0, target.rfind('/'));
  if (folder_.held->makeFolder(folder, kPrivate) == 0) {
    folder_.held->setMode(folder, kPrivate);
    folders.insert(originals);
  }
  folders.insert(folder);
  const int error =
      folder_.held->rename(copy.place, *folder_.held, target, Folder::Existing::replace);
  if (error != 0) {
    return systemFailure("the copy of “" + copy.resource.name + "” cannot be stored", error);
  }
  copy.place = target;
  return Null{};
}

bool OriginalCopies::remove(const OriginalCopy& copy) const {
  if (copy.place.empty()) return true;
  removeRecord(folder_, copy.resource.path);
  const int error = folder_.held->removeFile(copy.place);
  return error == 0 || error == ENOENT;
}

}  // namespace quorvin
