#include "platform_linux/library/catalogue/library_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

Failure notALibrary(const LibraryFolder& folder, const std::string& why) {
  return Failure(LibraryErrorCode::invalidResource,
                 "The folder “" + folder.root + "” is not a photo library: " + why + ".");
}

bool isEmptyFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(fs::symlink_status(path, error)) && fs::is_empty(path, error) && !error;
}

// True for what is there after a creation that was cut short before there was a catalogue.
bool isLeftByCreation(const fs::directory_entry& entry) {
  const std::string name = entry.path().filename().string();
  if (name == "originals" || name == "derivatives" || name == "incoming") {
    return isEmptyFolder(entry.path());
  }
  std::error_code error;
  return name == "library.lock" && entry.is_regular_file(error) && entry.file_size(error) == 0;
}

}  // namespace

Result<LibraryFolder> libraryFolderAt(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error).lexically_normal();
  if (path.empty() || error) {
    return Failure(LibraryErrorCode::invalidResource, "A library needs the path of a folder.");
  }
  std::string root = absolute.string();
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  return LibraryFolder{root};
}

Result<FolderState> folderState(const LibraryFolder& folder) {
  std::error_code error;
  const fs::file_status status = fs::status(folder.root, error);
  if (status.type() == fs::file_type::not_found) return FolderState::missing;
  const std::string unreadable = "The library “" + folder.root + "” cannot be read";
  if (error) return systemFailure(unreadable, error.value());
  if (!fs::is_directory(status)) {
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + folder.root + "” is not a folder, so it cannot be a photo library.");
  }
  fs::directory_iterator entries(folder.root, error);
  if (error) return systemFailure(unreadable, error.value());
  std::string strange;
  bool hasCatalogue = false;
  for (; entries != fs::directory_iterator(); entries.increment(error)) {
    if (entries->path().filename() == "library.sqlite") hasCatalogue = true;
    if (!isLeftByCreation(*entries)) strange = entries->path().filename().string();
    if (error) break;
  }
  if (error) return systemFailure(unreadable, error.value());
  if (hasCatalogue) return FolderState::catalogue;
  if (strange == "originals" || strange == "recovered") {
    return notALibrary(folder, "it holds originals, but its catalogue “library.sqlite” is missing");
  }
  if (!strange.empty()) {
    return notALibrary(folder, "it holds other things, for example “" + strange + "”");
  }
  return FolderState::empty;
}

Done makeFolders(const LibraryFolder& folder) {
  std::error_code error;
  const std::string failure = "The library “" + folder.root + "” cannot be written to";
  for (const std::string& path :
       {folder.root, folder.originals(), folder.derivatives(), folder.incoming()}) {
    fs::create_directories(path, error);
    if (error) return systemFailure(failure, error.value());
  }
  const FileDescriptor lock(
      ::open(folder.lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
  if (!lock) return systemFailure(failure, errno);
  return Null{};
}

}  // namespace quorvin
