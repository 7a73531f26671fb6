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

TEST(Pairing, TakesMoviesForStillsOfTheKindsThatCamerasPair) {
  for (const char* still : {"a.heic", "A.HEIF", "a.jpg", "a.JPEG"}) {
    EXPECT_TRUE(namesMakeAPair(still, "a.MOV")) << still;
  }
  EXPECT_FALSE(namesMakeAPair("a.png", "a.mov"));
  EXPECT_FALSE(namesMakeAPair("a.jpg", "a.mp4"));
  EXPECT_FALSE(namesMakeAPair("a.jpg", "b.mov"));
}

TEST(Pairing, GivesABurstOneIdentifierPerFolderAndMark) {
  const std::string burst = burstIdentifierOf(7, burstMark("00_BURST12_COVER.jpg"));
  EXPECT_EQ(burst, burstIdentifierOf(7, burstMark("01_BURST12.jpg")));
  EXPECT_NE(burst, burstIdentifierOf(8, "_BURST12"));
  EXPECT_NE(burst, burstIdentifierOf(7, "_BURST1"));
  EXPECT_EQ(burst.size(), 36U);
  EXPECT_EQ(burstMark("a_BURST.jpg"), "");
}

}  // namespace
}  // namespace quorvin
