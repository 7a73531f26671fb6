#include "platform_linux/library/values/pairing.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(Pairing, SplitsNamesAtTheLastDot) {
  EXPECT_EQ(nameStem("a.tar.gz"), "a.tar");
  EXPECT_EQ(lowerExtension("a.tar.GZ"), "gz");
  EXPECT_EQ(nameStem(".jpg"), ".jpg");
  EXPECT_EQ(lowerExtension(".jpg"), "");
  EXPECT_EQ(lowerExtension("plain"), "");
}

TEST(Pairing, KeepsPartnersAndBurstsTogetherWhenAnImportIsCut) {
  EXPECT_TRUE(belongTogether("/in", "IMG_1.HEIC", "/in", "img_1.mov"));
  EXPECT_TRUE(belongTogether("/in", "0_BURST7.jpg", "/in", "1_BURST7_COVER.jpg"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/other", "IMG_1.MOV"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/in", "IMG_2.MOV"));
}

TEST(Pairing, TakesMoviesForStillsOfTheKindsThatCamerasPair) {
  for (const char* still : {"a.heic", "A.HEIF", "a.jpg", "a.JPEG"}) {
    EXPECT_TRUE(namesMakeAPair(still, "a.MOV")) << still;
  }
  EXPECT_FALSE(namesMakeAPair("a.png", "a.mov"));
  EXPECT_FALSE(namesMakeAPair("a.jpg", "a.mp4"));
  EXPECT_FALSE(namesMakeAPair("a.jpg", "b.mov"));
}

TEST(Pairing, GivesABurstOneIdentifierPerFolderAndMark) {
  const std::string burst = burstIdentifierOf("/in", burstMark("00_BURST12_COVER.jpg"));
  EXPECT_EQ(burst, burstIdentifierOf("/in", burstMark("01_BURST12.jpg")));
  EXPECT_NE(burst, burstIdentifierOf("/other", "_BURST12"));
  EXPECT_NE(burst, burstIdentifierOf("/in", "_BURST1"));
  EXPECT_EQ(burst.size(), 36U);
  EXPECT_EQ(burstMark("a_BURST.jpg"), "");
}

}  // namespace
}  // namespace quorvin
