#include "core/queries/asset_record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

Value entry(const PHAsset& asset, const char* key) {
  const Map record = assetToMap(asset);
  const Value* value = find(record, key);
  return value == nullptr ? Value("absent") : *value;
}

PHAsset createdAt(double seconds) {
  return photo("a", seconds);
}

TEST(AssetRecord, HoldsThirteenKeysInTheirOrderAndTypes) {
  PHAsset asset;
  asset.localIdentifier = "id/L0/001";
  asset.mediaType = PHAssetMediaType::video;
  asset.mediaSubtypes = PHAssetMediaSubtype::photoLive | PHAssetMediaSubtype::photoHDR;
  asset.pixelWidth = 4032;
  asset.pixelHeight = 3024;
  asset.creationDate = NSDate(1.5);
  asset.modificationDate = NSDate(2.25);
  asset.duration = 2.5;
  asset.isFavorite = true;
  asset.isHidden = true;
  asset.burstIdentifier = "burst";
  asset.representsBurst = true;
  asset.burstSelectionTypes =
      PHAssetBurstSelectionType::autoPick | PHAssetBurstSelectionType::userPick;
  EXPECT_EQ(Value(assetToMap(asset)), Value(Map{{"id", "id/L0/001"},
                                                {"mediaType", 2},
                                                {"width", 4032},
                                                {"height", 3024},
                                                {"creationDate", 1500},
                                                {"modificationDate", 2250},
                                                {"duration", 2500.0},
                                                {"isFavorite", true},
                                                {"isHidden", true},
                                                {"burstIdentifier", "burst"},
                                                {"representsBurst", true},
                                                {"burstSelectionTypes", 3},
                                                {"isLivePhoto", true}}));
}

TEST(AssetRecord, KeepsItsFlagsApart) {
  for (const std::string key : {"isFavorite", "isHidden", "representsBurst", "isLivePhoto"}) {
    PHAsset asset;
    asset.isFavorite = key == "isFavorite";
    asset.isHidden = key == "isHidden";
    asset.representsBurst = key == "representsBurst";
    if (key == "isLivePhoto") asset.mediaSubtypes = PHAssetMediaSubtype::photoLive;
    for (const auto& [name, value] : assetToMap(asset)) {
      const bool* flag = value.as<bool>();
      if (flag != nullptr) {
        EXPECT_EQ(*flag, name.text() == key) << key;
      }
    }
  }
}

TEST(AssetRecord, OfABareAssetHoldsNoNull) {
  EXPECT_EQ(Value(assetToMap(PHAsset{})), Value(Map{{"id", ""},
                                                    {"mediaType", 0},
                                                    {"width", 0},
                                                    {"height", 0},
                                                    {"creationDate", 0},
                                                    {"modificationDate", 0},
                                                    {"duration", 0.0},
                                                    {"isFavorite", false},
                                                    {"isHidden", false},
                                                    {"burstIdentifier", ""},
                                                    {"representsBurst", false},
                                                    {"burstSelectionTypes", 0},
                                                    {"isLivePhoto", false}}));
}

TEST(AssetRecord, TruncatesDatesTowardsZero) {
  EXPECT_EQ(entry(createdAt(0.0015), "creationDate"), Value(1));
  EXPECT_EQ(entry(createdAt(0.0019999), "creationDate"), Value(1));
  EXPECT_EQ(entry(createdAt(-0.0015), "creationDate"), Value(-1));
  EXPECT_EQ(entry(createdAt(-0.0009), "creationDate"), Value(0));
  EXPECT_EQ(entry(createdAt(1700000000.75), "creationDate"), Value(std::int64_t{1700000000750}));
}

TEST(AssetRecord, KeepsTheTwoDatesApart) {
  PHAsset asset = photo("a", 1.0);
  EXPECT_EQ(entry(asset, "modificationDate"), Value(0));
  asset.modificationDate = NSDate(-2.0);
  EXPECT_EQ(entry(asset, "creationDate"), Value(1000));
  EXPECT_EQ(entry(asset, "modificationDate"), Value(-2000));
}

TEST(AssetRecord, CarriesTheSmallestAndTheLargestDatesThereAre) {
  EXPECT_EQ(entry(createdAt(-9223372036854775.808), "creationDate"),
            Value(std::numeric_limits<std::int64_t>::min()));
  // The last double below 2^63.
  const double last = std::nextafter(9223372036854775808.0, 0.0);
  const double seconds = last / 1000.0;
  ASSERT_LT(seconds * 1000.0, 9223372036854775808.0);
  EXPECT_EQ(entry(createdAt(seconds), "creationDate"),
            Value(static_cast<std::int64_t>(seconds * 1000.0)));
}

