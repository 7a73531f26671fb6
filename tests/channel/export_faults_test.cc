// What every export does when its place is missing, occupied, full or read-only.
#include <cstdlib>
#include <fstream>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// One way to a file.
struct Export {
  std::string title;
  std::string method;
  std::string name;           ///< of the asset
  Map arguments;              ///< but for the asset's identifier
  std::string file;           ///< below the temporary directory
  std::string folderFault;    ///< the message when the folder cannot be made
  std::string writeFault;     ///< when the file cannot be written; an identifier may follow
  bool removesFirst = false;  ///< removes whatever stands at the file's place

  friend void PrintTo(const Export& each, std::ostream* out) { *out << each.title; }
};

const Export kExports[] = {
    {"StoredImage",
     "getImageUrl",
     "IMG_0002.jpg",
     {{"convertJpeg", false}, {"mediumQuality", false}},
     "image/IMG_0002.jpg",
     "Create temp dir failed",
     "Failed to save image"},
    {"ConvertedImage",
     "getImageUrl",
     "IMG_0010.HEIC",
     {{"convertJpeg", true}, {"mediumQuality", false}},
     "image/IMG_0010.jpg",
     "Create temp dir failed",
     "Failed to save image"},
    {"MediumImage",
     "getImageUrl",
     "IMG_0003.JPG",
     {{"convertJpeg", false}, {"mediumQuality", true}},
     "image/IMG_0003.jpg",
     "Create temp dir failed",
     "Failed to save image"},
    {"EncodedVideo",
     "getVideoUrl",
     "MOVIE.mov",
     {{"mediumQuality", false}, {"videoFormat", 2}},
     "video/MOVIE.mp4",
     "Failed to create temp video folder",
     "Export failed",
     true},
    {"MediumVideo",
     "getVideoUrl",
     "CLIP.mp4",
     {{"mediumQuality", true}, {"videoFormat", 0}},
     "video/CLIP.mov",
     "Failed to create temp video folder",
     "Export failed",
     true},
    {"CopiedVideo",
     "getVideoUrl",
     "SLOWMO.mov",
     {{"mediumQuality", false}, {"videoFormat", 0}},
     "video/SLOWMO.mov",
     "Failed to create temp video folder",
     "Export failed",
     true},
    {"LivePhoto",
     "getLivePhotoUrl",
     "IMG_0011.HEIC",
     {{"mediumQuality", false}},
     "livephoto/IMG_0011.mov",
     "Failed to create temp directory",
     "Failed to export live photo video id = ",
     true},
};

class ExportFaults : public testing::Test, public testing::WithParamInterface<Export> {
 protected:
  Exports channel;

  Map arguments() {
    Map all = GetParam().arguments;
    all.emplace_back("assetId", channel.asset(GetParam().name));
    return all;
  }
  void expectSuccess(const fs::path& place) {
    EXPECT_EQ(channel.exported(GetParam().method, arguments()), place / GetParam().file);
    EXPECT_GT(fs::file_size(place / GetParam().file), 1000u);
  }
  void expectFault(const std::string& message) {
    const FlutterError fault = channel.error(GetParam().method, arguments());
    const bool namesAsset = message.ends_with("id = ");
    EXPECT_EQ(fault.message, namesAsset ? message + channel.asset(GetParam().name) : message);
    EXPECT_GT(fault.details.text().size(), 20u) << "a sentence";
  }
  fs::path file() const { return channel.temporary() / GetParam().file; }
};

INSTANTIATE_TEST_SUITE_P(Of, ExportFaults, testing::ValuesIn(kExports),
                         [](const auto& each) { return each.param.title; });

TEST_P(ExportFaults, AMissingTemporaryDirectoryIsMadeAgain) {
  expectSuccess(channel.temporary());
  fs::remove_all(channel.temporary());
  expectSuccess(channel.temporary());
  EXPECT_EQ(filesIn(channel.temporary()), (std::vector<std::string>{GetParam().file}));
}

TEST_P(ExportFaults, AFileInTheFoldersPlaceIsReportedAndKept) {
  fs::create_directories(channel.temporary());
  std::ofstream(file().parent_path()) << "mine";
  expectFault(GetParam().folderFault);
  EXPECT_EQ(bytesOf(file().parent_path()), "mine");
  fs::remove(file().parent_path());
  expectSuccess(channel.temporary());
}

TEST_P(ExportFaults, AFolderInTheFilesPlaceIsReportedOrReplaced) {
  fs::create_directories(file() / "inner");
  if (GetParam().removesFirst) {
    expectSuccess(channel.temporary());
  } else {
    expectFault(GetParam().writeFault);
    EXPECT_TRUE(fs::is_directory(file() / "inner"));
    EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
    fs::remove_all(file());
    expectSuccess(channel.temporary());
  }
}

