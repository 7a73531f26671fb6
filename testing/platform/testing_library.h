// What tests of the library share: rows planted in a catalogue, and a library of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/fetch/library.h"
#include "testing/platform/testing_folder.h"

struct sqlite3;

namespace quorvin {

/// An asset's row as a test wants it.
struct PlantedAsset {
  std::int64_t mediaType = 1;
  std::optional<std::int64_t> created = 0;  ///< nanoseconds
  std::int64_t subtypes = 0;
  bool favorite = false;
  bool hidden = false;
  std::optional<std::string> burst;
  bool represents = false;
  std::int64_t burstSelection = 0;
  bool frontCamera = false;
  bool animated = false;
  bool raw = false;
};

/// Writes to a library's catalogue from outside, as another program would.
class Gardener {
 public:
  explicit Gardener(const std::string& library);
  ~Gardener();
  Gardener(const Gardener&) = delete;
  Gardener& operator=(const Gardener&) = delete;

  void run(const std::string& sql);
  std::int64_t integer(const std::string& sql) { return std::stoll(text(sql)); }
  /// All values of all rows.
  std::string text(const std::string& sql);

  /// The new asset's identifier.
  std::string plant(const PlantedAsset& asset);
  /// The new album's identifier.
  std::string plantAlbum(const std::string& title, std::int64_t subtype = 2);
  void addToAlbum(const std::string& album, const std::string& asset);

  /// Makes the catalogue what the first version of the program would have made it.
  void makeFirstVersion();

 private:
  sqlite3* connection_ = nullptr;
};

/// A library in a folder of its own, with full access.
struct TestLibrary {
  TemporaryFolder folder;
  std::unique_ptr<Library> library = open();
  Gardener gardener{folder / "library"};

  std::unique_ptr<Library> open(
      std::optional<PHAuthorizationStatus> status = PHAuthorizationStatus::authorized) const;

  /// The smart album of this subtype.
  std::shared_ptr<const PHAssetCollection> smart(std::int64_t subtype);
  std::vector<std::string> list(const PHAssetCollection& album, const PHFetchOptions& options = {});
  static std::vector<std::string> identifiersOf(const PHFetchResult<PHAsset>& result);
};

PHFetchOptions byDate(bool ascending, std::size_t limit = 0);
PHFetchOptions ofType(std::int32_t mediaType);

}  // namespace quorvin
