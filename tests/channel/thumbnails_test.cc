// Thumbnails of the imported library, rendered by real workers.
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>

#include "tests/channel/channel_fixture.h"

namespace quorvin {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Size {
  std::uint32_t width;
  std::uint32_t height;
  friend bool operator==(const Size&, const Size&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Size& size) {
    return out << size.width << "x" << size.height;
  }
};

/// A PNG states its size at a fixed place.
Size sizeOfPng(const ByteBuffer& png) {
  const auto number = [&](std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | png.data()[i];
    return value;
  };
  EXPECT_GT(png.size(), 24u);
  return png.size() > 24 ? Size{number(16), number(20)} : Size{};
}

class Thumbnails : public ChannelFixture {
 protected:
  static Map arguments(const std::string& id, double width, double height, int contentMode = 0,
                       bool jpeg = false) {
    return {{"assetId", id},
            {"width", width},
            {"height", height},
            {"contentMode", contentMode},
            {"jpegFormat", jpeg}};
  }

  Size size(const std::string& id, double width, double height, int contentMode = 0) {
    const Value bytes = result("getThumbnail", arguments(id, width, height, contentMode));
    const auto* png = bytes.as<ByteBuffer>();
    EXPECT_NE(png, nullptr);
    return png == nullptr ? Size{} : sizeOfPng(*png);
  }
};

TEST_F(Thumbnails, EveryStillAndVideoHasOneInBothFormats) {
  for (const auto& [name, id] : assetsByName()) {
    if (name == "memo.m4a" || name == "song.mp3") continue;
    const Value jpeg = result("getThumbnail", arguments(id, 100, 100, 0, true));
    const Value png = result("getThumbnail", arguments(id, 100, 100, 0, false));
    ASSERT_NE(jpeg.as<ByteBuffer>(), nullptr) << name;
    ASSERT_NE(png.as<ByteBuffer>(), nullptr) << name;
    EXPECT_EQ(jpeg.as<ByteBuffer>()->data()[0], 0xFF) << name;
    EXPECT_EQ(jpeg.as<ByteBuffer>()->data()[1], 0xD8) << name;
    EXPECT_EQ(png.as<ByteBuffer>()->data()[1], 'P') << name;
  }
}

TEST_F(Thumbnails, FitShowsAllAndFillCoversTheTarget) {
  const std::string id = asset("IMG_0003.JPG");  // 1600 x 900
  EXPECT_EQ(size(id, 160, 160), (Size{160, 90}));
  EXPECT_EQ(size(id, 160, 160, 1), (Size{284, 160}));
  EXPECT_EQ(size(id, 160, 160, 7), (Size{160, 90}));
  EXPECT_EQ(size(id, 5000, 5000), (Size{1600, 900})) << "never larger than the original";
  EXPECT_EQ(size(id, kInfinity, 90), (Size{160, 90}));
}

TEST_F(Thumbnails, AreUprightWhateverTheOrientation) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const std::string id = asset("orientation_" + std::to_string(orientation) + ".jpg");
    EXPECT_EQ(size(id, 80, 80), orientation < 5 ? (Size{80, 60}) : (Size{60, 80})) << orientation;
  }
  EXPECT_EQ(size(asset("TURNED.mp4"), 80, 80), (Size{60, 80}));
}

TEST_F(Thumbnails, ATargetThatIsNoSizeIsAnErrorWithAReason) {
  const std::string id = asset("IMG_0001.jpg");
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& [width, height] : {std::pair{0.0, 0.0},
                                      {0.0, 100.0},
                                      {-5.0, 100.0},
                                      {100.0, -kInfinity},
                                      {nan, 100.0},
                                      {nan, nan}}) {
    const FlutterError fault = error("getThumbnail", arguments(id, width, height));
    EXPECT_EQ(fault.message, "Failed to load thumbnail");
    EXPECT_TRUE(fault.details.text().starts_with("The target size")) << fault.details.text();
  }
}

TEST_F(Thumbnails, AnAudioItemHasNone) {
  EXPECT_EQ(result("getThumbnail", arguments(asset("song.mp3"), 100, 100)), Value());
}

TEST_F(Thumbnails, CarryNoMetadataOfTheOriginal) {
  const Value bytes = result("getThumbnail", arguments(asset("IMG_0001.jpg"), 500, 500, 0, true));
  ASSERT_NE(bytes.as<ByteBuffer>(), nullptr);
  const std::string_view jpeg(reinterpret_cast<const char*>(bytes.as<ByteBuffer>()->data()),
                              bytes.as<ByteBuffer>()->size());
  for (const char* trace : {"Camera One", "Example", "2023:07", "GPS", "Exif", "http://ns."}) {
    EXPECT_EQ(jpeg.find(trace), jpeg.npos) << trace;
  }
}

TEST_F(Thumbnails, KeepTransparencyInPng) {
  const Value bytes = result("getThumbnail", arguments(asset("transparent.png"), 100, 100));
  ASSERT_NE(bytes.as<ByteBuffer>(), nullptr);
  EXPECT_EQ(bytes.as<ByteBuffer>()->data()[25], 6) << "the colour type with alpha";
}

TEST_F(Thumbnails, AreAnsweredOnceEachWhenWorkersAreKilled) {
  const std::string id = asset("IMG_0001.jpg");
  std::vector<const Answer*> answers;
  for (int i = 0; i < 100; ++i) {
    answers.push_back(&call(engine(), "getThumbnail", arguments(id, 200 + i, 200, 0, true)));
  }
  std::size_t killed = 0;
  const auto answered = [&] {
    return std::ranges::count_if(answers, [](const Answer* answer) { return answer->count > 0; });
  };
  for (std::ptrdiff_t next = 10; answered() < 100;) {
    ASSERT_GT(quorvin_engine_run(engine(), 60'000), 0u);
    if (answered() < next) continue;
    next += 20;
    for (const pid_t worker : childrenOfThisProcess()) killed += kill(worker, SIGKILL) == 0;
  }
  EXPECT_GE(killed, 3u);
  quorvin_engine_run(engine(), 0);
  for (const Answer* answer : answers) EXPECT_EQ(answer->count, 1);
  EXPECT_EQ(size(id, 100, 100), (Size{100, 75}));
}

TEST_F(Thumbnails, AnOriginalThatIsGoneIsAnErrorAndTheNextCallWorks) {
  const std::string copy = copyOfLibrary();
  const std::string id = asset("IMG_0001.jpg");
  const EnginePointer engineOnCopy = openLibrary(copy);
  std::filesystem::remove_all(copy + "/originals");
  const Answer& answer = call(engineOnCopy.get(), "getThumbnail", arguments(id, 10, 10));
  await(engineOnCopy.get(), answer);
  ASSERT_FALSE(answer.message.empty());
  EXPECT_EQ(answer.message[0], 1) << "an error";
  EXPECT_EQ(EngineFixture::result(engineOnCopy.get(), "clearAllCache"), Value(true));
}

}  // namespace
}  // namespace quorvin
