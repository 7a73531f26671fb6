// The photo library: authorisation, and fetches of assets and asset collections.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/foundation.h"

namespace quorvin {

enum class PHAuthorizationStatus : std::int32_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorized = 3,
  limited = 4,
};

enum class PHAssetMediaType : std::int64_t { unknown = 0, image = 1, video = 2, audio = 3 };

/// Bits of `PHAsset::mediaSubtypes`.
struct PHAssetMediaSubtype {
  static constexpr std::uint64_t photoPanorama = 1;
  static constexpr std::uint64_t photoHDR = 2;
  static constexpr std::uint64_t photoScreenshot = 4;
  static constexpr std::uint64_t photoLive = 8;
  static constexpr std::uint64_t photoDepthEffect = 16;
  static constexpr std::uint64_t videoHighFrameRate = 0x20000;
  static constexpr std::uint64_t videoTimelapse = 0x40000;
  static constexpr std::uint64_t videoScreenRecording = 0x80000;
};

/// Bits of `PHAsset::burstSelectionTypes`.
struct PHAssetBurstSelectionType {
  static constexpr std::uint64_t autoPick = 1;
  static constexpr std::uint64_t userPick = 2;
};

/// A photo, video or audio item: a copy of its properties when it was fetched. Immutable, any
/// thread. Two assets are the same when their identifiers are.
struct PHAsset {
  std::string localIdentifier;
  PHAssetMediaType mediaType = PHAssetMediaType::unknown;
  std::uint64_t mediaSubtypes = 0;
  std::int64_t pixelWidth = 0;   ///< upright, pixels
  std::int64_t pixelHeight = 0;  ///< upright, pixels
  std::optional<NSDate> creationDate;
  std::optional<NSDate> modificationDate;
  double duration = 0;  ///< seconds; 0 for stills
  bool isFavorite = false;
  bool isHidden = false;
  std::optional<std::string> burstIdentifier;
  bool representsBurst = false;
  std::uint64_t burstSelectionTypes = 0;
};

enum class PHAssetCollectionType : std::int64_t { album = 1, smartAlbum = 2 };

struct PHAssetCollectionSubtype {
  static constexpr std::int64_t albumRegular = 2;
  static constexpr std::int64_t smartAlbumUserLibrary = 209;
  static constexpr std::int64_t any = 0x7FFFFFFFFFFFFFFF;
};

/// An album or smart album: a copy of its properties when it was fetched. Immutable, any thread.
struct PHAssetCollection {
  std::string localIdentifier;
  PHAssetCollectionType assetCollectionType = PHAssetCollectionType::album;
  std::int64_t assetCollectionSubtype = 0;
  std::optional<std::string> localizedTitle;
};

/// A condition as a format string with the integers for its `%d` places, left to right.
struct NSPredicate {
  std::string format;
  std::vector<std::int32_t> arguments;
  friend bool operator==(const NSPredicate&, const NSPredicate&) = default;
};

struct NSSortDescriptor {
  std::string key;
  bool ascending = true;
  friend bool operator==(const NSSortDescriptor&, const NSSortDescriptor&) = default;
};

/// What a fetch returns and in which order. A plain value: a copy is independent.
struct PHFetchOptions {
  std::optional<NSPredicate> predicate;
  std::vector<NSSortDescriptor> sortDescriptors;  ///< empty: the collection's own order
  std::size_t fetchLimit = 0;                     ///< 0: no limit
  bool includeHiddenAssets = false;
  bool includeAllBurstAssets = false;
  friend bool operator==(const PHFetchOptions&, const PHFetchOptions&) = default;
};

/// A half-open range of indices: first, first + 1, ..., last - 1.
struct IndexRange {
  std::size_t first = 0;
  std::size_t last = 0;
};

/// What a fetch found: a snapshot that loads its objects when they are asked for. Later changes of
/// the library never alter it. Any thread, several at once. An index out of range is fatal.
template <class T>
class PHFetchResult {
 public:
  using Object = std::shared_ptr<const T>;
  using Objects = std::vector<Object>;

  virtual ~PHFetchResult() = default;
  virtual std::size_t count() const = 0;
  /// The objects at the indices of `range`, in order.
  virtual Objects objectsAtIndexes(IndexRange range) const = 0;

  Object objectAtIndexedSubscript(std::size_t index) const {
    return objectsAtIndexes({index, index + 1}).front();
  }
  /// Null when there is none.
  Object firstObject() const { return count() == 0 ? nullptr : objectAtIndexedSubscript(0); }
  /// Visits every object in order, on this thread, before it returns.
  template <class Visitor>
  void enumerateObjectsUsingBlock(Visitor&& visit) const {
    for (const Object& object : objectsAtIndexes({0, count()})) visit(*object);
  }
};

/// Leaves whatever reads the library when that cannot be done: what its medium or its catalogue
/// does not give must not be taken for what is not there.
class LibraryUnreadable : public std::exception {
 public:
  explicit LibraryUnreadable(NSError error) : error_(std::move(error)) {}
  const NSError& error() const { return error_; }
  const char* what() const noexcept override { return error_.localizedDescription.c_str(); }

 private:
  NSError error_;
};

template <class T>
using FetchResult = std::shared_ptr<const PHFetchResult<T>>;

/// Fetches read the library as it is now; without authorisation they find nothing. Any thread,
/// several at once, also while the library changes. They never wait for the main queue. Results
/// are never null. They, their results and the status throw `LibraryUnreadable`.
class PHPhotoLibrary {
 public:
  virtual ~PHPhotoLibrary() = default;

  virtual PHAuthorizationStatus authorizationStatus() = 0;
  /// Asks the user when nothing was decided yet. Returns at once; `handler` receives the status,
  /// once, on any thread.
  virtual void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) = 0;

  /// The assets that have these identifiers, each once. Hidden assets and all burst members count.
  virtual FetchResult<PHAsset> fetchAssetsWithLocalIdentifiers(
      std::span<const std::string> identifiers, const PHFetchOptions* options) = 0;
  virtual FetchResult<PHAsset> fetchAssetsInAssetCollection(const PHAssetCollection& collection,
                                                            const PHFetchOptions* options) = 0;
  virtual FetchResult<PHAsset> fetchAssetsWithBurstIdentifier(const std::string& burstIdentifier,
                                                              const PHFetchOptions* options) = 0;

  virtual FetchResult<PHAssetCollection> fetchAssetCollectionsWithType(
      PHAssetCollectionType type, std::int64_t subtype, const PHFetchOptions* options) = 0;
  virtual FetchResult<PHAssetCollection> fetchAssetCollectionsWithLocalIdentifiers(
      std::span<const std::string> identifiers, const PHFetchOptions* options) = 0;
};

}  // namespace quorvin
