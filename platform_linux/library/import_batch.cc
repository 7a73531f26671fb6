#include "platform_linux/library/import_batch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform_linux/errors.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/library/file_content.h"
#include "platform_linux/library/identifiers.h"
#include "platform_linux/library/system_error.h"

namespace quorvin {
namespace {

constexpr std::int64_t kMostBytes = 256LL * 1024 * 1024;
constexpr std::size_t kMostParts = 64;

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
std::string storedExtension(const ImportFile& file) {
  const std::size_t stem = nameStem(file.name).size();
  const std::string own = stem == file.name.size() ? "" : file.name.substr(stem + 1);
  const bool isPlain =
      !own.empty() && own.size() <= 10 && std::all_of(own.begin(), own.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      });
  const std::string extension = isPlain ? own : file.probe.extension;
  return extension.empty() ? "" : "." + extension;
}

std::string fanOut(const std::string& uuid) {
  return uuid.substr(0, 2);
}

bool isUnchanged(const struct stat& status, const ImportFile& file) {
  return status.st_dev == file.device && status.st_ino == file.inode &&
         status.st_size == file.size &&
         status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec == file.modified;
}

}  // namespace

Result<FileDescriptor> openSource(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    return systemError("The file cannot be read", errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return libraryError(LibraryErrorCode::invalidResource, "It is not a regular file.");
  }
  if (status.st_size == 0) {
    return libraryError(LibraryErrorCode::invalidResource, "The file is empty.");
  }
  return file;
}

ImportBatch::~ImportBatch() {
  removeFiles(false);
}

bool ImportBatch::isFull() const {
  return bytes_ >= kMostBytes || parts_ >= kMostParts;
}

