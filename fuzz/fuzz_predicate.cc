// Fetches with any condition, order and limit from a small catalogue. What a condition's words are
// understood as, and what a fetch finds, is what plain values say.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz/any_condition.h"
#include "fuzz/planted_assets.h"
#include "fuzz/require.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/places/smart_albums.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

using Rows = std::vector<const PlantedRow*>;

struct Planted {
  TemporaryFolder folder;
  PlantedCatalogue catalogue = plantCatalogue(folder / "library");
  std::unique_ptr<Library> whole = open(PHAuthorizationStatus::authorized);
  std::unique_ptr<Library> limited = open(PHAuthorizationStatus::limited);

  std::unique_ptr<Library> open(PHAuthorizationStatus status) const {
    auto library = Library::open({.path = folder / "library", .authorization = status});
    require(static_cast<bool>(library), "the library opens");
    return *std::move(library);
  }
};

Planted& planted() {
  static Planted all;
  return all;
}

constexpr const char* kSortKeys[] = {
    "creationDate", "modificationDate", "mediaType", "mediaSubtypes",   "pixelWidth",
    "pixelHeight",  "duration",         "favorite",  "isFavorite",      "hidden",
    "isHidden",     "burstIdentifier",  "SELF",      "localIdentifier", "creationDate"};

class Fetch {
 public:
  explicit Fetch(FuzzedDataProvider& data)
      : data_(data), isLimited_(data.ConsumeIntegralInRange(0, 3) == 0) {
    options_.includeHiddenAssets = data.ConsumeBool();
    options_.includeAllBurstAssets = data.ConsumeBool();
    for (int i = data.ConsumeIntegralInRange(0, 2); i > 0; --i) {
      options_.sortDescriptors.push_back({data.PickValueInArray(kSortKeys), data.ConsumeBool()});
    }
    options_.fetchLimit = data.ConsumeBool() ? data.ConsumeIntegralInRange<std::size_t>(0, 30)
                                             : data.ConsumeIntegral<std::size_t>();
    if (data.ConsumeIntegralInRange(0, 7) != 0) {
      SpelledCondition spelled = anyCondition(data);
      require(parsePredicate(spelled.predicate) == spelled.meaning, "words mean what they say");
      options_.predicate = std::move(spelled.predicate);
      condition_ = std::move(spelled.meaning);
    }
  }

  void run() {
    switch (data_.ConsumeIntegralInRange(0, 3)) {
      case 0:
        return fromAlbum();
      case 1:
        return fromBurst();
      case 2:
        return fromIdentifiers();
      default:
        return fromSmartAlbum();
    }
  }

 private:
  Library& library() const { return isLimited_ ? *planted().limited : *planted().whole; }

  void fromSmartAlbum() {
    const SmartAlbum album = data_.PickValueInArray(kSmartAlbums);
    const auto collections = library().fetchAssetCollectionsWithType(
        PHAssetCollectionType::smartAlbum, album.subtype, nullptr);
    require(collections->count() == 1, "there is such an album");
    compare(library().fetchAssetsInAssetCollection(*collections->firstObject(), &options_),
            expected(isAsked(),
                     [&](const PlantedRow& row) { return row.isInSmart.at(album.subtype); }));
  }

  void fromAlbum() {
    PHAssetCollection album;
    album.localIdentifier = planted().catalogue.album;
    album.assetCollectionType = PHAssetCollectionType::album;
    Rows rows = expected(isAsked(), [&](const PlantedRow& row) {
      return row.albumPlace.has_value() && !isLimited_;
    });
    if (options_.sortDescriptors.empty()) {
      std::ranges::stable_sort(rows, {}, [](const PlantedRow* row) { return row->albumPlace; });
    }
    compare(library().fetchAssetsInAssetCollection(album, &options_), std::move(rows));
  }

  void fromBurst() {
    const std::string burst = data_.ConsumeBool() ? "burst" : data_.ConsumeRandomLengthString(8);
    Rows rows = expected(isAsked(),
                         [&](const PlantedRow& row) { return row.asset.burstIdentifier == burst; });
    if (options_.sortDescriptors.empty()) {
      std::ranges::stable_sort(rows, {}, [](const PlantedRow* row) { return row->created; });
    }
    compare(library().fetchAssetsWithBurstIdentifier(burst, &options_), std::move(rows));
  }

  void fromIdentifiers() {
    std::vector<std::string> identifiers;
    const std::vector<PlantedRow>& rows = planted().catalogue.rows;
    for (int i = data_.ConsumeIntegralInRange(0, 20); i > 0; --i) {
      const auto index = data_.ConsumeIntegralInRange<std::size_t>(0, rows.size());
      identifiers.push_back(index < rows.size() ? rows[index].asset.localIdentifier
                                                : data_.ConsumeRandomLengthString(8));
    }
    const auto isAny = [](const PlantedRow&) { return true; };
    compare(library().fetchAssetsWithLocalIdentifiers(identifiers, &options_),
            expected(isAny, [&](const PlantedRow& row) {
              return std::ranges::find(identifiers, row.asset.localIdentifier) != identifiers.end();
            }));
  }

  using Choice = std::function<bool(const PlantedRow&)>;

  /// What the options leave of a place where not all is listed.
  Choice isAsked() const {
    return [this](const PlantedRow& row) {
      return (options_.includeHiddenAssets || !row.asset.isHidden) &&
             (options_.includeAllBurstAssets || row.isListed());
    };
  }

  Rows expected(const Choice& isAsked, const Choice& isThere) const {
    Rows found;
    for (const PlantedRow& row : planted().catalogue.rows) {
      if (row.trashed || (isLimited_ && !row.limited) || !isAsked(row) || !isThere(row)) continue;
      if (!condition_ || row.fulfils(*condition_)) found.push_back(&row);
    }
    if (!options_.sortDescriptors.empty()) sortRows(found, options_.sortDescriptors);
    return found;
  }

  void compare(const FetchResult<PHAsset>& fetched, Rows rows) {
    if (options_.fetchLimit > 0 && rows.size() > options_.fetchLimit) {
      rows.resize(options_.fetchLimit);
    }
    require(fetched->count() == rows.size(), "as many are counted as there are");
    const auto first = data_.ConsumeIntegralInRange<std::size_t>(0, rows.size());
    compareRange(*fetched, rows, {first, rows.size()});
    compareRange(*fetched, rows, {0, rows.size()});
  }

  static void compareRange(const PHFetchResult<PHAsset>& fetched, const Rows& rows,
                           IndexRange range) {
    const auto objects = fetched.objectsAtIndexes(range);
    require(objects.size() == range.last - range.first, "as many come as are asked for");
    for (std::size_t i = 0; i < objects.size(); ++i) {
      const PHAsset& asset = rows[range.first + i]->asset;
      const PHAsset& object = *objects[i];
      require(object.localIdentifier == asset.localIdentifier, "they are those, in that order");
      require(object.mediaType == asset.mediaType && object.duration == asset.duration &&
                  object.mediaSubtypes == asset.mediaSubtypes &&
                  object.isFavorite == asset.isFavorite &&
                  object.burstIdentifier == asset.burstIdentifier,
              "they are as they were planted");
    }
  }

  FuzzedDataProvider& data_;
  const bool isLimited_;
  PHFetchOptions options_;
  std::optional<Condition> condition_;
};

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quorvin::Fetch(provider).run();
  return 0;
}