TEST(AssetRecordDeathTest, StopsAtADateBeyondItsRange) {
  for (const double seconds :
       {9223372036854775.808, 1e300, -1e300, -9223372036854778.0, kInfinity, -kInfinity,
        std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::max()}) {
    EXPECT_DEATH(assetToMap(createdAt(seconds)),
                 "Fatal error: a date is out of the range of milliseconds in 64 bits")
        << seconds;
    PHAsset modified;
    modified.modificationDate = NSDate(seconds);
    EXPECT_DEATH(assetToMap(modified),
                 "Fatal error: a date is out of the range of milliseconds in 64 bits")
        << seconds;
  }
}

TEST(AssetRecord, KeepsTheDurationADoubleInMilliseconds) {
  PHAsset asset = video("v");
  asset.duration = 2.5;
  EXPECT_EQ(entry(asset, "duration"), Value(2500.0));
  asset.duration = 0.0005;
  EXPECT_EQ(entry(asset, "duration"), Value(0.5));
  EXPECT_EQ(entry(photo("p"), "duration"), Value(0.0));
}

TEST(AssetRecord, ReportsTheLibrarysMediaTypes) {
  EXPECT_EQ(entry(assetOf(PHAssetMediaType::unknown, "a"), "mediaType"), Value(0));
  EXPECT_EQ(entry(photo("a"), "mediaType"), Value(1));
  EXPECT_EQ(entry(video("a"), "mediaType"), Value(2));
  EXPECT_EQ(entry(audio("a"), "mediaType"), Value(3));
}

TEST(AssetRecord, CallsALivePhotoOneWhateverElseItIs) {
  PHAsset asset = photo("a");
  asset.mediaSubtypes = PHAssetMediaSubtype::photoLive;
  EXPECT_EQ(entry(asset, "isLivePhoto"), Value(true));
  asset.mediaSubtypes = ~std::uint64_t{0};
  EXPECT_EQ(entry(asset, "isLivePhoto"), Value(true));
  asset.mediaSubtypes = ~PHAssetMediaSubtype::photoLive;
  EXPECT_EQ(entry(asset, "isLivePhoto"), Value(false));
}

class ResourceName : public PluginTest {
 protected:
  ResourceName() { library.addAsset(photo("a")); }
  void addResource(PHAssetResourceType type, const std::string& name) {
    plugin.platform.resources.add("a", type, name);
  }
  std::optional<std::string> name() { return plugin.manager().getResourceName(photo("a")); }
};

TEST_F(ResourceName, IsAbsentWithoutResources) {
  EXPECT_EQ(name(), std::nullopt);
}

TEST_F(ResourceName, IsThePhotosBehindAPairedVideo) {
  addResource(PHAssetResourceType::pairedVideo, "IMG.MOV");
  addResource(PHAssetResourceType::photo, "IMG.HEIC");
  EXPECT_EQ(name(), "IMG.HEIC");
}

TEST_F(ResourceName, IsTheVideosWhenItComesFirst) {
  addResource(PHAssetResourceType::video, "CLIP.MOV");
  addResource(PHAssetResourceType::photo, "IMG.HEIC");
  EXPECT_EQ(name(), "CLIP.MOV");
}

TEST_F(ResourceName, IsTheFirstPhotosOfTwo) {
  addResource(PHAssetResourceType::adjustmentData, "Adjustments.plist");
  addResource(PHAssetResourceType::photo, "first.jpg");
  addResource(PHAssetResourceType::photo, "second.jpg");
  EXPECT_EQ(name(), "first.jpg");
}

TEST_F(ResourceName, IsTheFirstOnesWhenNoneIsAPhotoOrVideo) {
  addResource(PHAssetResourceType::fullSizePhoto, "FullSizeRender.jpg");
  addResource(PHAssetResourceType::pairedVideo, "IMG.MOV");
  EXPECT_EQ(name(), "FullSizeRender.jpg");
}

TEST_F(ResourceName, MayBeEmpty) {
  addResource(PHAssetResourceType::photo, "");
  EXPECT_EQ(name(), "");
}

}  // namespace
}  // namespace quorvin
