// Images as files, out of the imported library.
#include <sys/xattr.h>

#include <array>
#include <cstdlib>
#include <fstream>

#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class ImageFiles : public testing::Test {
 protected:
  Exports channel;

  /// The stored picture as a PNG, decoded by another program and turned upright.
  fs::path picture(const std::string& name) {
    const fs::path png = channel.folder() / "picture.png";
    outputOf({"vips", "autorot", kGoodMedia / name, png});
    return png;
  }
  double modificationOfAsset(const std::string& name) {
    return static_cast<double>(
               integerAt(channel.result("getAssetInfo", Map{{"assetId", channel.asset(name)}}),
                         "modificationDate")) /
           1000;
  }
};

TEST_F(ImageFiles, HoldTheStoredBytesUnderTheStoredName) {
  for (const std::string name :
       {"IMG_0002.jpg", "IMG_0003.JPG", "IMG_0010.HEIC", "still.avif", "drawing.webp", "scan.tif",
        "transparent.png", "animation.gif", "orientation_6.jpg", "IMG_0011.HEIC"}) {
    const fs::path file = channel.image(name);
    EXPECT_EQ(file, channel.temporary() / "image" / name);
    EXPECT_TRUE(bytesOf(file) == bytesOf(kGoodMedia / name)) << name;
  }
  EXPECT_EQ(filesIn(channel.temporary()).size(), 10u);
}

TEST_F(ImageFiles, KeepWhatIsNoHeicWhenAskedToConvert) {
  for (const std::string name : {"IMG_0003.JPG", "still.avif", "drawing.webp", "transparent.png"}) {
    const fs::path file = channel.image(name, true);
    EXPECT_EQ(file.filename(), name);
    EXPECT_TRUE(bytesOf(file) == bytesOf(kGoodMedia / name)) << name;
  }
}

TEST_F(ImageFiles, ConvertHeicToAJpegOfTheSamePicture) {
  const fs::path file = channel.image("IMG_0010.HEIC", true);
  EXPECT_EQ(file, channel.temporary() / "image/IMG_0010.jpg");
  const SeenStill seen = seeStill(file);
  EXPECT_EQ(seen.format, "mjpeg");
  EXPECT_EQ(seen.size, (PixelSize{1200, 900}));
  EXPECT_GT(psnr(file, picture("IMG_0010.HEIC")), 40);
}

TEST_F(ImageFiles, OfMediumQualityFitIntoTheirSizeAndAreNeverLarger) {
  struct Case {
    std::string name, file;
    PixelSize size;
  };
  for (const Case& c :
       {Case{"IMG_0002.jpg", "IMG_0002.jpg", {768, 1024}},
        Case{"IMG_0003.JPG", "IMG_0003.jpg", {1024, 576}},
        Case{"IMG_0010.HEIC", "IMG_0010.jpg", {1024, 768}},
        Case{"still.avif", "still.jpg", {960, 720}}, Case{"scan.tif", "scan.jpg", {960, 720}},
        Case{"animation.gif", "animation.jpg", {160, 120}},
        Case{"PANORAMA.jpg", "PANORAMA.jpg", {1024, 256}}}) {
    for (const bool convertJpeg : {false, true}) {
      const fs::path file = channel.image(c.name, convertJpeg, true);
      EXPECT_EQ(file, channel.temporary() / "image" / c.file);
      const SeenStill seen = seeStill(file);
      EXPECT_EQ(seen.format, "mjpeg") << c.name;
      EXPECT_EQ(seen.size, c.size) << c.name;
    }
  }
}

TEST_F(ImageFiles, OfMediumQualityAreUprightWhateverTheOrientation) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const std::string name = "orientation_" + std::to_string(orientation) + ".jpg";
    const fs::path file = channel.image(name, false, true);
    EXPECT_EQ(seeStill(file).size, orientation < 5 ? (PixelSize{320, 240}) : (PixelSize{240, 320}));
    EXPECT_GT(psnr(file, picture(name)), 38) << name;
  }
}

TEST_F(ImageFiles, OfMediumQualityShowTransparentPartsOnWhite) {
  const fs::path file = channel.image("transparent.png", false, true);
  const std::string pixel = outputOf({"vips", "getpoint", file, "10", "10"});
  int red = 0;
  int green = 0;
  int blue = 0;
  ASSERT_EQ(std::sscanf(pixel.c_str(), "%d %d %d", &red, &green, &blue), 3) << pixel;
  // 0x2a9d8f at 40 %.
  EXPECT_NEAR(red, 0.4 * 0x2a + 0.6 * 255, 4);
  EXPECT_NEAR(green, 0.4 * 0x9d + 0.6 * 255, 4);
  EXPECT_NEAR(blue, 0.4 * 0x8f + 0.6 * 255, 4);
}

TEST_F(ImageFiles, CarryTheDatesOfTheirAssets) {
  for (const auto& [name, convert, medium] : {std::tuple{"IMG_0002.jpg", false, false},
                                              {"IMG_0010.HEIC", true, false},
                                              {"NO_DATE.jpg", false, true}}) {
    const fs::path file = channel.image(name, convert, medium);
    EXPECT_NEAR(modificationOf(file), modificationOfAsset(name), 0.002) << name;
  }
  std::array<char, 64> created = {};
  if (::getxattr((channel.temporary() / "image/IMG_0010.jpg").c_str(), "user.quorvin.creationDate",
                 created.data(), created.size() - 1) < 0) {
    GTEST_SKIP() << "no attributes on this file system";
  }
  EXPECT_EQ(std::stod(created.data()), 1690873200) << "2023-08-01 09:00 at two hours from UTC";
}

