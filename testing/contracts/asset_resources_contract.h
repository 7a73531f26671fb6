// What every implementation of asset resources holds to: listing them, and writing them to files.
//
// A subject is default-constructible, grants full access at first, and has:
//   PHAssetResourceLister& lister();
//   PHAssetResourceManager& manager();
//   PHAsset addAsset();  // a live photo: IMG_1.HEIC, which holds "photo", and IMG_1.MOV, "movie"
//   void removeOriginals(const PHAsset& asset);  // the files alone
//   void removeAsset(const PHAsset& asset);
//   void select(const PHAsset& asset);         // what limited access shows
//   void allow(PHAuthorizationStatus status);  // from now on
//   std::string folder();                      // exists, is empty, ends in no "/"
//   void put(const std::string& path, const std::string& text);
//   std::optional<std::string> text(const std::string& path);  // none when there is no file
//   bool exists(const std::string& path);
//   void settle();  // returns once the writes of before, and their completions, are over
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, AssetResourcesContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/asset_resources.h"

namespace quorvin {

template <class Subject>
class AssetResourcesContract : public testing::Test {
 protected:
  Subject& subject() { return subject_; }
  std::string at(const std::string& name) { return subject_.folder() + "/" + name; }
  PHAssetResources list(const PHAsset& asset) {
    return subject_.lister().assetResourcesForAsset(asset);
  }
  std::size_t count(const PHAsset& asset) { return list(asset).size(); }

  /// The code that the writing failed with, which says something; 0 when it succeeded.
  std::int64_t write(std::shared_ptr<const PHAssetResource> resource, const std::string& path,
                     const PHAssetResourceRequestOptions* options = nullptr) {
    std::vector<std::optional<NSError>> completions;
    subject_.manager().writeDataForAssetResource(
        std::move(resource), path, options,
        [&completions](std::optional<NSError> error) { completions.push_back(std::move(error)); });
    subject_.settle();
    EXPECT_EQ(completions.size(), 1U);
    if (completions.empty() || !completions[0]) return 0;
    EXPECT_FALSE(completions[0]->localizedDescription.empty());
    EXPECT_NE(completions[0]->code, 0);
    return completions[0]->code;
  }

