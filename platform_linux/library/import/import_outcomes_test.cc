// Which files make one asset, when they come together.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

struct Case {
  std::string name;
  std::vector<std::pair<std::string, std::string>> files;  ///< name and content
  std::vector<std::string> assets;                         ///< in any order
};

void PrintTo(const Case& tested, std::ostream* stream) {
  *stream << tested.name;
}

class ImportOutcomes : public testing::TestWithParam<Case> {};

TEST_P(ImportOutcomes, AreTheAssets) {
  ImportFixture test;
  for (const auto& [name, content] : GetParam().files) test.put(name, content);
  const ImportSummary summary = test.importAll();
  EXPECT_EQ(summary.addedAssets, GetParam().assets.size());
  EXPECT_EQ(summary.addedFiles + summary.skippedFiles, GetParam().files.size());
  std::vector<std::string> assets = test.assets();
  std::vector<std::string> expected = GetParam().assets;
  std::sort(assets.begin(), assets.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(assets, expected);
  test.expectSound();
}

const std::string kDecomposed = "Zoe\xCC\x88 \xF0\x9F\x90\x88.jpg";
const std::string kLongName = std::string(251, 'x') + ".jpg";

INSTANTIATE_TEST_SUITE_P(
    OfFiles, ImportOutcomes,
    testing::Values(
        Case{"NamesThatBelongTogetherMakeALivePhoto",
             {{"IMG_1.MOV", "video"},
              {"img_1.heic", "image"},
              {"IMG_2.jpeg", "image 2"},
              {"IMG_2.mov", "video 2"}},
             {"1 1:IMG_2.jpeg 9:IMG_2.mov live", "1 1:img_1.heic 9:IMG_1.MOV live"}},
        Case{"TheHeicOfTwoStillsGetsTheMovie",
             {{"IMG_1.HEIC", "image"}, {"IMG_1.JPG", "image too"}, {"IMG_1.MOV", "video"}},
             {"1 1:IMG_1.HEIC 9:IMG_1.MOV live", "1 1:IMG_1.JPG"}},
        Case{"NamesPairOnlyWithinAFolder",
             {{"a/IMG_1.HEIC", "image"}, {"b/IMG_1.MOV", "video"}},
             {"1 1:IMG_1.HEIC", "2 2:IMG_1.MOV"}},
        Case{"NamesPairOnlyWithTheUsualExtensions",
             {{"IMG_2.PNG", "image 2"},
              {"IMG_2.MOV", "video 2"},
              {"IMG_3.JPG", "image 3"},
              {"IMG_3.MP4", "video 3"}},
             {"1 1:IMG_2.PNG", "2 2:IMG_2.MOV", "1 1:IMG_3.JPG", "2 2:IMG_3.MP4"}},
        Case{"ContentIdentifiersPairAcrossFoldersAndBeforeNames",
             {{"a/one.heic", "image id=X"},
              {"a/one.mov", "video id=Y"},
              {"b/two.mov", "video id=X"}},
             {"1 1:one.heic 9:two.mov live", "2 2:one.mov"}},
        Case{"ContentIdentifiersThatDifferKeepNamesApart",
             {{"one.heic", "image id=X"}, {"one.mov", "video id=Y"}},
             {"1 1:one.heic", "2 2:one.mov"}},
        Case{"AMotionPhotoWhoseMovieIsNotThereIsAPhoto",
             {{"a.jpg", "image movieat=40 moviesize=9000"}},
             {"1 1:a.jpg"}},
        Case{"TheFirstByDateAndNameRepresentsABurst",
             {{"a.jpg", "image burst=B date=5 x"},
              {"c.jpg", "image burst=B date=4 x"},
              {"b.jpg", "image burst=B date=4 y"}},
             {"1 1:a.jpg burst", "1 1:b.jpg burst represents", "1 1:c.jpg burst"}},
        Case{"NamesMakeABurst",
             {{"00_BURST2017_x.jpg", "image 1"},
              {"01_BURST2017_COVER.jpg", "image 2"},
              {"02_BURST2018.jpg", "image 3"}},
             {"1 1:00_BURST2017_x.jpg burst", "1 1:01_BURST2017_COVER.jpg burst represents",
              "1 1:02_BURST2018.jpg"}},
        Case{"NamesAreKeptByteForByte",
             {{kDecomposed, "image 1"}, {kLongName, "image 2"}},
             {"1 1:" + kDecomposed, "1 1:" + kLongName}},
        Case{"BytesThatAreNoCharactersAreReplaced",
             {{"caf\xE9 \xED\xA0\x80.jpg", "image"}},
             {"1 1:caf\uFFFD \uFFFD\uFFFD\uFFFD.jpg"}},
        Case{
            "EveryByteTellsFilesApart",
            {{"a/same.jpg", "image 1"}, {"b/same.jpg", "image 2"}, {"c/other-name.jpg", "image 1"}},
            {"1 1:same.jpg", "1 1:same.jpg"}}),
    [](const testing::TestParamInfo<Case>& info) { return info.param.name; });

}  // namespace
}  // namespace quorvin
