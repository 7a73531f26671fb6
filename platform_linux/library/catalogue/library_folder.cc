#include "platform_linux/library/catalogue/library_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPrivateFolder = 0700;
constexpr mode_t kPrivateFile = 0600;

constexpr std::array<std::string_view, 3> kFolders = {
    LibraryFolder::kOriginals, LibraryFolder::kDerivatives, LibraryFolder::kIncoming};

constexpr std::array<std::string_view, 3> kSignsOfUse = {
    LibraryFolder::kOriginals, LibraryFolder::kRecovered, LibraryFolder::kSnapshots};

bool isOneOf(std::span<const std::string_view> names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

Failure notALibrary(const LibraryFolder& folder, const std::string& why) {
  return Failure(LibraryErrorCode::invalidResource,
                 "the folder “" + folder.root + "” is not a photo library: " + why + ".");
}

// What is wrong with a part of a library that is none of the kind that this program makes.
std::optional<std::string> faultOf(const Folder::Entry& entry) {
  const std::string named = "“" + entry.name + "” is not a ";
  if (entry.kind != Folder::Kind::folder && isOneOf(kFolders, entry.name)) return named + "folder";
  if (entry.kind != Folder::Kind::file && isOneOf(LibraryFolder::kFiles, entry.name)) {
    return named + "regular file";
  }
  return std::nullopt;
}

// True for what is there after a creation that was cut short before there was a catalogue.
bool isLeftByCreation(const LibraryFolder& folder, const Folder::Entry& entry) {
  if (isOneOf(kFolders, entry.name)) {
    std::vector<Folder::Entry> entries;
    const Folder opened = folder.held->openFolder(entry.name);
    return opened && opened.list(entries) == 0 && entries.empty();
  }
  if (entry.name == LibraryFolder::kReserve) return entry.kind == Folder::Kind::file;
  struct stat status = {};
  return entry.name == LibraryFolder::kLockFile && entry.kind == Folder::Kind::file &&
         folder.held->status(entry.name, status) == 0 && status.st_size == 0;
}

// Makes what is missing of the path, each part durable in the one above it. Somebody else may make
// it at the same time.
int makeDurably(const fs::path& path, mode_t mode) {
  constexpr mode_t kUsual = 0777;
  if (::mkdir(path.c_str(), mode) != 0) {
    if (errno == EEXIST) return 0;
    if (errno != ENOENT || !path.has_relative_path()) return errno;
    if (const int error = makeDurably(path.parent_path(), kUsual); error != 0) return error;
    if (::mkdir(path.c_str(), mode) != 0) return errno == EEXIST ? 0 : errno;
  }
  const Folder above = Folder::open(path.parent_path());
  const int error = above ? above.sync() : errno;
  // Who may not read it cannot wait for it either.
  return error == EACCES ? 0 : error;
}

}  // namespace

std::string LibraryFolder::catalogueFile() const {
  std::error_code error;
  fs::path real = fs::read_symlink("/proc/self/fd/" + std::to_string(held->descriptor()), error);
  if (error || !real.is_absolute()) real = fs::canonical(root, error);
  return (error ? fs::path(root) : real) / kCatalogue;
}

Result<LibraryFolder> libraryFolderAt(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error).lexically_normal();
  if (path.empty() || error) {
    return Failure(LibraryErrorCode::invalidResource, "a library needs the path of a folder.");
  }
  LibraryFolder folder;
  folder.root = absolute.string();
  while (folder.root.size() > 1 && folder.root.back() == '/') folder.root.pop_back();
  if (Folder held = Folder::open(folder.root)) {
    folder.held = std::make_shared<const Folder>(std::move(held));
  }
  return folder;
}

Result<FolderState> folderState(const LibraryFolder& folder) {
  const std::string unreadable = "the library “" + folder.root + "” cannot be read";
  if (folder.held == nullptr) {
    std::error_code error;
    const fs::file_status status = fs::status(folder.root, error);
    // Also one that somebody else has made just now.
    if (status.type() == fs::file_type::not_found || fs::is_directory(status)) {
      return FolderState::missing;
    }
    if (error) return systemFailure(unreadable, error.value());
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + folder.root + "” is not a folder, so it cannot be a photo library.");
  }
  std::vector<Folder::Entry> entries;
  if (const int error = folder.held->list(entries); error != 0) {
    return systemFailure(unreadable, error);
  }
  std::string strange;
  bool hasCatalogue = false;
  for (const Folder::Entry& entry : entries) {
    if (const auto fault = faultOf(entry)) return notALibrary(folder, *fault);
    if (entry.name == LibraryFolder::kCatalogue) hasCatalogue = true;
    if (!isLeftByCreation(folder, entry)) strange = entry.name;
  }
  if (hasCatalogue) return FolderState::catalogue;
  if (wasInUse(folder)) {
    // Somebody else may have made it since the list was read.
    struct stat status = {};
    const bool isLost = folder.held->status(LibraryFolder::kCatalogue, status) != 0;
    return isLost ? FolderState::lost : FolderState::catalogue;
  }
  if (!strange.empty()) {
    return notALibrary(folder, "it holds other things, for example “" + strange + "”");
  }
  return FolderState::empty;
}

bool wasInUse(const LibraryFolder& folder) {
  return std::ranges::any_of(kSignsOfUse, [&folder](std::string_view name) {
    std::vector<Folder::Entry> entries;
    const Folder opened = folder.held->openFolder(name);
    return opened && opened.list(entries) == 0 && !entries.empty();
  });
}

Done makeFolders(LibraryFolder& folder) {
  const std::string failure = "the library “" + folder.root + "” cannot be written to";
  if (folder.held == nullptr) {
    const int error = makeDurably(folder.root, kPrivateFolder);
    if (error != 0) return systemFailure(failure, error);
    Folder held = Folder::open(folder.root);
    if (!held) return systemFailure(failure, errno);
    folder.held = std::make_shared<const Folder>(std::move(held));
    folder.held->setMode(kPrivateFolder);
  }
  bool isAnyMade = false;
  for (const std::string_view name : kFolders) {
    const int error = folder.held->makeFolder(name, kPrivateFolder);
    if (error == 0) {
      folder.held->setMode(name, kPrivateFolder);
      isAnyMade = true;
    } else if (struct stat status = {};
               folder.held->status(name, status) != 0 || !S_ISDIR(status.st_mode)) {
      return systemFailure(failure, error);
    }
  }
  const FileDescriptor lock =
      folder.held->openFile(LibraryFolder::kLockFile, O_RDWR | O_CREAT, kPrivateFile);
  if (!lock) return systemFailure(failure, errno);
  if (isAnyMade) return syncFolder(folder, "");
  return Null{};
}

Done syncFolder(const LibraryFolder& folder, const std::string& path) {
  int error = 0;
  if (path.empty()) {
    error = folder.held->sync();
  } else {
    const Folder part = folder.held->openFolder(path);
    error = part ? part.sync() : errno;
  }
  if (error == 0) return Null{};
  return systemFailure(
      "the folder “" + folder.root + (path.empty() ? "" : "/" + path) + "” cannot be made durable",
      error);
}

}  // namespace quorvin
