// What every implementation of the photo library holds to. For the subject see
// `library_contract.h`.
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, PhotoLibraryContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "testing/contracts/library_contract.h"

namespace quorvin {

template <class Subject>
class PhotoLibraryContract : public LibraryContract<Subject> {};

TYPED_TEST_SUITE_P(PhotoLibraryContract);

TYPED_TEST_P(PhotoLibraryContract, FindsCollectionsUnderTheirOwnTypeAndSubtype) {
  using Type = PHAssetCollectionType;
  const auto regular = this->subject().addAlbum("Trip");
  const auto imported = this->subject().addAlbum("Camera", {}, 6);
  const auto everything = this->everything().localIdentifier;
  EXPECT_EQ(this->collections(Type::album, 2), Identifiers{regular});
  EXPECT_EQ(this->collections(Type::album, 6), Identifiers{imported});
  EXPECT_EQ(this->collections(Type::album), (Identifiers{regular, imported}));
  EXPECT_EQ(this->collections(Type::smartAlbum, 2), Identifiers{});
  EXPECT_EQ(this->collections(Type::album, 209), Identifiers{});
  EXPECT_EQ(this->collections(Type::smartAlbum, 209), Identifiers{everything});
  EXPECT_EQ(this->collections(Type::smartAlbum).at(0), everything);
}

TYPED_TEST_P(PhotoLibraryContract, ListsAlbumsInTheOrderOfTheirCreationWithTitlesByteForByte) {
  const Identifiers albums = {this->subject().addAlbum("Söme  ✓ "), this->subject().addAlbum("A"),
                              this->subject().addAlbum("A"), this->subject().addAlbum("")};
  const auto found =
      this->library().fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr);
  EXPECT_EQ(this->identifiersOf(*found), albums);
  EXPECT_EQ(found->objectAtIndexedSubscript(0)->localizedTitle, "Söme  ✓ ");
  EXPECT_EQ(found->objectAtIndexedSubscript(3)->localizedTitle, "");
}

TYPED_TEST_P(PhotoLibraryContract, FindsCollectionsByTheirWholeIdentifiersInItsOwnOrder) {
  const auto first = this->subject().addAlbum("Trip");
  const auto second = this->subject().addAlbum("Trip");
  const auto everything = this->everything().localIdentifier;
  EXPECT_EQ(this->findCollections({second, first, second}), (Identifiers{first, second}));
  EXPECT_EQ(this->findCollections({everything, "unknown", ""}), Identifiers{everything});
  EXPECT_EQ(this->findCollections({first + " "}), Identifiers{});
  EXPECT_EQ(this->findCollections({}), Identifiers{});
}

TYPED_TEST_P(PhotoLibraryContract, ListsTheUserLibraryInTheOrderOfAddition) {
  const Identifiers assets = {this->photo(9), this->add(PHAssetMediaType::video, 3),
                              this->add(PHAssetMediaType::audio, 5)};
  EXPECT_EQ(this->list(this->everything()), assets);
  EXPECT_EQ(this->identifiersOf(
                *this->library().fetchAssetsInAssetCollection(this->everything(), nullptr)),
            assets);
}

TYPED_TEST_P(PhotoLibraryContract, ListsAnAlbumInItsOwnOrderUnlessAnotherIsAskedFor) {
  const auto first = this->photo(1);
  const auto second = this->photo(2);
  const auto album = this->album(this->subject().addAlbum("Trip", {second, first}));
  EXPECT_EQ(this->list(album), (Identifiers{second, first}));
  EXPECT_EQ(this->list(album, this->byDate(true)), (Identifiers{first, second}));
  EXPECT_EQ(this->list(this->album("unknown")), Identifiers{});
}

TYPED_TEST_P(PhotoLibraryContract, SortsByDateWithAbsentDatesFirstAndTiesByAddition) {
  const auto late = this->photo(20);
  const auto early = this->photo(-5);
  const auto undated = this->photo(std::nullopt);
  const auto tie = this->photo(20);
  const Identifiers ascending = {undated, early, late, tie};
  const auto album = this->album(this->subject().addAlbum("Trip", {tie, undated, late, early}));
  for (const PHAssetCollection& collection : {this->everything(), album}) {
    EXPECT_EQ(this->list(collection, this->byDate(true)), ascending);
    EXPECT_EQ(this->list(collection, this->byDate(false)), this->reversed(ascending));
  }
}