Result<Null> ImportBatch::add(const std::vector<ImportFile>& files, const ImportUnit& unit,
                              std::vector<std::pair<std::size_t, NSError>>& refused) {
  const std::string uuid = newUuid();
  Unit added{.identifier = uuid + "/L0/001", .main = {}, .pairedVideo = {}};
  const auto isNoSpace = [](const NSError& error) {
    return error.code == static_cast<std::int64_t>(LibraryErrorCode::notEnoughSpace);
  };
  const auto take = [&](std::size_t index, bool isPaired, std::optional<Part>& into) {
    auto part = stage(files, index, uuid, isPaired);
    if (part) {
      into = *std::move(part);
      return std::optional<NSError>();
    }
    if (isNoSpace(part.error())) return std::optional<NSError>(part.error());
    refused.emplace_back(index, part.error());
    return std::optional<NSError>();
  };
  const auto drop = [](const std::optional<Part>& part) {
    if (part && !part->staged.empty()) ::unlink(part->staged.c_str());
  };
  if (auto error = take(unit.main, false, added.main)) return *error;
  if (unit.pairedVideo) {
    // Without its still, a movie is an asset of its own.
    if (auto error = take(*unit.pairedVideo, added.main.has_value(), added.pairedVideo)) {
      drop(added.main);
      return *error;
    }
    if (!added.main) std::swap(added.main, added.pairedVideo);
  } else if (added.main && !added.main->existingAsset &&
             files[unit.main].probe.embeddedMovieLength > 0) {
    auto movie = stageEmbedded(files, unit.main, uuid);
    if (!movie && isNoSpace(movie.error())) {
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
  const ImportFile& file = files[index];
  Part part;
  part.index = index;
  part.file = &file;
  part.existingAsset = file.existingAsset;
  ++parts_;
  if (part.existingAsset) return part;
  part.resource = {
      .type = resourceType(file.probe.kind),
      .name = validUtf8(file.name),
      .uniformTypeIdentifier = validUtf8(file.probe.uniformTypeIdentifier),
      .path = fanOut(uuid) + "/" + uuid + (isPaired ? "-9" : "") + storedExtension(file),
      .size = file.size,
      .hash = {},
      .orientation = file.probe.orientation};
  const auto source = openSource(file.path);
  if (!source) return source.error();
  if (auto copied = copyInto(part, source->get(), 0, file.size); !copied) return copied.error();
  struct stat status = {};
  if (::fstat(source->get(), &status) != 0 || !isUnchanged(status, file)) {
    ::unlink(part.staged.c_str());
    return libraryError(LibraryErrorCode::invalidResource, "The file changed while it was read.");
  }
  const struct timespec times[2] = {status.st_atim, status.st_mtim};
  ::futimens(part.content.get(), times);
  return part;
}

Result<ImportBatch::Part> ImportBatch::stageEmbedded(const std::vector<ImportFile>& files,
                                                     std::size_t index, const std::string& uuid) {
  const ImportFile& file = files[index];
  const std::int64_t offset = file.probe.embeddedMovieOffset;
  const std::int64_t length = file.probe.embeddedMovieLength;
  if (offset <= 0 || offset >= file.size || length > file.size - offset) {
    return libraryError(LibraryErrorCode::invalidResource, "The movie lies outside the file.");
  }
  Part part;
  part.index = index;
  part.file = &file;
  part.isEmbedded = true;
  part.resource = {.type = PHAssetResourceType::pairedVideo,
                   .name = validUtf8(nameStem(file.name) + ".MP4"),
                   .uniformTypeIdentifier = "public.mpeg-4",
                   .path = fanOut(uuid) + "/" + uuid + "-9.MP4",
                   .size = length,
                   .hash = {},
                   .orientation = 1};
  ++parts_;
  const auto source = openSource(file.path);
  if (!source) return source.error();
  if (auto copied = copyInto(part, source->get(), offset, length); !copied) return copied.error();
  return part;
}

Result<Null> ImportBatch::copyInto(Part& part, int source, std::int64_t offset,
                                   std::int64_t length) {
  part.staged = staging_.path() + "/" + std::to_string(stagedNumber_++);
  part.content = FileDescriptor(
      ::open(part.staged.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!part.content) return systemError("The copy cannot be made", errno);
  Result<Null> copied = Null{};
  if (const auto failure = copyContent(source, offset, length, part.content.get())) {
    copied =
        systemError(failure->isOfSource ? "The file cannot be read" : "The copy cannot be written",
                    failure->errorNumber);
  }
  if (copied) {
    // Of the copy, which nobody can change any more.
    auto hash = hashContent(part.content.get());
    if (hash) {
      part.resource.hash = *std::move(hash);
    } else {
      copied = hash.error();
    }
  }
  if (copied && ::fchmod(part.content.get(), 0444) != 0) {
    copied = systemError("The copy cannot be made", errno);
  }
  if (!copied) ::unlink(part.staged.c_str());
  bytes_ += length;
  return copied;
}

std::vector<ImportBatch::Part*> ImportBatch::newParts() {
  std::vector<Part*> parts;
  for (Unit& unit : units_) {
    for (std::optional<Part>* part : {&unit.main, &unit.pairedVideo}) {
      if (*part && !(*part)->existingAsset) parts.push_back(&**part);
    }
  }
  return parts;
}

Result<Null> ImportBatch::place() {
  const std::vector<Part*> parts = newParts();
  std::vector<std::string> paths;
  paths.reserve(parts.size());
  for (const Part* part : parts) paths.push_back(part->resource.path);
  // The contents are on their way to the disk all at once before any is waited for.
  for (const Part* part : parts)
    ::sync_file_range(part->content.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
  for (const Part* part : parts) {
    if (::fsync(part->content.get()) != 0) {
      return systemError("The copy of “" + part->file->path + "” cannot be made durable", errno);
    }
  }
  if (auto announced = staging_.announce(paths); !announced) return announced;
  const std::string originals = catalogue_.folder().originals();
  std::set<std::string> folders;
  for (Part* part : parts) {
    const std::string target = originals + "/" + part->resource.path;
    const std::string folder = target.substr(0, target.rfind('/'));
    if (::mkdir(folder.c_str(), 0777) == 0) folders.insert(originals);
    folders.insert(folder);
    if (::rename(part->staged.c_str(), target.c_str()) != 0) {
      return systemError("The copy of “" + part->file->path + "” cannot be stored", errno);
    }
    part->staged = target;
  }
  for (const std::string& folder : folders) {
    if (auto synced = syncFolder(folder); !synced) return synced;
  }
  return Null{};
}

Result<ImportBatch::Committed> ImportBatch::commit() {
  Committed committed;
  auto done = place();
  if (done) {
    done = catalogue_.change([this, &committed](Database& database) -> Result<Null> {
      for (Unit& unit : units_) {
        if (!store(database, unit, committed)) {
          return database.lastError("The files cannot be stored");
        }
      }
      return Null{};
    });
  }
  removeFiles(static_cast<bool>(done));
  units_.clear();
  bytes_ = 0;
  parts_ = 0;
  if (!done) return done.error();
  return committed;
}

void ImportBatch::removeFiles(bool onlyUnneeded) {
  for (Unit& unit : units_) {
    for (const std::optional<Part>* part : {&unit.main, &unit.pairedVideo}) {
      if (!*part || (*part)->staged.empty()) continue;
      if (!onlyUnneeded || (*part)->isUnneeded) ::unlink((*part)->staged.c_str());
    }
  }
}

}  // namespace quorvin
