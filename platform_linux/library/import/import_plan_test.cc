#include "platform_linux/library/import/import_plan.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

ImportFile file(const std::string& name, MediaKind kind,
                const std::string& contentIdentifier = "") {
  ImportFile made;
  made.folder = "/in";
  made.name = name;
  made.probe.kind = kind;
  made.probe.contentIdentifier = contentIdentifier;
  return made;
}

TEST(ImportPlan, NeverPairsTwoStillsOrTwoMovies) {
  std::vector<ImportFile> files = {file("a.jpg", MediaKind::image, "X"),
                                   file("a.heic", MediaKind::image, "X"),
                                   file("a.mov", MediaKind::audio)};
  EXPECT_EQ(planImport(files).size(), 3U);
}

TEST(ImportPlan, GivesEachMovieToOneStillAlone) {
  std::vector<ImportFile> files = {
      file("a.mov", MediaKind::video, "X"), file("a.jpg", MediaKind::image, "X"),
      file("b.mov", MediaKind::video, "X"), file("b.jpg", MediaKind::image, "X")};
  const auto units = planImport(files);
  ASSERT_EQ(units.size(), 2U);
  EXPECT_NE(units[0].pairedVideo, units[1].pairedVideo);
}

TEST(ImportPlan, SplitsNamesAtTheLastDot) {
  EXPECT_EQ(nameStem("a.tar.gz"), "a.tar");
  EXPECT_EQ(lowerExtension("a.tar.GZ"), "gz");
  EXPECT_EQ(nameStem(".jpg"), ".jpg");
  EXPECT_EQ(lowerExtension(".jpg"), "");
  EXPECT_EQ(lowerExtension("plain"), "");
}

TEST(ImportPlan, KeepsPartnersAndBurstsTogetherWhenItIsCut) {
  EXPECT_TRUE(belongTogether("/in", "IMG_1.HEIC", "/in", "img_1.mov"));
  EXPECT_TRUE(belongTogether("/in", "0_BURST7.jpg", "/in", "1_BURST7_COVER.jpg"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/other", "IMG_1.MOV"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/in", "IMG_2.MOV"));
}

}  // namespace
}  // namespace quorvin
