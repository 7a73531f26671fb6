// A copy of the imported library that a test changes, files to save, and what the library shows.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "testing/engine/exports.h"

namespace quorvin {

using Names = std::vector<std::string>;

/// Calls of `channel` go to an engine on the copy, at `path()`.
class LibraryCopy {
 public:
  LibraryCopy();

  std::filesystem::path path() const { return channel.folder() / "copy"; }
  /// The engine ends, and another begins on the copy as it is now.
  void reopen() { channel.use(path()); }

  /// A copy of a file of the generated media under another name, modified just now.
  std::filesystem::path incoming(const std::filesystem::path& source, const std::string& name);

  /// Saves a file, into an album if one is given, and returns the new asset's record.
  Value save(const std::string& method, const std::filesystem::path& file, Value collection = {});
  FlutterError saveError(const std::string& method, const std::filesystem::path& file,
                         Value collection = {});
  /// The new album's identifier.
  std::string createAlbum(const std::string& title);
  void remove(const Names& identifiers);

  /// The identifiers that a gallery lists.
  Names listed(const std::string& collection, int sort = kNewestFirst);
  Names recents(int sort = kNewestFirst) { return listed(channel.gallery("Recents"), sort); }
  /// The gallery's total as the list of galleries has it.
  std::int64_t total(const std::string& collection);
  /// The media files that the library keeps.
  Names originals() { return filesIn(path() / "originals"); }
  /// Everything that a change may add to, to be compared later.
  Names everything();

  FlutterError infoError(const std::string& id) {
    return channel.error("getAssetInfo", Map{{"assetId", id}});
  }

  Exports channel;
};

/// The list as an argument.
Map assetIds(const Names& identifiers);

/// The arguments of a call that saves a file, into an album if one is given.
Map fileArguments(const std::filesystem::path& file, Value collection = {});

}  // namespace quorvin