 private:
  Subject subject_;
};

TYPED_TEST_SUITE_P(AssetResourcesContract);

TYPED_TEST_P(AssetResourcesContract, ListsTheFilesOfAnAssetInOrder) {
  const PHAsset asset = this->subject().addAsset();
  this->subject().addAsset();
  const PHAssetResources resources = this->list(asset);
  ASSERT_EQ(resources.size(), 2U);
  EXPECT_EQ(resources[0]->type, PHAssetResourceType::photo);
  EXPECT_EQ(resources[0]->originalFilename, "IMG_1.HEIC");
  EXPECT_EQ(resources[0]->uniformTypeIdentifier, "public.heic");
  EXPECT_EQ(resources[1]->type, PHAssetResourceType::pairedVideo);
  EXPECT_EQ(resources[1]->originalFilename, "IMG_1.MOV");
  EXPECT_EQ(resources[1]->uniformTypeIdentifier, "public.quicktime-movie");
}

TYPED_TEST_P(AssetResourcesContract, ListsNothingOfAnAssetThatIsGoneOrUnknown) {
  const PHAsset asset = this->subject().addAsset();
  this->subject().removeAsset(asset);
  EXPECT_EQ(this->count(asset), 0U);
  EXPECT_EQ(this->count(PHAsset{}), 0U);
}

TYPED_TEST_P(AssetResourcesContract, ListsAlsoFilesThatAreMissing) {
  const PHAsset asset = this->subject().addAsset();
  this->subject().removeOriginals(asset);
  EXPECT_EQ(this->count(asset), 2U);
}

TYPED_TEST_P(AssetResourcesContract, ListsAndWritesWhatTheApplicationMayReadAlone) {
  using Status = PHAuthorizationStatus;
  const PHAsset asset = this->subject().addAsset();
  const auto resource = this->list(asset).at(0);
  const auto codeUnder = [&](Status status) {
    this->subject().allow(status);
    EXPECT_EQ(this->count(asset), 0U);
    return this->write(resource, this->at("copy"));
  };
  EXPECT_EQ(codeUnder(Status::denied), 3311);
  EXPECT_EQ(codeUnder(Status::notDetermined), 3311);
  EXPECT_EQ(codeUnder(Status::restricted), 3310);
  EXPECT_EQ(codeUnder(Status::limited), 3303);
  EXPECT_FALSE(this->subject().exists(this->at("copy")));
  this->subject().select(asset);
  EXPECT_EQ(this->count(asset), 2U);
  EXPECT_EQ(this->write(resource, this->at("copy")), 0);
}

TYPED_TEST_P(AssetResourcesContract, WritesANewFileWhateverTheOptions) {
  const PHAssetResources resources = this->list(this->subject().addAsset());
  const PHAssetResourceRequestOptions network = {.isNetworkAccessAllowed = true};
  EXPECT_EQ(this->write(resources[0], this->at("photo.heic")), 0);
  EXPECT_EQ(this->write(resources[1], this->at("movie.mov"), &network), 0);
  EXPECT_EQ(this->subject().text(this->at("photo.heic")), "photo");
  EXPECT_EQ(this->subject().text(this->at("movie.mov")), "movie");
}

TYPED_TEST_P(AssetResourcesContract, CompletesElsewhereAfterItReturned) {
  const auto resource = this->list(this->subject().addAsset()).at(0);
  std::optional<std::thread::id> ranOn;
  this->subject().manager().writeDataForAssetResource(
      resource, this->at("copy"), nullptr,
      [&ranOn](const std::optional<NSError>&) { ranOn = std::this_thread::get_id(); });
  this->subject().settle();
  ASSERT_TRUE(ranOn);
  EXPECT_NE(*ranOn, std::this_thread::get_id());
}

TYPED_TEST_P(AssetResourcesContract, KeepsWhatStandsAtThePath) {
  const auto resource = this->list(this->subject().addAsset()).at(0);
  this->subject().put(this->at("copy"), "theirs");
  EXPECT_EQ(this->write(resource, this->at("copy")), 516);
  EXPECT_EQ(this->subject().text(this->at("copy")), "theirs");
  EXPECT_EQ(this->write(resource, this->subject().folder()), 516);
  EXPECT_EQ(this->write(resource, this->at("other")), 0);
  EXPECT_EQ(this->write(resource, this->at("other")), 516);
}

TYPED_TEST_P(AssetResourcesContract, MakesNoFolder) {
  const auto resource = this->list(this->subject().addAsset()).at(0);
  EXPECT_EQ(this->write(resource, this->at("missing/copy")), 4);
  EXPECT_FALSE(this->subject().exists(this->at("missing")));
}

TYPED_TEST_P(AssetResourcesContract, WritesNothingWhenTheOriginalIsMissing) {
  const PHAsset asset = this->subject().addAsset();
  const auto resource = this->list(asset).at(0);
  this->subject().removeOriginals(asset);
  EXPECT_EQ(this->write(resource, this->at("copy")), 3303);
  EXPECT_FALSE(this->subject().exists(this->at("copy")));
}

TYPED_TEST_P(AssetResourcesContract, WritesNoResourceOfAnotherLibrary) {
  const auto foreign =
      std::make_shared<const PHAssetResource>(PHAssetResourceType::photo, "a.jpg", "public.jpeg");
  EXPECT_EQ(this->write(foreign, this->at("copy")), 3302);
  EXPECT_FALSE(this->subject().exists(this->at("copy")));
}

TYPED_TEST_P(AssetResourcesContract, WritesNothingOfAnAssetThatIsGone) {
  const PHAsset asset = this->subject().addAsset();
  const auto resource = this->list(asset).at(0);
  this->subject().removeAsset(asset);
  EXPECT_EQ(this->write(resource, this->at("copy")), 3303);
  EXPECT_FALSE(this->subject().exists(this->at("copy")));
}

REGISTER_TYPED_TEST_SUITE_P(AssetResourcesContract, ListsTheFilesOfAnAssetInOrder,
                            ListsNothingOfAnAssetThatIsGoneOrUnknown, ListsAlsoFilesThatAreMissing,
                            ListsAndWritesWhatTheApplicationMayReadAlone,
                            WritesANewFileWhateverTheOptions, CompletesElsewhereAfterItReturned,
                            KeepsWhatStandsAtThePath, MakesNoFolder,
                            WritesNothingWhenTheOriginalIsMissing, WritesNoResourceOfAnotherLibrary,
                            WritesNothingOfAnAssetThatIsGone);

}  // namespace quorvin
