#include "platform_linux/library/export/export_names.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

LeavingAsset assetOf(const std::vector<std::pair<std::int64_t, std::string>>& resources) {
  LeavingAsset asset;
  for (const auto& [type, name] : resources) asset.resources.push_back({type, name, "", 1, ""});
  return asset;
}

std::vector<std::string> namesOf(const LeavingAsset& asset, ExportParts parts = ExportParts::all,
                                 int number = 1) {
  std::vector<LeavingFile> files = leavingFiles(asset, parts);
  if (files.empty()) return {};
  nameFiles(files, numberedStem(leavingStem(files), number));
  std::vector<std::string> names;
  for (const LeavingFile& file : files) {
    names.push_back(std::to_string(file.type) + " " + file.name);
  }
  return names;
}

using Texts = std::vector<std::string>;

TEST(SafeNames, KeepWhatEveryFileSystemTakes) {
  EXPECT_EQ(safeFileName("IMG_1 \xc3\xa4.JPG"), "IMG_1 \xc3\xa4.JPG");
  EXPECT_EQ(safeFileName("a/b\nc:d.jpg"), "a_b_c_d.jpg");
  EXPECT_EQ(safeFileName(".hidden.jpg"), "_hidden.jpg");
  EXPECT_EQ(safeFileName(""), "_");
  EXPECT_EQ(safeFileName("."), "_");
  EXPECT_EQ(safeFileName(".."), "__");
  EXPECT_EQ(safeFolderName("Sea/Sky"), "Sea_Sky");
  EXPECT_EQ(safeFolderName("etc."), "etc_");
}

TEST(SafeNames, AreNotPassedOverByAnImport) {
  EXPECT_EQ(safeFolderName("lost+found"), "lost+found_");
  EXPECT_EQ(safeFolderName("@eaDir"), "@eaDir_");
  EXPECT_EQ(safeFileName("Thumbs.db"), "_Thumbs.db");
}

TEST(SafeNames, AreCutBehindACharacterAndBeforeTheExtension) {
  std::string longName;
  for (int i = 0; i < 200; ++i) longName += "\xc3\xa4";
  const std::string cut = safeFileName(longName + ".JPG");
  EXPECT_EQ(cut.size(), 184U);
  EXPECT_TRUE(cut.ends_with("\xc3\xa4.JPG"));
  EXPECT_EQ(safeFolderName(longName).size(), 180U);
  EXPECT_EQ(safeFileName("a." + std::string(300, 'b')).size(), 180U);
}

TEST(ExportedNames, ShareTheStemOfTheFirstOriginal) {
  EXPECT_EQ(namesOf(assetOf({{1, "IMG_1234.HEIC"},
                             {4, "OTHER.DNG"},
                             {5, "Full.JPG"},
                             {7, "Adjustments.plist"},
                             {9, "movie.MOV"},
                             {10, "Full.MOV"},
                             {1002, "IMG_1234.HEIC.json"},
                             {1001, "IMG_1234.xmp"}})),
            (Texts{"1 IMG_1234.HEIC", "4 IMG_1234.DNG", "5 IMG_E1234.JPG", "7 IMG_1234.AAE",
                   "9 IMG_1234.MOV", "10 IMG_E1234.MOV", "1002 IMG_1234.HEIC.json"}));
  EXPECT_EQ(namesOf(assetOf({{1, "DSC1.JPG"}, {5, "x.JPG"}, {8, "y.JPG"}})),
            (Texts{"1 DSC1.JPG", "5 DSC1 (edited).JPG", "8 DSC1 (base).JPG"}));
  EXPECT_EQ(namesOf(assetOf({{1, "IMG_1.JPG"}, {5, "x.JPG"}}), ExportParts::all, 2),
            (Texts{"1 IMG_1 (2).JPG", "5 IMG_1 (2) (edited).JPG"}));
}

TEST(ExportedNames, AreNeverAlike) {
  EXPECT_EQ(namesOf(assetOf({{1, "a.JPG"}, {4, "b.jpg"}, {8, "c.JPG"}, {12, "d.jpg"}})),
            (Texts{"1 a.JPG", "4 a-2.jpg", "8 a (base).JPG", "12 a (base)-2.jpg"}));
}

TEST(ExportedNames, AreOfOriginalsAloneOrOfWhatIsShown) {
  const LeavingAsset edited = assetOf({{1, "IMG_1.HEIC"},
                                       {4, "IMG_1.DNG"},
                                       {5, "FullSizeRender.JPG"},
                                       {7, "IMG_1.AAE"},
                                       {9, "IMG_1.MOV"},
                                       {10, "FullSizeRender.MOV"}});
  EXPECT_EQ(namesOf(edited, ExportParts::original),
            (Texts{"1 IMG_1.HEIC", "4 IMG_1.DNG", "9 IMG_1.MOV"}));
  EXPECT_EQ(namesOf(edited, ExportParts::current), (Texts{"1 IMG_1.JPG", "9 IMG_1.MOV"}));
  EXPECT_EQ(namesOf(assetOf({{2, "a.MOV"}, {6, "b.MOV"}}), ExportParts::current), Texts{"2 a.MOV"});
  EXPECT_EQ(namesOf(assetOf({{3, "a.mp3"}}), ExportParts::current), Texts{"3 a.mp3"});
}

TEST(ExportedNames, OfFilesThatBelongTogetherShareAStem) {
  for (const char* name : {"a.JPG", "A.mov", "a.jpg.xmp", "a.xmp", "A.JPG.json", "a"}) {
    EXPECT_EQ(sharedStem(name), "a") << name;
  }
  EXPECT_EQ(sharedStem("a (2).JPG"), "a (2)");
}

}  // namespace
}  // namespace quorvin