TEST_P(ExportFaults, AReadOnlyPlaceIsReported) {
  SmallVolume volume("size=4m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  channel.use(QUORVIN_IMPORTED_LIBRARY, volume.path());
  volume.makeReadOnly();
  expectFault(GetParam().folderFault);
}

TEST_P(ExportFaults, AReadOnlyPlaceWithTheFolderIsReported) {
  SmallVolume volume("size=4m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  fs::create_directory((volume / GetParam().file).substr(0, (volume / GetParam().file).rfind('/')));
  channel.use(QUORVIN_IMPORTED_LIBRARY, volume.path());
  volume.makeReadOnly();
  expectFault(GetParam().writeFault);
}

TEST_P(ExportFaults, AFullPlaceIsReportedAndNothingStays) {
  const SmallVolume volume("size=24k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  channel.use(QUORVIN_IMPORTED_LIBRARY, volume.path());
  expectFault(GetParam().writeFault);
  EXPECT_EQ(filesIn(volume.path()), std::vector<std::string>{});
  channel.use(QUORVIN_IMPORTED_LIBRARY);
  expectSuccess(channel.temporary());
}

TEST_P(ExportFaults, AFullPlaceKeepsTheEarlierImageWhole) {
  const SmallVolume volume("size=24k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const fs::path earlier = volume / GetParam().file;
  fs::create_directory(earlier.parent_path());
  std::ofstream(earlier) << "earlier";
  channel.use(QUORVIN_IMPORTED_LIBRARY, volume.path());
  expectFault(GetParam().writeFault);
  if (GetParam().removesFirst) {
    EXPECT_EQ(filesIn(volume.path()), std::vector<std::string>{}) << "it goes before the export";
  } else {
    EXPECT_EQ(filesIn(volume.path()), (std::vector<std::string>{GetParam().file}));
    EXPECT_EQ(bytesOf(earlier), "earlier");
  }
}

TEST_P(ExportFaults, FaultsAndSuccessesLeaveNoDescriptorOpen) {
  Descriptors before;
  constexpr int kRounds = 10;  // more than connections and workers come and go with
  for (int round = 0; round < kRounds; ++round) {
    if (round == 2) before = descriptorsInUse();
    fs::remove_all(channel.temporary());
    expectSuccess(channel.temporary());
    fs::remove_all(file().parent_path());
    std::ofstream(file().parent_path()) << "mine";
    expectFault(GetParam().folderFault);
  }
  const Descriptors after = descriptorsInUse();
  EXPECT_LT(after.own, before.own + kRounds - 2);
  EXPECT_LT(after.worker, before.worker + kRounds - 2);
}

class ExportsOfBadMedia : public testing::Test {
 protected:
  Exports channel;
};

TEST_F(ExportsOfBadMedia, AreFilesOrReasonsAndNothingElse) {
  const std::string library = channel.folder() / "bad";
  const std::string import = std::string(QUORVIN_TOOL) + " --library " + library + " import " +
                             kBadMedia.string() + " >/dev/null 2>&1";
  ASSERT_LE(WEXITSTATUS(std::system(import.c_str())), 1);
  channel.use(library);
  std::size_t files = 0;
  std::size_t reasons = 0;
  const auto expectAnswer = [&](const std::string& method, const Map& arguments) {
    const Answer& answer = channel.call(method, arguments);
    channel.await(answer);
    const auto reply = decodeEnvelope(answer.message);
    ASSERT_TRUE(reply);
    if (const auto* fault = std::get_if<FlutterError>(&*reply)) {
      EXPECT_NE(fault->message, "");
      ++reasons;
    } else if (method != "getImageData") {
      EXPECT_TRUE(fs::is_regular_file(textAt(std::get<Value>(*reply), "url")));
      ++files;
    }
  };
  const List assets = channel.page(channel.gallery("Recents"), 0, 1000, kNewestFirst);
  EXPECT_GE(assets.size(), 8u);
  for (const Value& record : assets) {
    const std::string id = textAt(record, "id");
    SCOPED_TRACE(channel.result("getAssetOriginalFilename", Map{{"assetId", id}}).text());
    for (const bool flag : {false, true}) {
      expectAnswer("getImageData", imageData(id, flag));
      expectAnswer("getImageUrl", imageFile(id, flag));
      for (const Format format : {Format::original, Format::mov, Format::mp4}) {
        expectAnswer("getVideoUrl", videoFile(id, format, flag));
      }
    }
    expectAnswer("getImageUrl", imageFile(id, false, true));
    expectAnswer("getLivePhotoUrl", livePhotoFile(id));
  }
  EXPECT_GE(files, 2 * assets.size() - 2);
  EXPECT_GT(reasons, 0u);
  for (const std::string& file : filesIn(channel.temporary())) {
    EXPECT_FALSE(fs::path(file).filename().string().starts_with(".quorvin")) << file;
  }
}

}  // namespace
}  // namespace quorvin
