#include "platform_linux/library/values/families.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorvin {
namespace {

std::vector<std::string> targets(const std::string& name, SideKind kind,
                                 const std::string& title = "") {
  SideNotes notes;
  notes.kind = kind;
  notes.title = title;
  std::vector<std::string> found;
  for (const SideTarget& target : targetsOf(name, notes)) {
    found.push_back(target.name + (target.isStem ? ".*" : ""));
  }
  return found;
}

using Texts = std::vector<std::string>;

TEST(Families, HoldAllThatACameraCallsAlike) {
  for (const char* name :
       {"IMG_1234.HEIC", "img_1234.mov", "IMG_E1234.JPG", "IMG_1234.AAE", "IMG_E1234.MOV"}) {
    EXPECT_EQ(familyOf(name), "img_1234") << name;
  }
  EXPECT_EQ(familyOf("00_BURST7.jpg"), familyOf("01_BURST7_COVER.jpg"));
  EXPECT_NE(familyOf("00_BURST7.jpg"), familyOf("00_BURST71.jpg"));
  EXPECT_EQ(familyOf("IMG_EDIT.JPG"), "img_edit");
  EXPECT_EQ(familyOf("IMG_E.JPG"), "img_e");
}

TEST(Families, KnowEditedNames) {
  EXPECT_TRUE(isEditedName("IMG_E1234.JPG"));
  EXPECT_TRUE(isEditedName("img_e1.heic"));
  EXPECT_FALSE(isEditedName("IMG_1234.JPG"));
  EXPECT_FALSE(isEditedName("IMG_E12a.JPG"));
  EXPECT_FALSE(isEditedName("IMG_E.JPG"));
}

TEST(Families, KeepTogetherWhatIsFoundSideBySide) {
  EXPECT_TRUE(belongTogether("/in", "IMG_1.HEIC", "/in", "img_1.mov"));
  EXPECT_TRUE(belongTogether("/in", "0_BURST7.jpg", "/in", "1_BURST7_COVER.jpg"));
  EXPECT_TRUE(belongTogether("/in", "IMG_1.JPG", "/in", "IMG_1.JPG.xmp"));
  EXPECT_TRUE(belongTogether("/in", "IMG_1.JPG", "/in", "IMG_1.JPG.supplemental-metadata.json"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/other", "IMG_1.MOV"));
  EXPECT_FALSE(belongTogether("/in", "IMG_1.HEIC", "/in", "IMG_2.MOV"));
}

TEST(SideTargets, OfXmpFilesAreTheFileAndThenTheStem) {
  EXPECT_EQ(targets("A.JPG.xmp", SideKind::xmp), (Texts{"a.jpg", "a.jpg.*"}));
  EXPECT_EQ(targets("A.xmp", SideKind::xmp), (Texts{"a", "a.*"}));
  EXPECT_EQ(targets("IMG_E1.AAE", SideKind::adjustment), (Texts{"img_1.*"}));
}

TEST(SideTargets, SeeThroughTheNamesOfPhotoServices) {
  const auto takeout = [](const std::string& name, const std::string& title = "") {
    return targets(name, SideKind::takeout, title);
  };
  EXPECT_EQ(takeout("IMG_1.JPG.json"), (Texts{"img_1.jpg"}));
  EXPECT_EQ(takeout("IMG_1.JPG(2).json"), (Texts{"img_1(2).jpg"}));
  EXPECT_EQ(takeout("IMG_1.JPG.supplemental-metadata.json"), (Texts{"img_1.jpg"}));
  EXPECT_EQ(takeout("IMG_1.JPG.supplemental-metadata(1).json"), (Texts{"img_1(1).jpg"}));
  EXPECT_EQ(takeout("IMG_1.JPG.suppl.json"), (Texts{"img_1.jpg"}));
  EXPECT_EQ(takeout("a.b.json"), (Texts{"a.b"}));
}

TEST(SideTargets, OfNamesThatWereCutAreThoseThatTheTitleTells) {
  const std::string stem = "Screenshot_2019-05-06-12-13-14-123_com.example.application";
  const std::string cut = (stem + ".jpg").substr(0, 46);
  EXPECT_EQ(targets(cut + ".json", SideKind::takeout, stem + ".jpg").size(), 3U);
  const Texts found = targets(cut + "(3).json", SideKind::takeout, stem + ".jpg");
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[1], "screenshot_2019-05-06-12-13-14-123_com.example.application(3).jpg");
  EXPECT_EQ(found[2], "screenshot_2019-05-06-12-13-14-123_com.example.(3).jpg");
}

TEST(FamilyNumbers, DifferByFolder) {
  EXPECT_EQ(familyNumbers(1, "a.jpg", {}), familyNumbers(1, "A.MOV", {}));
  EXPECT_NE(familyNumbers(1, "a.jpg", {}), familyNumbers(2, "a.jpg", {}));
}

}  // namespace
}  // namespace quorvin