TYPED_TEST_P(PhotoLibraryContract, CarriesEveryPropertyOfAnAsset) {
  PHAsset planted;
  planted.mediaType = PHAssetMediaType::video;
  planted.mediaSubtypes = PHAssetMediaSubtype::videoHighFrameRate;
  planted.pixelWidth = 7;
  planted.pixelHeight = 9;
  planted.creationDate = NSDate(1.5);
  planted.modificationDate = NSDate(-1.5);
  planted.duration = 2.5;
  planted.isFavorite = true;
  planted.burstIdentifier = "B";
  planted.representsBurst = true;
  planted.burstSelectionTypes = 3;
  const auto identifier = this->subject().addAsset(planted);
  const auto asset =
      this->library().fetchAssetsWithLocalIdentifiers({{identifier}}, nullptr)->firstObject();
  ASSERT_NE(asset, nullptr);
  EXPECT_EQ(asset->mediaType, planted.mediaType);
  EXPECT_EQ(asset->mediaSubtypes, planted.mediaSubtypes);
  EXPECT_EQ(asset->pixelWidth, 7);
  EXPECT_EQ(asset->pixelHeight, 9);
  EXPECT_EQ(asset->creationDate, planted.creationDate);
  EXPECT_EQ(asset->modificationDate, planted.modificationDate);
  EXPECT_EQ(asset->duration, 2.5);
  EXPECT_TRUE(asset->isFavorite);
  EXPECT_FALSE(asset->isHidden);
  EXPECT_EQ(asset->burstIdentifier, "B");
  EXPECT_TRUE(asset->representsBurst);
  EXPECT_EQ(asset->burstSelectionTypes, 3U);
}

TYPED_TEST_P(PhotoLibraryContract, LeavesOutHiddenAssetsUnlessTheyAreAskedForOrNamed) {
  const auto shown = this->photo();
  const auto hidden = this->hiddenPhoto();
  const auto album = this->album(this->subject().addAlbum("Trip", {hidden, shown}));
  PHFetchOptions all;
  all.includeHiddenAssets = true;
  EXPECT_EQ(this->list(this->everything()), Identifiers{shown});
  EXPECT_EQ(this->list(this->everything(), all), (Identifiers{shown, hidden}));
  EXPECT_EQ(this->list(album), Identifiers{shown});
  EXPECT_EQ(this->list(album, all), (Identifiers{hidden, shown}));
  EXPECT_EQ(this->find({hidden}), Identifiers{hidden});
}

TYPED_TEST_P(PhotoLibraryContract,
             ListsOfABurstTheRepresentativeAndTheUsersPicksUnlessAskedForAll) {
  const auto picked = this->burstMember(3, false, PHAssetBurstSelectionType::userPick);
  const auto representative = this->burstMember(2, true);
  const auto automatic = this->burstMember(1, false, PHAssetBurstSelectionType::autoPick);
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  EXPECT_EQ(this->list(this->everything()), (Identifiers{picked, representative}));
  EXPECT_EQ(this->list(this->everything(), all), (Identifiers{picked, representative, automatic}));
  EXPECT_EQ(this->burst("B"), (Identifiers{representative, picked}));
  EXPECT_EQ(this->burst("B", all), (Identifiers{automatic, representative, picked}));
  EXPECT_EQ(this->burst("b", all), Identifiers{});
  EXPECT_EQ(this->find({automatic}), Identifiers{automatic});
}

TYPED_TEST_P(PhotoLibraryContract, FindsAssetsByTheirWholeIdentifiersOnceInTheOrderOfAddition) {
  const auto first = this->photo(9);
  const auto second = this->add(PHAssetMediaType::video, 1);
  EXPECT_EQ(this->find({second, first, "unknown", second}), (Identifiers{first, second}));
  EXPECT_EQ(this->find({"", first + " ", first.substr(0, first.size() - 1), "\xFF"}),
            Identifiers{});
  EXPECT_EQ(this->find({}), Identifiers{});
  const PHFetchOptions videos = this->where("mediaType = %d", {2});
  EXPECT_EQ(this->find({first, second}, &videos), Identifiers{second});
}

