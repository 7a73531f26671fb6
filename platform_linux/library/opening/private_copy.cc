// Two files make the state of a catalogue: what a commit changes comes into the log first, and the
// log is begun anew only when all of it stands in the catalogue. So the catalogue is copied before
// the log, and when neither was touched in between, the copies belong together. The copy is looked
// through all the same: a clock of another machine may be too coarse to tell.
#include "platform_linux/library/opening/private_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/temporary_directory.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/database/sqlite.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr int kMostAttempts = 3;
constexpr std::array<const char*, 2> kParts = {"", "-wal"};

using PathHolder = std::shared_ptr<const std::string>;

Failure cannotCopy(const LibraryFolder& folder, int error) {
  return systemFailure("the catalogue “" + folder.catalogue() + "” cannot be copied to read it",
                       error);
}

Failure changesAllTheTime(const LibraryFolder& folder) {
  return Failure(LibraryErrorCode::operationInterrupted,
                 "the catalogue “" + folder.catalogue() +
                     "” cannot be read while it is being changed from elsewhere.");
}

Result<PathHolder> newPlace(const LibraryFolder& folder) {
  std::string pattern = temporaryParent() + "/quorvin-catalogue-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) return cannotCopy(folder, errno);
  return PathHolder(new std::string(pattern + "/" + LibraryFolder::kCatalogue),
                    [](const std::string* path) {
                      std::error_code error;
                      fs::remove_all(fs::path(*path).parent_path(), error);
                      delete path;
                    });
}

/// Tells whether a file was written to; nothing of a file that is not there.
struct Trace {
  std::int64_t size = -1;
  ino_t number = 0;
  std::array<std::int64_t, 4> times = {};
  friend bool operator==(const Trace&, const Trace&) = default;
};

std::array<Trace, kParts.size()> tracesOf(const LibraryFolder& folder) {
  std::array<Trace, kParts.size()> traces;
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    struct stat status = {};
    // Opened, not only asked about: file systems of networks look anew then.
    const FileDescriptor file =
        folder.held->openRegularFile(std::string(LibraryFolder::kCatalogue) + kParts[i]);
    if (!file || ::fstat(file.get(), &status) != 0) continue;
    traces[i] = {status.st_size,
                 status.st_ino,
                 {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
                  status.st_ctim.tv_nsec}};
  }
  return traces;
}

// 0, or why it could not be copied. A file that is not there is copied as an empty one.
int copyPart(const LibraryFolder& folder, const char* part, const std::string& path) {
  constexpr mode_t kPrivate = 0600;
  const FileDescriptor to(
      ::open((path + part).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kPrivate));
  if (!to) return errno;
  const FileDescriptor from =
      folder.held->openRegularFile(std::string(LibraryFolder::kCatalogue) + part);
  struct stat status = {};
  if (!from) return errno == ENOENT ? 0 : errno;
  if (::fstat(from.get(), &status) != 0) return errno;
  const auto failure = copyContent(from.get(), 0, status.st_size, to.get());
  return failure ? failure->errorNumber : 0;
}

// False when somebody wrote meanwhile.
Result<bool> copyOnce(const LibraryFolder& folder, const std::string& path) {
  const auto before = tracesOf(folder);
  int error = 0;
  for (const char* part : kParts) {
    if (error == 0) error = copyPart(folder, part, path);
  }
  if (tracesOf(folder) != before) return false;
  if (error != 0) return cannotCopy(folder, error);
  return true;
}

// Brings the log into the copy, and the copy up to date. False when the copy is not sound.
Result<bool> finish(const LibraryFolder& folder, const std::string& path) {
  auto database = Database::open(path, Database::Use::write);
  if (!database) {
    return database.error().isOfCatalogue ? needsRescue(folder.catalogue()) : database.error();
  }
  const auto state = catalogueState(**database);
  if (!state) return state.error().isOfCatalogue ? needsRescue(folder.catalogue()) : state.error();
  if (!(*database)->isSound()) return false;
  if (*state == CatalogueState::older) {
    const auto done = migrate(**database, 0);
    if (!done) return done.error();
  }
  (*database)->emptyLog();
  struct stat log = {};
  if (::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0) {
    return (*database)->lastError("the catalogue “" + folder.catalogue() + "” cannot be read");
  }
  return true;
}

}  // namespace

Result<PathHolder> copyPrivately(const LibraryFolder& folder) {
  auto place = newPlace(folder);
  if (!place) return place;
  bool isCopied = false;
  for (int i = 0; i < kMostAttempts; ++i) {
    const auto copied = copyOnce(folder, **place);
    if (!copied) return copied.error();
    isCopied = *copied;
    if (!isCopied) continue;
    const auto finished = finish(folder, **place);
    if (!finished) return finished.error();
    if (*finished) return place;
  }
  return isCopied ? needsRescue(folder.catalogue()) : changesAllTheTime(folder);
}

}  // namespace quorvin
