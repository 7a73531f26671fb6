// Real files of cameras, where the environment names a folder of them.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

class CameraFiles : public testing::Test {
 protected:
  Exports channel;

  void SetUp() override {
    const char* folderOfFiles = std::getenv("QUORVIN_TEST_MEDIA");
    if (folderOfFiles == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder";
    const std::string library = channel.folder() / "cameras";
    const std::string import = std::string(QUORVIN_TOOL) + " --library " + library + " import " +
                               folderOfFiles + " >/dev/null 2>&1";
    const int status = std::system(import.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_LE(WEXITSTATUS(status), 1);
    channel.use(library);
  }

  List all() { return channel.page(channel.gallery("Recents"), 0, 1000, kNewestFirst); }

  /// The file that a call replies; none when it replies an error, which has a text.
  std::optional<std::filesystem::path> fileOf(const Map& arguments) {
    const Answer& answer = channel.call("getImageUrl", arguments);
    channel.await(answer);
    const auto reply = decodeEnvelope(answer.message);
    if (!reply) return std::nullopt;
    if (const auto* fault = std::get_if<FlutterError>(&*reply)) {
      EXPECT_NE(fault->message, "");
      return std::nullopt;
    }
    return textAt(std::get<Value>(*reply), "url");
  }

  static PixelSize sizeOf(const Value& record) {
    return {integerAt(record, "width"), integerAt(record, "height")};
  }
};

TEST_F(CameraFiles, EveryAssetIsAnsweredWithAThumbnailOrAReason) {
  const List assets = all();
  EXPECT_GE(assets.size(), 15u);
  for (const Value& asset : assets) {
    const Answer& answer = channel.call("getThumbnail", Map{{"assetId", textAt(asset, "id")},
                                                            {"width", 256},
                                                            {"height", 256},
                                                            {"contentMode", 0},
                                                            {"jpegFormat", true}});
    channel.await(answer);
    EXPECT_GT(answer.message.size(), 10u);
  }
}

TEST_F(CameraFiles, TheSameSceneIsUprightInEveryOrientation) {
  int scenes = 0;
  for (const Value& asset : all()) {
    const Value name =
        channel.result("getAssetOriginalFilename", Map{{"assetId", textAt(asset, "id")}});
    const bool landscape = name.text().starts_with("landscape_");
    if (!landscape && !name.text().starts_with("portrait_")) continue;
    ++scenes;
    EXPECT_EQ(integerAt(asset, "width") > integerAt(asset, "height"), landscape) << name.text();
  }
  EXPECT_GT(scenes, 0);
}

TEST_F(CameraFiles, EveryImageIsStoredBitByBit) {
  for (const Value& record : all()) {
    const std::string id = textAt(record, "id");
    const Value bytes = channel.result("getImageData", imageData(id, false));
    ASSERT_NE(bytes.as<ByteBuffer>(), nullptr);
    const auto file = fileOf(imageFile(id));
    ASSERT_TRUE(file);
    const std::string_view inMemory(reinterpret_cast<const char*>(bytes.as<ByteBuffer>()->data()),
                                    bytes.as<ByteBuffer>()->size());
    EXPECT_TRUE(bytesOf(*file) == inMemory) << *file;
  }
}

TEST_F(CameraFiles, HeicBecomesAJpegOfItsUprightSize) {
  int converted = 0;
  for (const Value& record : all()) {
    const auto file = fileOf(imageFile(textAt(record, "id"), true));
    ASSERT_TRUE(file);
    if (!file->stem().string().starts_with("phone_") || file->extension() != ".jpg") continue;
    const SeenStill seen = seeStill(*file);
    EXPECT_EQ(seen.format, "mjpeg") << *file;
    EXPECT_EQ(seen.size, sizeOf(record)) << *file;
    ++converted;
  }
  EXPECT_GE(converted, 2);
}

TEST_F(CameraFiles, HeicKeepsItsColoursAsAJpeg) {
  const std::filesystem::path source = std::getenv("QUORVIN_TEST_MEDIA");
  const std::filesystem::path before = channel.folder() / "before.tif";
  const std::filesystem::path after = channel.folder() / "after.tif";
  for (const std::string name : {"phone_12mp", "phone_a"}) {
    const auto jpeg = fileOf(imageFile(channel.asset(name + ".HEIC"), true));
    ASSERT_TRUE(jpeg);
    outputOf({"vips", "icc_transform", source / (name + ".HEIC"), before, "srgb", "--embedded"});
    outputOf({"vips", "icc_transform", *jpeg, after, "srgb", "--embedded"});
    EXPECT_GT(psnr(after, before), 40) << name;
  }
}

TEST_F(CameraFiles, EveryImageHasAMediumSizeOfItsOwnShapeOrAReason) {
  std::size_t rendered = 0;
  const List assets = all();
  for (const Value& record : assets) {
    const auto file = fileOf(imageFile(textAt(record, "id"), false, true));
    if (!file) continue;
    ++rendered;
    const SeenStill seen = seeStill(*file);
    const PixelSize whole = sizeOf(record);
    const double scale =
        std::min(1.0, 1024.0 / static_cast<double>(std::max(whole.width, whole.height)));
    EXPECT_NEAR(static_cast<double>(seen.size.width), static_cast<double>(whole.width) * scale, 1)
        << *file;
    EXPECT_NEAR(static_cast<double>(seen.size.height), static_cast<double>(whole.height) * scale, 1)
        << *file;
  }
  EXPECT_GE(rendered + 4, assets.size());
}

}  // namespace
}  // namespace quorvin