TYPED_TEST_P(PhotoLibraryContract, TakesThePredicatesOfMediaTypes) {
  const auto image = this->photo(1);
  const auto video = this->add(PHAssetMediaType::video, 2);
  const auto audio = this->add(PHAssetMediaType::audio, 3);
  const auto album = this->album(this->subject().addAlbum("Trip", {image, video, audio}));
  for (const PHAssetCollection& collection : {this->everything(), album}) {
    EXPECT_EQ(this->list(collection, this->where("mediaType = %d", {1})), Identifiers{image});
    EXPECT_EQ(this->list(collection, this->where("mediaType == %d || mediaType == %d", {1, 2})),
              (Identifiers{image, video}));
    EXPECT_EQ(this->list(collection, this->where("mediaType = %d || mediaType = %d ", {3, 1})),
              (Identifiers{image, audio}));
    EXPECT_EQ(this->list(collection, this->where("mediaType = %d", {7})), Identifiers{});
  }
}

TYPED_TEST_P(PhotoLibraryContract, LimitsWhatWasFilteredAndSorted) {
  const auto early = this->photo(1);
  this->add(PHAssetMediaType::video, 3);
  const auto late = this->photo(2);
  PHFetchOptions options = this->where("mediaType = %d", {1});
  options.sortDescriptors = {{"creationDate", false}};
  options.fetchLimit = 1;
  EXPECT_EQ(this->list(this->everything(), options), Identifiers{late});
  options.fetchLimit = 5;
  EXPECT_EQ(this->list(this->everything(), options), (Identifiers{late, early}));
}

TYPED_TEST_P(PhotoLibraryContract, LoadsRangesOfWhatItFound) {
  const Identifiers assets = {this->photo(1), this->photo(2), this->photo(3)};
  const auto found = this->library().fetchAssetsInAssetCollection(this->everything(), nullptr);
  ASSERT_EQ(found->count(), 3U);
  EXPECT_EQ(found->firstObject()->localIdentifier, assets[0]);
  EXPECT_EQ(found->objectAtIndexedSubscript(2)->localIdentifier, assets[2]);
  const auto middle = found->objectsAtIndexes({1, 3});
  ASSERT_EQ(middle.size(), 2U);
  EXPECT_EQ(middle[0]->localIdentifier, assets[1]);
  EXPECT_TRUE(found->objectsAtIndexes({3, 3}).empty());
  const auto none = this->library().fetchAssetsWithLocalIdentifiers({}, nullptr);
  EXPECT_EQ(none->count(), 0U);
  EXPECT_EQ(none->firstObject(), nullptr);
}

TYPED_TEST_P(PhotoLibraryContract, KeepsWhatItFoundWhenTheLibraryChanges) {
  const Identifiers assets = {this->photo(1), this->photo(2)};
  const auto album = this->album(this->subject().addAlbum("Trip", assets));
  const auto before = this->library().fetchAssetsInAssetCollection(this->everything(), nullptr);
  const auto member = this->library().fetchAssetsInAssetCollection(album, nullptr);
  this->subject().removeAsset(assets[0]);
  const auto added = this->photo(0);
  EXPECT_EQ(this->identifiersOf(*before), assets);
  EXPECT_EQ(this->identifiersOf(*member), assets);
  EXPECT_EQ(this->list(this->everything()), (Identifiers{assets[1], added}));
  EXPECT_EQ(this->list(album), Identifiers{assets[1]});
  EXPECT_EQ(this->find(assets), Identifiers{assets[1]});
}

TYPED_TEST_P(PhotoLibraryContract, FindsNothingWithoutAuthorisation) {
  using Status = PHAuthorizationStatus;
  using Type = PHAssetCollectionType;
  const auto asset = this->burstMember(1, true);
  const auto album = this->subject().addAlbum("Trip", {asset});
  const PHAssetCollection everything = this->everything();
  for (const auto status : {Status::notDetermined, Status::restricted, Status::denied}) {
    this->subject().allow(status);
    EXPECT_EQ(this->library().authorizationStatus(), status);
    EXPECT_EQ(this->find({asset}), Identifiers{});
    EXPECT_EQ(this->burst("B"), Identifiers{});
    EXPECT_EQ(this->list(everything), Identifiers{});
    EXPECT_EQ(this->list(this->album(album)), Identifiers{});
    EXPECT_EQ(this->collections(Type::album), Identifiers{});
    EXPECT_EQ(this->collections(Type::smartAlbum), Identifiers{});
    EXPECT_EQ(this->findCollections({album, everything.localIdentifier}), Identifiers{});
  }
  this->subject().allow(Status::authorized);
  EXPECT_EQ(this->list(everything), Identifiers{asset});
}

