// What the contracts of the photo library and of its changes stand on.
//
// A subject is default-constructible, grants full access at first, and has:
//   PHPhotoLibrary& library();
//   std::string addAsset(const PHAsset& asset);  // all but its identifier, which is returned
//   std::string addAlbum(const std::string& title, std::vector<std::string> members = {},
//                        std::int64_t subtype = 2);
//   void removeAsset(const std::string& identifier);
//   void select(const std::string& identifier);  // what limited access shows
//   void allow(PHAuthorizationStatus status);    // from now on
//   void answer(PHAuthorizationStatus status);   // the user's to the requests that wait
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/photo_library.h"

namespace quorvin {

using Identifiers = std::vector<std::string>;

template <class Subject>
class LibraryContract : public testing::Test {
 protected:
  using Type = PHAssetCollectionType;
  static constexpr std::int64_t kAny = PHAssetCollectionSubtype::any;

  Subject& subject() { return subject_; }
  PHPhotoLibrary& library() { return subject_.library(); }

  std::string add(PHAssetMediaType type, std::optional<double> created = 0) {
    PHAsset asset;
    asset.mediaType = type;
    if (created) asset.creationDate = NSDate(*created);
    return subject_.addAsset(asset);
  }
  std::string photo(std::optional<double> created = 0) {
    return add(PHAssetMediaType::image, created);
  }
  std::string hiddenPhoto() {
    PHAsset asset;
    asset.mediaType = PHAssetMediaType::image;
    asset.isHidden = true;
    return subject_.addAsset(asset);
  }
  std::string burstMember(double created, bool represents, std::uint64_t picks = 0) {
    PHAsset asset;
    asset.mediaType = PHAssetMediaType::image;
    asset.creationDate = NSDate(created);
    asset.burstIdentifier = "B";
    asset.representsBurst = represents;
    asset.burstSelectionTypes = picks;
    return subject_.addAsset(asset);
  }

  template <class T>
  static Identifiers identifiersOf(const PHFetchResult<T>& result) {
    Identifiers found;
    result.enumerateObjectsUsingBlock(
        [&found](const T& object) { found.push_back(object.localIdentifier); });
    return found;
  }
  /// The smart album of all assets; it is asked for under full access.
  PHAssetCollection everything() {
    const auto found = library().fetchAssetCollectionsWithType(
        Type::smartAlbum, PHAssetCollectionSubtype::smartAlbumUserLibrary, nullptr);
    return found->count() == 1 ? *found->firstObject() : PHAssetCollection{};
  }
  static PHAssetCollection album(const std::string& identifier) {
    return {.localIdentifier = identifier,
            .assetCollectionType = Type::album,
            .assetCollectionSubtype = PHAssetCollectionSubtype::albumRegular,
            .localizedTitle = {}};
  }
  Identifiers list(const PHAssetCollection& collection, const PHFetchOptions& options = {}) {
    return identifiersOf(*library().fetchAssetsInAssetCollection(collection, &options));
  }
  Identifiers find(const Identifiers& identifiers, const PHFetchOptions* options = nullptr) {
    return identifiersOf(*library().fetchAssetsWithLocalIdentifiers(identifiers, options));
  }
  Identifiers burst(const std::string& identifier, const PHFetchOptions& options = {}) {
    return identifiersOf(*library().fetchAssetsWithBurstIdentifier(identifier, &options));
  }
  Identifiers collections(Type type, std::int64_t subtype = kAny) {
    return identifiersOf(*library().fetchAssetCollectionsWithType(type, subtype, nullptr));
  }
  Identifiers findCollections(const Identifiers& identifiers) {
    return identifiersOf(
        *library().fetchAssetCollectionsWithLocalIdentifiers(identifiers, nullptr));
  }

  static PHFetchOptions byDate(bool ascending) {
    PHFetchOptions options;
    options.sortDescriptors = {{"creationDate", ascending}};
    return options;
  }
  static PHFetchOptions where(std::string format, std::vector<std::int32_t> arguments) {
    PHFetchOptions options;
    options.predicate = NSPredicate{std::move(format), std::move(arguments)};
    return options;
  }
  static Identifiers reversed(Identifiers identifiers) {
    std::ranges::reverse(identifiers);
    return identifiers;
  }

 private:
  Subject subject_;
};

}  // namespace quorvin
