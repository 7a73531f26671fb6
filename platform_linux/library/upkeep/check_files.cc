// Whether the files are what the catalogue says, and nothing else lies around.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/originals/file_content.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/upkeep/check_run.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

bool isNamed(Database& database, const std::string& path) {
  return isNamedOriginal(database, path).value_or(false);
}

std::string reason(int errorNumber) {
  return std::generic_category().message(errorNumber) + ".";
}

void checkOriginal(CheckRun& run, Database& database, const OriginalRow& original) {
  const std::string named = "The original “" + original.path + "” of “" + original.name + "” ";
  const std::string path = run.catalogue.folder().originals() + "/" + original.path;
  const FileDescriptor file(
      ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  const int error = errno;
  if (!file && error == ENOENT) {
    // It may have been removed for good meanwhile, with its row.
    if (isNamed(database, original.path))
      run.find(FindingKind::missingOriginal, named + "is missing.");
    return;
  }
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    run.find(FindingKind::unreadableOriginal, named + "cannot be read: " + reason(error));
    return;
  }
  if (!S_ISREG(status.st_mode)) {
    run.find(FindingKind::changedOriginal, named + "is not a regular file any more.");
    return;
  }
  run.report.bytes += status.st_size;
  if (status.st_size != original.size) {
    run.find(FindingKind::changedOriginal, named + "has " + std::to_string(status.st_size) +
                                               " bytes instead of " +
                                               std::to_string(original.size) + ".");
    return;
  }
  const auto hash = hashContent(file.get());
  if (!hash) {
    run.find(FindingKind::unreadableOriginal, named + "cannot be read to its end.");
  } else if (*hash != original.hash) {
    run.find(FindingKind::changedOriginal, named + "is not what it was when it was added.");
  }
}

// Every file below the folder, relative to it.
std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (!fs::is_directory(entry->symlink_status(error))) {
      files.push_back(entry->path().lexically_relative(folder).string());
    }
  }
  return files;
}

// Moves an original of nobody to where a person finds it. Never over another file.
bool recover(const LibraryFolder& folder, const std::string& path) {
  const fs::path source = folder.originals() + "/" + path;
  const fs::path target = folder.recovered() + "/" + path;
  std::error_code error;
  fs::create_directories(target.parent_path(), error);
  if (error) return false;
  constexpr int kMostNames = 1000;
  for (int number = 1; number <= kMostNames; ++number) {
    fs::path free = target;
    if (number > 1) {
      free.replace_filename(target.stem().string() + " " + std::to_string(number) +
                            target.extension().string());
    }
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, free.c_str(), RENAME_NOREPLACE) == 0) {
      return syncFolder(target.parent_path()) && syncFolder(folder.recovered()) &&
             syncFolder(folder.root) && syncFolder(source.parent_path());
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

void checkStrayOriginals(CheckRun& run, Database& database) {
  const LibraryFolder& folder = run.catalogue.folder();
  for (const std::string& path : filesIn(folder.originals())) {
    if (isNamed(database, path)) continue;
    // What is on its way in was listed before it came here, and stays so until its row is there or
    // the file is gone again.
    if (announcedOriginals(folder).contains(path) || isNamed(database, path)) continue;
    std::error_code error;
    if (!fs::exists(fs::symlink_status(folder.originals() + "/" + path, error))) continue;
    run.find(FindingKind::strayOriginal, "The file “originals/" + path + "” belongs to no asset.",
             [&folder, &path] { return recover(folder, path); });
  }
}

void checkStrayDerivatives(CheckRun& run, Database& database) {
  constexpr std::size_t kUuid = 36;
  const LibraryFolder& folder = run.catalogue.folder();
  for (const std::string& path : filesIn(folder.derivatives())) {
    const std::string identifier = fs::path(path).filename().string().substr(0, kUuid) + "/L0/001";
    if (isAsset(database, identifier)) continue;
    run.find(
        FindingKind::strayDerivative, "The preview “derivatives/" + path + "” belongs to no asset.",
        [&folder, &path] { return ::unlink((folder.derivatives() + "/" + path).c_str()) == 0; });
  }
}

void checkLeftovers(CheckRun& run) {
  const LibraryFolder& folder = run.catalogue.folder();
  // Whoever copies at this moment keeps its files.
  if (!LibraryLock::tryAcquire(folder.lockFile(), LibraryLock::Area::staging,
                               LibraryLock::Mode::exclusive)) {
    return;
  }
  // The locks of a process that has just died may have been held a moment longer by a child that it
  // was starting, and the opening then left this.
  sweepStaging(folder);
  std::error_code error;
  for (fs::directory_iterator entry(folder.incoming(), error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path path = entry->path();
    run.find(FindingKind::leftover,
             "“incoming/" + path.filename().string() + "” was left by a copy that was cut short.",
             [&folder, &path] {
               sweepStaging(folder);
               return !fs::exists(path);
             });
  }
}

}  // namespace

void checkOriginals(CheckRun& run) {
  Catalogue::Reader database = run.catalogue.reader();
  if (!database) return;
  run.report.originals = countOriginals(*database);
  if (run.options.originalsFound) {
    run.options.originalsFound(static_cast<std::size_t>(run.report.originals));
  }
  std::vector<OriginalRow> originals = originalsAfter(*database, -1, 0);
  while (!originals.empty()) {
    for (const OriginalRow& original : originals) {
      checkOriginal(run, *database, original);
      if (run.options.originalDone) run.options.originalDone();
    }
    originals = originalsAfter(*database, originals.back().asset, originals.back().position);
  }
}

void checkStrayFiles(CheckRun& run) {
  checkLeftovers(run);
  Catalogue::Reader database = run.catalogue.reader();
  if (!database) return;
  checkStrayOriginals(run, *database);
  checkStrayDerivatives(run, *database);
}

}  // namespace quorvin
