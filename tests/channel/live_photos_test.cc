// The motion parts of live photos as files, out of the imported library.
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class LivePhotos : public testing::Test {
 protected:
  Exports channel;

  fs::path motion(const std::string& name, bool mediumQuality = false) {
    return channel.exported("getLivePhotoUrl", livePhotoFile(channel.asset(name), mediumQuality));
  }
};

TEST_F(LivePhotos, GiveTheirVideoAsItIsStored) {
  for (const bool medium : {false, true}) {
    const fs::path byName = motion("IMG_0011.HEIC", medium);
    EXPECT_EQ(byName, channel.temporary() / "livephoto/IMG_0011.mov");
    EXPECT_TRUE(bytesOf(byName) == bytesOf(kGoodMedia / "IMG_0011.MOV"));
    const fs::path byIdentifier = motion("PAIR_STILL.jpg", medium);
    EXPECT_EQ(byIdentifier, channel.temporary() / "livephoto/PAIR_STILL.mov");
    EXPECT_TRUE(bytesOf(byIdentifier) == bytesOf(kGoodMedia / "album/PAIR_MOTION.MOV"));
  }
  EXPECT_EQ(seeVideo(channel.temporary() / "livephoto/IMG_0011.mov").frames, 30);
  EXPECT_EQ(filesIn(channel.temporary()),
            (std::vector<std::string>{"livephoto/IMG_0011.mov", "livephoto/PAIR_STILL.mov"}));
}

TEST_F(LivePhotos, GiveAFileThatTheCallerMayChange) {
  const fs::path file = motion("IMG_0011.HEIC");
  EXPECT_NE(fs::status(file).permissions() & fs::perms::owner_write, fs::perms::none);
  fs::resize_file(file, 10);
  EXPECT_EQ(motion("IMG_0011.HEIC"), file);
  EXPECT_TRUE(bytesOf(file) == bytesOf(kGoodMedia / "IMG_0011.MOV"));
}

TEST_F(LivePhotos, CarryTheDatesOfTheirAssets) {
  const fs::path file = motion("IMG_0011.HEIC");
  const auto milliseconds =
      integerAt(channel.result("getAssetInfo", Map{{"assetId", channel.asset("IMG_0011.HEIC")}}),
                "modificationDate");
  EXPECT_NEAR(modificationOf(file), static_cast<double>(milliseconds) / 1000, 0.002);
}

TEST_F(LivePhotos, WithoutTheirVideoOrTheirStillAreReported) {
  channel.useCopy([](const std::string& library) {
    fs::remove(originalOf(library, kGoodMedia / "IMG_0011.MOV"));
    fs::remove(originalOf(library, kGoodMedia / "PAIR_STILL.jpg"));
  });
  for (const std::string name : {"IMG_0011.HEIC", "PAIR_STILL.jpg"}) {
    const FlutterError fault = channel.error("getLivePhotoUrl", livePhotoFile(channel.asset(name)));
    EXPECT_EQ(fault.message, "Failed to load live photo") << name;
    EXPECT_NE(fault.details.text(), "") << name;
  }
  EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
}

TEST_F(LivePhotos, GiveADamagedVideoAsItIsStored) {
  const std::string truncated = bytesOf(kGoodMedia / "IMG_0011.MOV").substr(0, 3000);
  channel.useCopy([&](const std::string& library) {
    replaceOriginal(library, kGoodMedia / "IMG_0011.MOV", truncated);
  });
  EXPECT_TRUE(bytesOf(motion("IMG_0011.HEIC")) == truncated);
}

TEST_F(LivePhotos, WhoseNamesAreDotsKeepThem) {
  channel.useCopy([](const std::string& library) {
    outputOf({"sqlite3", library + "/library.sqlite",
              "UPDATE resources SET name = '..' WHERE name = 'IMG_0011.HEIC'"});
  });
  EXPECT_EQ(motion("..").filename(), "...mov");
  EXPECT_EQ(filesIn(channel.temporary()), (std::vector<std::string>{"livephoto/...mov"}));
}

TEST_F(LivePhotos, AreStillsToo) {
  EXPECT_TRUE(bytesOf(channel.image("IMG_0011.HEIC")) == bytesOf(kGoodMedia / "IMG_0011.HEIC"));
  EXPECT_EQ(channel.image("IMG_0011.HEIC", true).filename(), "IMG_0011.jpg");
}

}  // namespace
}  // namespace quorvin
