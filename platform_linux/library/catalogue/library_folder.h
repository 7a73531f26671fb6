// Where the parts of a library are.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/folder.h"
#include "platform_linux/files/space_reserve.h"

namespace quorvin {

/// A library may come from anywhere and hold anything. Whatever is opened, listed, moved or removed
/// in it is therefore found beneath the folder that is held, so that no link in it leads elsewhere.
/// Only SQLite opens its files by their path, once it is known that they are no links.
struct LibraryFolder {
  std::string root;                    ///< absolute
  std::shared_ptr<const Folder> held;  ///< null as long as it is missing
  std::optional<Failure> refusal;      ///< of every change: the library can only be read

  // For people, and for SQLite.
  std::string catalogue() const { return root + "/" + kCatalogue; }
  std::string lockFile() const { return root + "/" + kLockFile; }
  /// Without links, which SQLite would not follow.
  std::string catalogueFile() const;

  /// Whoever holds the writer lock changes it. Not while the folder is missing.
  SpaceReserve reserve() const { return {*held, kReserve}; }

  // Beneath the folder.
  static constexpr const char* kCatalogue = "library.sqlite";
  static constexpr const char* kLockFile = "library.lock";
  static constexpr const char* kReserve = "library.reserve";  ///< space that is kept back
  static constexpr const char* kOriginals = "originals";      ///< named by identifier
  static constexpr const char* kDerivatives = "derivatives";  ///< can be made again
  static constexpr const char* kIncoming = "incoming";        ///< being copied
  static constexpr const char* kRecovered = "recovered";      ///< originals of no asset
  static constexpr const char* kRecords = "records";          ///< of originals, one by one
  static constexpr const char* kSnapshots = "snapshots";      ///< of the catalogue
  /// SQLite makes the last three of them.
  static constexpr std::array<std::string_view, 6> kFiles = {kLockFile,
                                                             kReserve,
                                                             kCatalogue,
                                                             "library.sqlite-wal",
                                                             "library.sqlite-shm",
                                                             "library.sqlite-journal"};
};

enum class FolderState {
  missing,    ///< there is no such folder
  empty,      ///< nothing in it, or only what an interrupted creation leaves behind
  catalogue,  ///< holds a catalogue
  lost,       ///< holds a library's files, and no catalogue of them
};

/// What stands at the path. An error when it is no folder, cannot be read, or holds anything that
/// is no library; nothing is changed.
Result<FolderState> folderState(const LibraryFolder& folder);

/// True when the folder holds what only a library that was in use has: originals, and what a repair
/// or a snapshot of the catalogue left.
bool wasInUse(const LibraryFolder& folder);

/// Makes the folders and the lock file where they are missing, durably, and closes the library to
/// everybody but its owner.
Done makeFolders(LibraryFolder& folder);

/// Makes the entries of a folder beneath the library's durable; "" is the library's itself.
Done syncFolder(const LibraryFolder& folder, const std::string& path);

/// The path, absolute and without "." and ".." parts; an error for an empty one. The folder is held
/// from now on.
Result<LibraryFolder> libraryFolderAt(const std::string& path);

}  // namespace quorvin
