#include "platform_linux/library/opening/obstacle.h"

#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform_linux/files/file_system_reach.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

// Of the folder, or of what it will be made in.
Reach reachOfPlace(const LibraryFolder& folder) {
  Folder above;
  for (fs::path path = folder.root; !folder.held && !above; path = path.parent_path()) {
    above = Folder::open(path.string());
    if (!path.has_relative_path()) break;
  }
  struct statfs status = {};
  const int held = folder.held ? folder.held->descriptor() : above.descriptor();
  if (::fstatfs(held, &status) != 0) return Reach::uncertain;
  return reachOf(static_cast<std::uint32_t>(status.f_type));
}

// 0 also where there is no such file.
int errorOfWriting(const Folder& folder, const char* path) {
  if (::faccessat(folder.descriptor(), path, W_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0) return 0;
  return errno == EROFS || errno == EACCES || errno == EPERM ? errno : 0;
}

std::string because(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::volume:
      return " because its volume is read-only.";
    case Obstacle::permission:
      return " because you don’t have permission to write to it.";
    default:
      return " because it lies on a network file system, where locks cannot be trusted.";
  }
}

}  // namespace

Obstacle obstacleTo(const LibraryFolder& folder) {
  if (reachOfPlace(folder) == Reach::network) return Obstacle::network;
  if (!folder.held) return Obstacle::none;
  int error = errorOfWriting(*folder.held, ".");
  for (const std::string_view name : LibraryFolder::kFiles) {
    if (error == 0) error = errorOfWriting(*folder.held, std::string(name).c_str());
  }
  if (error == EROFS) return Obstacle::volume;
  return error == 0 ? Obstacle::none : Obstacle::permission;
}

Failure onlyRead(const LibraryFolder& folder, Obstacle obstacle) {
  std::string reason = "the library “" + folder.root + "” can only be read" + because(obstacle);
  if (obstacle == Obstacle::network) reason += " Copy it to a local disk to change it.";
  return {LibraryErrorCode::changeNotSupported, reason};
}

std::optional<Failure> refusalOfChanges(const LibraryFolder& folder) {
  const Obstacle obstacle = folder.held ? obstacleTo(folder) : Obstacle::none;
  if (obstacle == Obstacle::none) return std::nullopt;
  return onlyRead(folder, obstacle);
}

Failure cannotBeMade(const LibraryFolder& folder, Obstacle obstacle) {
  std::string reason = "the library “" + folder.root + "” cannot be made" + because(obstacle);
  if (obstacle == Obstacle::network) reason += " Choose a folder on a local disk.";
  return {LibraryErrorCode::changeNotSupported, reason};
}

bool isUnchanging(const LibraryFolder& folder) {
  if (reachOfPlace(folder) != Reach::thisMachine) return false;
  std::ifstream told("/proc/self/fdinfo/" + std::to_string(folder.held->descriptor()));
  std::string mount;
  for (std::string word; mount.empty() && told >> word;) {
    if (word == "mnt_id:") told >> mount;
  }
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    if (mount.empty() || !line.starts_with(mount + " ")) continue;
    // Behind the dash: the type, the source, and the options of the file system itself.
    const std::size_t dash = line.find(" - ");
    std::istringstream words(dash == line.npos ? "" : line.substr(dash + 3));
    std::string type;
    std::string source;
    std::string options;
    words >> type >> source >> options;
    return options == "ro" || options.starts_with("ro,");
  }
  return false;
}

}  // namespace quorvin
