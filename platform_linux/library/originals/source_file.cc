#include "platform_linux/library/originals/source_file.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/originals/file_content.h"

namespace quorvin {

std::int64_t modificationTime(const struct stat& status) {
  return status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
}

Result<FileDescriptor> openSource(const std::string& path) {
  // The system would take what stands before it for the whole path.
  if (path.find('\0') != std::string::npos) return systemFailure("The file cannot be read", ENOENT);
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    return systemFailure("The file cannot be read", errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return Failure(LibraryErrorCode::invalidResource, "It is not a regular file.");
  }
  if (status.st_size == 0) {
    return Failure(LibraryErrorCode::invalidResource, "The file is empty.");
  }
  return file;
}

SourceFile describeSource(const FileDescriptor& source, const std::string& path) {
  struct stat status = {};
  ::fstat(source.get(), &status);
  const std::filesystem::path asPath = path;
  std::error_code error;
  SourceFile file;
  file.path = path;
  file.folder =
      std::filesystem::canonical(asPath.has_parent_path() ? asPath.parent_path() : ".", error)
          .string();
  file.name = asPath.filename().string();
  file.size = status.st_size;
  file.modified = modificationTime(status);
  file.device = status.st_dev;
  file.inode = status.st_ino;
  return file;
}

NewAsset newAssetOf(const std::string& identifier, const SourceFile& file) {
  NewAsset asset;
  asset.identifier = identifier;
  asset.probe = file.probe;
  asset.probe.burstIdentifier = validUtf8(file.probe.burstIdentifier);
  asset.probe.contentIdentifier = validUtf8(file.probe.contentIdentifier);
  asset.modified = file.modified;
  asset.added = std::chrono::duration_cast<std::chrono::nanoseconds>(
                    std::chrono::system_clock::now().time_since_epoch())
                    .count();
  return asset;
}

}  // namespace quorvin
