// Whether the files are what the catalogue says, and nothing else lies around.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/previews/preview_store.h"
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
  const std::string path = std::string(LibraryFolder::kOriginals) + "/" + original.path;
  if (!resourcePathIsOurs(original.path)) {
    run.find(FindingKind::foreignOriginal, named + "lies where the library keeps none.");
    return;
  }
  const FileDescriptor file = run.catalogue.folder().held->openFile(path, O_RDONLY);
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
  const bool hasChecksum = !original.hash.empty();
  if (!run.options.content && hasChecksum) return;
  const auto hash =
      run.options.content || run.options.repair ? hashContent(file.get()) : original.hash;
  if (!hash) {
    run.find(FindingKind::unreadableOriginal, named + "cannot be read to its end.");
  } else if (!hasChecksum) {
    run.find(FindingKind::missingChecksum, named + "has no checksum yet.",
             [&run, &original, &hash] {
               return static_cast<bool>(run.catalogue.change([&](Database& writer) -> Done {
                 if (storeHash(writer, original.path, *hash)) return Null{};
                 return writer.lastError("the checksum cannot be stored");
               }));
             });
  } else if (*hash != original.hash) {
    run.find(FindingKind::changedOriginal, named + "is not what it was when it was added.");
  }
}

bool makePrivateFolders(const Folder& folder, const fs::path& path) {
  constexpr mode_t kPrivate = 0700;
  fs::path made;
  for (const fs::path& part : path) {
    made /= part;
    const int error = folder.makeFolder(made.string(), kPrivate);
    if (error == 0) folder.setMode(made.string(), kPrivate);
    if (error != 0 && error != EEXIST) return false;
  }
  return true;
}

// Moves an original of nobody to where a person finds it. Never over another file.
bool recover(const LibraryFolder& folder, const std::string& path) {
  const Folder& held = *folder.held;
  const std::string source = std::string(LibraryFolder::kOriginals) + "/" + path;
  const fs::path target = fs::path(LibraryFolder::kRecovered) / path;
  if (!makePrivateFolders(held, target.parent_path())) return false;
  constexpr int kMostNames = 1000;
  for (int number = 1; number <= kMostNames; ++number) {
    fs::path free = target;
    if (number > 1) {
      free.replace_filename(target.stem().string() + " " + std::to_string(number) +
                            target.extension().string());
    }
    const int error = held.rename(source, held, free.string(), Folder::Existing::keep);
    if (error == 0) {
      return syncFolder(folder, target.parent_path()) &&
             syncFolder(folder, LibraryFolder::kRecovered) && syncFolder(folder, "") &&
             syncFolder(folder, fs::path(source).parent_path());
    }
    if (error != EEXIST) return false;
  }
  return false;
}

void checkStrayOriginals(CheckRun& run, Database& database) {
  const LibraryFolder& folder = run.catalogue.folder();
  for (const std::string& path : filesBelow(folder, LibraryFolder::kOriginals)) {
    if (isNamed(database, path)) continue;
    // What is on its way in was listed before it came here, and stays so until its row is there or
    // the file is gone again.
    if (announcedOriginals(folder).contains(path) || isNamed(database, path)) continue;
    struct stat status = {};
    const std::string beneath = std::string(LibraryFolder::kOriginals) + "/" + path;
    if (folder.held->status(beneath, status) != 0) continue;
    run.find(FindingKind::strayOriginal, "The file “originals/" + path + "” belongs to no asset.",
             [&folder, &path] { return recover(folder, path); });
  }
}

// What lies there beside the previews' own file is of another program, or of an earlier version.
void checkStrayDerivatives(CheckRun& run) {
  const LibraryFolder& folder = run.catalogue.folder();
  for (const std::string& path : filesBelow(folder, LibraryFolder::kDerivatives)) {
    if (path.starts_with(PreviewStore::kFileName)) continue;
    run.find(FindingKind::strayDerivative,
             "The file “derivatives/" + path + "” is none of the library's.", [&folder, &path] {
               return folder.held->removeFile(std::string(LibraryFolder::kDerivatives) + "/" +
                                              path) == 0;
             });
  }
}

void checkStrayPreviews(CheckRun& run, Database& database) {
  PreviewStore store(run.catalogue.folder());
  std::set<std::string> strays;
  store.forEachOriginal([&](const std::string& name) {
    const std::string path = name.substr(0, 2) + "/" + name;
    const std::string uuid(resourcePathIsOurs(path) ? uuidOfOriginal(path) : name);
    const std::string stem = uuid.substr(0, 2) + "/" + uuid;
    if (!isAnyOriginalNamed(database, stem).value_or(true)) strays.insert(uuid);
  });
  for (const std::string& uuid : strays) {
    run.find(FindingKind::strayDerivative, "The previews of “" + uuid + "” belong to no asset.",
             [&] {
               store.remove({&uuid, 1});
               return true;
             });
  }
}

void checkLeftovers(CheckRun& run) {
  const LibraryFolder& folder = run.catalogue.folder();
  // Whoever copies at this moment keeps its files.
  if (!LibraryLock::tryAcquire(folder, LibraryLock::Area::staging, LibraryLock::Mode::exclusive)) {
    return;
  }
  // The locks of a process that has just died may have been held a moment longer by a child that it
  // was starting, and the opening then left this.
  sweepStaging(folder);
  for (const std::string& path : leftovers(folder)) {
    run.find(FindingKind::leftover, "“" + path + "” was left by a copy that was cut short.",
             [&folder, &path] {
               sweepStaging(folder);
               struct stat status = {};
               return folder.held->status(path, status) == ENOENT;
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
  checkStrayDerivatives(run);
  checkStrayPreviews(run, *database);
}

}  // namespace quorvin