TEST_F(ImageFiles, ReplaceTheEarlierOnes) {
  const fs::path stored = channel.image("IMG_0002.jpg");
  const fs::path medium = channel.image("IMG_0002.jpg", false, true);
  EXPECT_EQ(stored, medium);
  EXPECT_EQ(seeStill(medium).size, (PixelSize{768, 1024}));
  channel.image("IMG_0002.jpg");
  EXPECT_TRUE(bytesOf(stored) == bytesOf(kGoodMedia / "IMG_0002.jpg"));
  EXPECT_EQ(filesIn(channel.temporary()), (std::vector<std::string>{"image/IMG_0002.jpg"}));
}

TEST_F(ImageFiles, AreTheCallersToWriteAndRemove) {
  const fs::path file = channel.image("IMG_0002.jpg");
  EXPECT_NE(fs::status(file).permissions() & fs::perms::owner_write, fs::perms::none);
  EXPECT_TRUE(fs::remove(file));
  EXPECT_EQ(channel.image("IMG_0002.jpg"), file);
}

TEST_F(ImageFiles, OfDamagedOriginalsAreStoredAsTheyAreButNotConverted) {
  const std::string truncated = bytesOf(kBadMedia / "truncated.heic");
  channel.useCopy([&](const std::string& library) {
    replaceOriginal(library, kGoodMedia / "IMG_0010.HEIC", truncated);
  });
  const std::string id = channel.asset("IMG_0010.HEIC");
  EXPECT_EQ(channel.error("getImageUrl", imageFile(id, true)),
            (FlutterError{"Error", "HEIC to JPEG conversion failed", Value()}));
  const FlutterError medium = channel.error("getImageUrl", imageFile(id, false, true));
  EXPECT_EQ(medium.message, "Failed to generate image");
  EXPECT_NE(medium.details.text(), "");
  EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
  EXPECT_TRUE(bytesOf(channel.image("IMG_0010.HEIC")) == truncated);
  EXPECT_EQ(seeStill(channel.image("IMG_0011.HEIC", true)).size, (PixelSize{960, 720}));
}

TEST_F(ImageFiles, OfATruncatedJpegAreStoredAsItIsButNotMadeSmaller) {
  const std::string truncated = bytesOf(kGoodMedia / "IMG_0002.jpg").substr(0, 400'000);
  channel.useCopy([&](const std::string& library) {
    replaceOriginal(library, kGoodMedia / "IMG_0002.jpg", truncated);
  });
  const FlutterError medium =
      channel.error("getImageUrl", imageFile(channel.asset("IMG_0002.jpg"), false, true));
  EXPECT_EQ(medium.message, "Failed to generate image");
  EXPECT_NE(medium.details.text(), "");
  EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
  EXPECT_TRUE(bytesOf(channel.image("IMG_0002.jpg")) == truncated);
}

TEST_F(ImageFiles, OfOriginalsThatAreGoneAreReported) {
  channel.useCopy([](const std::string& library) { fs::remove_all(library + "/originals"); });
  for (const std::string name : {"IMG_0002.jpg", "IMG_0010.HEIC"}) {
    const std::string id = channel.asset(name);
    const FlutterError stored = channel.error("getImageUrl", imageFile(id));
    EXPECT_EQ(stored.message, "Failed to export live photo video id = " + id);
    EXPECT_NE(stored.details.text(), "");
    const FlutterError medium = channel.error("getImageUrl", imageFile(id, false, true));
    EXPECT_EQ(medium.message, "Failed to generate image");
    EXPECT_NE(medium.details.text(), "");
  }
  EXPECT_EQ(channel.error("getImageUrl", imageFile(channel.asset("IMG_0010.HEIC"), true)).message,
            "HEIC to JPEG conversion failed");
  EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
}

// The directory

TEST_F(ImageFiles, HaveNoDoubledSlashInTheirPaths) {
  channel.use(QUORVIN_IMPORTED_LIBRARY, channel.temporary().string() + "//");
  EXPECT_EQ(channel.image("IMG_0002.jpg"), channel.temporary() / "image/IMG_0002.jpg");
}

TEST_F(ImageFiles, LieInAPrivateDirectoryOfTheUsersWhenNoneIsNamed) {
  const char* before = std::getenv("TMPDIR");
  const std::string kept = before == nullptr ? "" : before;
  fs::create_directory(channel.folder() / "tmp");
  ::setenv("TMPDIR", (channel.folder() / "tmp").c_str(), 1);
  QuorvinOptions opened = channel.engines.options();
  opened.library_path = QUORVIN_IMPORTED_LIBRARY;
  opened.temporary_path = nullptr;
  const EnginePointer engineOfDefaults = channel.engines.open(opened);
  const Value reply = channel.engines.result(engineOfDefaults.get(), "getImageUrl",
                                             imageFile(channel.asset("IMG_0002.jpg")));
  before == nullptr ? ::unsetenv("TMPDIR") : ::setenv("TMPDIR", kept.c_str(), 1);
  const fs::path file = textAt(reply, "url");
  const fs::path directory = file.parent_path().parent_path();
  EXPECT_EQ(directory.parent_path(), channel.folder() / "tmp");
  EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all);
}

}  // namespace
}  // namespace quorvin
