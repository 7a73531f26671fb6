// What the tests of the changes share: a library of the test's own, files to save, and what the
// library shows.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/channel/exports_fixture.h"

namespace quorvin {

/// Calls go to an engine on a copy of the imported library, at `library()`.
class ChangesFixture : public ExportsFixture {
 protected:
  using Names = std::vector<std::string>;

  void SetUp() override;

  /// Never the one on the library that all tests read; null when none of the test's own is open.
  QuorvinEngine* engine() override {
    QuorvinEngine* own = ExportsFixture::engine();
    return own == ChannelFixture::engine() ? nullptr : own;
  }
  std::filesystem::path library() const { return folder() / "copy"; }

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
  Names recents(int sort = kNewestFirst) { return listed(gallery("Recents"), sort); }
  /// The gallery's total as the list of galleries has it.
  std::int64_t total(const std::string& collection);
  /// The media files that the library keeps.
  Names originals() { return filesIn(library() / "originals"); }
  /// Everything that a change may add to, to be compared later.
  Names everything();

  FlutterError infoError(const std::string& id) {
    return error("getAssetInfo", Map{{"assetId", id}});
  }
};

/// The list as an argument.
Map assetIds(const std::vector<std::string>& identifiers);

}  // namespace quorvin
