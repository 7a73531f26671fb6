// Files that come one after the other and belong together.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

struct ImportPairs : testing::Test, ImportFixture {};

TEST_F(ImportPairs, JoinsTheSecondHalfToThePhotoThatIsThere) {
  const auto photo = put("IMG_1.HEIC", "image");
  const auto movie = put("IMG_1.MOV", "video");
  import({photo});
  const PHAsset before = only();
  EXPECT_EQ(import({movie}), (ImportSummary{0, 1, 0, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  EXPECT_EQ(only().localIdentifier, before.localIdentifier);
  expectSound();
}

TEST_F(ImportPairs, JoinsTheStillToTheMovieThatIsThere) {
  const auto photo = put("IMG_1.HEIC", "image front orientation=6");
  const auto movie = put("IMG_1.MOV", "video rate=240");
  import({movie});
  const PHAsset before = only();
  EXPECT_EQ(import({photo}), (ImportSummary{0, 1, 0, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  const PHAsset after = only();
  EXPECT_EQ(after.localIdentifier, before.localIdentifier);
  EXPECT_EQ(after.duration, 0);
  EXPECT_EQ(after.mediaSubtypes, 8U);
  EXPECT_EQ(open()->storedResources(after.localIdentifier)->front()->orientation, 6);
  expectSound();
}

TEST_F(ImportPairs, JoinsTheSecondHalfAlsoWhenTheFirstComesAgain) {
  const auto photo = put("IMG_1.HEIC", "image");
  importAll();
  put("IMG_1.MOV", "video");
  EXPECT_EQ(importAll(), (ImportSummary{0, 1, 1, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  ImportFixture reverse;
  reverse.put("IMG_1.MOV", "video id=7");
  reverse.importAll();
  reverse.put("other/photo.HEIC", "image id=7");
  EXPECT_EQ(reverse.importAll(), (ImportSummary{0, 1, 1, 0}));
  EXPECT_EQ(reverse.assets(), (Texts{"1 1:photo.HEIC 9:IMG_1.MOV live"}));
}

TEST_F(ImportPairs, DoesNotGiveASecondMovieToALivePhoto) {
  put("IMG_1.HEIC", "image id=X");
  put("IMG_1.MOV", "video id=X");
  importAll();
  put("again.mov", "video id=X again");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 2, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live", "2 2:again.mov"}));
}

TEST_F(ImportPairs, SetsTheLiveMarkOnlyWithTheVideo) {
  put("a.jpg", "image subtypes=26");
  importAll();
  EXPECT_EQ(only().mediaSubtypes, 18U);
}

TEST_F(ImportPairs, CutsTheMovieOutOfAMotionPhoto) {
  const std::string head = "image movieat=40 moviesize=9 ";
  put("PXL.jpg", head + std::string(40 - head.size(), '.') + "ftyp-9byt");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:PXL.jpg 9:PXL.MP4 live"}));
  const auto stored = open()->storedResources(only().localIdentifier);
  ASSERT_TRUE(stored);
  EXPECT_EQ(readFile(stored->at(0)->path).size(), 49U);
  EXPECT_EQ(readFile(stored->at(1)->path), "ftyp-9byt");
  EXPECT_EQ(importAll(), (ImportSummary{0, 0, 1, 0}));
  expectSound();
}

TEST_F(ImportPairs, RepresentsABurstByThePrimaryMember) {
  put("a.jpg", "image burst=B date=1");
  put("b.jpg", "image burst=B date=2 primary");
  put("c.jpg", "image burst=B date=3 primary");
  importAll();
  EXPECT_EQ(assets(), (Texts{"1 1:a.jpg burst", "1 1:b.jpg burst represents", "1 1:c.jpg burst"}));
  EXPECT_EQ(only().burstSelectionTypes, 1U);
}

TEST_F(ImportPairs, ChoosesAmongAllMembersOfABurstHoweverManyThereAre) {
  for (int i = 0; i < 600; ++i) {
    put("b" + std::to_string(1000 + i) + ".jpg", "image burst=B date=" + std::to_string(9000 - i));
  }
  importAll();
  EXPECT_EQ(open()->storedResources(only().localIdentifier)->front()->originalFilename,
            "b1599.jpg");
}

TEST_F(ImportPairs, LaterMembersTakeOverABurstOnlyAsTheFirstPrimary) {
  import({put("b.jpg", "image burst=B date=5")});
  EXPECT_EQ(assets(), (Texts{"1 1:b.jpg burst represents"}));
  import({put("a.jpg", "image burst=B date=1")});
  EXPECT_EQ(only().creationDate->timeIntervalSince1970(), 5e-9);
  import({put("p.jpg", "image burst=B date=7 primary")});
  EXPECT_EQ(only().creationDate->timeIntervalSince1970(), 7e-9);
  import({put("q.jpg", "image burst=B date=2 primary")});
  EXPECT_EQ(only().creationDate->timeIntervalSince1970(), 7e-9);
  EXPECT_EQ(only().burstSelectionTypes, 1U);
}

}  // namespace
}  // namespace quorvin
