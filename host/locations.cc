#include "host/locations.h"

#include <dlfcn.h>
#include <link.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform_linux/errors/failure.h"

namespace quorvin {
namespace {

/// The variable's value, empty when it is unset.
std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// Relative paths in the environment count for nothing: they would mean another folder in every
/// working directory.
std::string absoluteEnvironment(const char* name) {
  std::string value = environment(name);
  if (!value.starts_with('/')) value.clear();
  return value;
}

std::string homeFolder() {
  std::string home = absoluteEnvironment("HOME");
  if (!home.empty()) return home;
  std::array<char, 4096> texts{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/') {
    return found->pw_dir;
  }
  return "";
}

/// The shared library or program that holds this code.
struct OwnFile {
  std::filesystem::path folder;
  bool isLibrary = false;
};

OwnFile ownFile() {
  Dl_info info{};
  void* extra = nullptr;
  const int found =
      dladdr1(reinterpret_cast<const void*>(&ownFile), &info, &extra, RTLD_DL_LINKMAP);
  const auto* map = static_cast<const link_map*>(extra);
  // The program itself has no name of its own in the loader's list.
  const bool isLibrary = found != 0 && map != nullptr && map->l_name[0] != '\0';
  std::error_code failed;
  const auto path = std::filesystem::canonical(isLibrary ? map->l_name : "/proc/self/exe", failed);
  return {path.parent_path(), isLibrary};
}

/// The folder that the variable names, else one in the user's home. Empty when there is none.
std::string userFolder(const char* variable, const char* inHome) {
  const std::string named = absoluteEnvironment(variable);
  const std::string home = named.empty() ? homeFolder() : "";
  return home.empty() ? named : home + inHome;
}

}  // namespace

Result<std::string> defaultLibraryPath() {
  const std::string data = userFolder("XDG_DATA_HOME", "/.local/share");
  if (!data.empty()) return data + "/quorvin/library";
  return Failure(LibraryErrorCode::internal,
                 "There is no default library: the user has no home folder.");
}

std::string failedFilesPath() {
  const std::string state = userFolder("XDG_STATE_HOME", "/.local/state");
  return state.empty() ? "" : state + "/quorvin/failed";
}

std::string mediaWorkerProgram() {
  const std::string named = environment("QUORVIN_MEDIA_WORKER");
  if (!named.empty()) {
    std::error_code failed;
    const auto absolute = std::filesystem::absolute(named, failed);
    return failed ? named : absolute.string();
  }
  const OwnFile own = ownFile();
  const std::filesystem::path beside = own.folder / "quorvin-media";
  if (access(beside.c_str(), X_OK) == 0) return beside;
  // The two lie equally deep in some layouts. NOLINTNEXTLINE(bugprone-branch-clone)
  const char* installed = own.isLibrary ? QUORVIN_WORKER_FROM_LIBRARY : QUORVIN_WORKER_FROM_PROGRAM;
  return (own.folder / installed).lexically_normal();
}

}  // namespace quorvin