TYPED_TEST_P(PhotoLibraryContract, ShowsWithLimitedAccessTheSelectionAndNoAlbums) {
  using Type = PHAssetCollectionType;
  const auto selected = this->burstMember(1, true);
  const auto other = this->burstMember(2, true);
  const auto album = this->subject().addAlbum("Trip", {selected, other});
  const PHAssetCollection everything = this->everything();
  this->subject().allow(PHAuthorizationStatus::limited);
  EXPECT_EQ(this->list(everything), Identifiers{});
  this->subject().select(selected);
  EXPECT_EQ(this->list(everything), Identifiers{selected});
  EXPECT_EQ(this->list(everything, this->byDate(false)), Identifiers{selected});
  EXPECT_EQ(this->find({selected, other}), Identifiers{selected});
  EXPECT_EQ(this->burst("B"), Identifiers{selected});
  EXPECT_EQ(this->collections(Type::album), Identifiers{});
  EXPECT_EQ(this->findCollections({album}), Identifiers{});
  EXPECT_EQ(this->list(this->album(album)), Identifiers{});
  EXPECT_EQ(this->collections(Type::smartAlbum, 209), Identifiers{everything.localIdentifier});
  EXPECT_EQ(this->findCollections({everything.localIdentifier}),
            Identifiers{everything.localIdentifier});
}

TYPED_TEST_P(PhotoLibraryContract, AsksTheUserOnlyWhatWasNotDecidedAndNeverBeforeItReturns) {
  using Status = PHAuthorizationStatus;
  const auto request = [this] {
    auto told = std::make_shared<std::vector<Status>>();
    this->library().requestAuthorization([told](Status status) { told->push_back(status); });
    EXPECT_TRUE(told->empty());
    return told;
  };
  for (const auto status :
       {Status::restricted, Status::denied, Status::authorized, Status::limited}) {
    this->subject().allow(status);
    const auto told = request();
    this->subject().answer(Status::notDetermined);
    EXPECT_EQ(*told, std::vector{status});
  }
  this->subject().allow(Status::notDetermined);
  const auto first = request();
  const auto second = request();
  this->subject().answer(Status::limited);
  EXPECT_EQ(*first, std::vector{Status::limited});
  EXPECT_EQ(*second, std::vector{Status::limited});
  EXPECT_EQ(this->library().authorizationStatus(), Status::limited);
}

REGISTER_TYPED_TEST_SUITE_P(
    PhotoLibraryContract, FindsCollectionsUnderTheirOwnTypeAndSubtype,
    ListsAlbumsInTheOrderOfTheirCreationWithTitlesByteForByte,
    FindsCollectionsByTheirWholeIdentifiersInItsOwnOrder, ListsTheUserLibraryInTheOrderOfAddition,
    ListsAnAlbumInItsOwnOrderUnlessAnotherIsAskedFor,
    SortsByDateWithAbsentDatesFirstAndTiesByAddition, CarriesEveryPropertyOfAnAsset,
    LeavesOutHiddenAssetsUnlessTheyAreAskedForOrNamed,
    ListsOfABurstTheRepresentativeAndTheUsersPicksUnlessAskedForAll,
    FindsAssetsByTheirWholeIdentifiersOnceInTheOrderOfAddition, TakesThePredicatesOfMediaTypes,
    LimitsWhatWasFilteredAndSorted, LoadsRangesOfWhatItFound, KeepsWhatItFoundWhenTheLibraryChanges,
    FindsNothingWithoutAuthorisation, ShowsWithLimitedAccessTheSelectionAndNoAlbums,
    AsksTheUserOnlyWhatWasNotDecidedAndNeverBeforeItReturns);

}  // namespace quorvin
