// The bytes of images, out of the imported library.
#include <fstream>
#include <string_view>

#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

std::string_view textOf(const ByteBuffer& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class ImageData : public testing::Test {
 protected:
  Exports channel;

  /// The bytes as a file.
  fs::path saved(const ByteBuffer& bytes, const std::string& name) {
    const fs::path file = channel.folder() / name;
    std::ofstream(file, std::ios::binary) << textOf(bytes);
    return file;
  }
  /// The HEIC's picture, decoded by another program.
  fs::path picture(const fs::path& heic) {
    const fs::path png = channel.folder() / "picture.png";
    outputOf({"vips", "copy", heic, png});
    return png;
  }
};

TEST_F(ImageData, IsTheImportedFileBitByBit) {
  for (const std::string name :
       {"IMG_0002.jpg", "IMG_0003.JPG", "IMG_0010.HEIC", "IMG_0011.HEIC", "still.avif",
        "drawing.webp", "scan.tif", "transparent.png", "animation.gif", "orientation_6.jpg",
        "PAIR_STILL.jpg", "PANORAMA.jpg", "NO_DATE.jpg"}) {
    EXPECT_TRUE(textOf(channel.data(name, false)) == bytesOf(kGoodMedia / name)) << name;
  }
}

TEST_F(ImageData, IsUnchangedByAConversionThatDoesNotConcernIt) {
  for (const std::string name : {"IMG_0002.jpg", "still.avif", "drawing.webp", "scan.tif",
                                 "transparent.png", "animation.gif"}) {
    EXPECT_TRUE(textOf(channel.data(name, true)) == bytesOf(kGoodMedia / name)) << name;
  }
}

TEST_F(ImageData, ConvertsHeicToAJpegOfTheSamePicture) {
  for (const auto& [name, size] : {std::pair<std::string, PixelSize>{"IMG_0010.HEIC", {1200, 900}},
                                   {"IMG_0011.HEIC", {960, 720}}}) {
    const fs::path jpeg = saved(channel.data(name, true), "converted.jpg");
    const SeenStill seen = seeStill(jpeg);
    EXPECT_EQ(seen.format, "mjpeg");
    EXPECT_EQ(seen.size, size);
    EXPECT_GT(psnr(jpeg, picture(kGoodMedia / name)), 40);
  }
}

TEST_F(ImageData, CarriesNoMetadataIntoAConversion) {
  const ByteBuffer jpeg = channel.data("IMG_0010.HEIC", true);
  const std::string source = bytesOf(kGoodMedia / "IMG_0010.HEIC");
  for (const char* trace : {"2023:08:01", "Exif"}) {
    EXPECT_NE(source.find(trace), std::string::npos) << trace;
    EXPECT_EQ(textOf(jpeg).find(trace), std::string_view::npos) << trace;
  }
}

TEST_F(ImageData, IsNotThereWithoutItsOriginal) {
  channel.useCopy([](const std::string& library) {
    fs::remove(originalOf(library, kGoodMedia / "IMG_0010.HEIC"));
  });
  for (const bool convertJpeg : {false, true}) {
    EXPECT_EQ(channel.error("getImageData", imageData(channel.asset("IMG_0010.HEIC"), convertJpeg)),
              (FlutterError{"Error", "Failed to load image data", Value()}));
  }
  EXPECT_TRUE(textOf(channel.data("IMG_0011.HEIC", false)) ==
              bytesOf(kGoodMedia / "IMG_0011.HEIC"));
}

TEST_F(ImageData, IsRepliedButNotConvertedWhenItsOriginalIsDamaged) {
  const std::string truncated = bytesOf(kBadMedia / "truncated.heic");
  channel.useCopy([&](const std::string& library) {
    replaceOriginal(library, kGoodMedia / "IMG_0010.HEIC", truncated);
    replaceOriginal(library, kGoodMedia / "IMG_0011.HEIC", "");
  });
  EXPECT_TRUE(textOf(channel.data("IMG_0010.HEIC", false)) == truncated);
  for (const std::string name : {"IMG_0010.HEIC", "IMG_0011.HEIC"}) {
    const FlutterError fault = channel.error("getImageData", imageData(channel.asset(name), true));
    EXPECT_EQ(fault, (FlutterError{"Error", "HEIC to JPEG conversion failed", Value()})) << name;
  }
  EXPECT_TRUE(textOf(channel.data("IMG_0002.jpg", true)) == bytesOf(kGoodMedia / "IMG_0002.jpg"));
}

TEST_F(ImageData, OfAnEditedPhotoIsItsRendering) {
  const std::string rendering = bytesOf(kGoodMedia / "BURST_001.jpg");
  channel.useCopy([&](const std::string& library) {
    const std::string path = "00/00000000-0000-4000-8000-000000000000-5.jpg";
    fs::create_directory(library + "/originals/00");
    std::ofstream(library + "/originals/" + path, std::ios::binary) << rendering;
    outputOf({"sqlite3", library + "/library.sqlite",
              "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash) "
              "SELECT asset, 9, 5, 'FullSizeRender.jpg', 'public.jpeg', "
              "'" +
                  path + "', " + std::to_string(rendering.size()) +
                  ", x'00' FROM resources WHERE name = 'IMG_0010.HEIC'"});
  });
  EXPECT_TRUE(textOf(channel.data("IMG_0010.HEIC", false)) == rendering);
  EXPECT_TRUE(textOf(channel.data("IMG_0010.HEIC", true)) == rendering)
      << "a JPEG is not converted";
}

TEST_F(ImageData, LeavesNoDescriptorOpen) {
  Descriptors before;
  constexpr int kRounds = 6;
  for (int round = 0; round < kRounds; ++round) {
    if (round == 2) before = descriptorsInUse();
    for (const std::string name : {"IMG_0002.jpg", "IMG_0010.HEIC", "scan.tif"})
      channel.data(name, true);
    channel.error("getImageData", imageData(channel.asset("MOVIE.mov"), true));
  }
  const Descriptors after = descriptorsInUse();
  EXPECT_LT(after.own, before.own + kRounds - 2);
  EXPECT_LT(after.worker, before.worker + kRounds - 2);
}

}  // namespace
}  // namespace quorvin
