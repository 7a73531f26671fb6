// Thumbnails of the imported library, rendered by real workers.
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string_view>

#include "testing/engine/exports.h"
#include "testing/platform/testing_processes.h"

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

class Thumbnails : public testing::Test {
 protected:
  Exports channel;

  static Map arguments(const std::string& id, double width, double height, int contentMode = 0,
                       bool jpeg = false) {
    return {{"assetId", id},
            {"width", width},
            {"height", height},
            {"contentMode", contentMode},
            {"jpegFormat", jpeg}};
  }

  /// The PNG as a file.
  std::filesystem::path thumbnail(const std::string& id, double width, double height) {
    const std::filesystem::path file = channel.folder() / "thumbnail.png";
    const Value bytes = channel.result("getThumbnail", arguments(id, width, height));
    EXPECT_NE(bytes.as<ByteBuffer>(), nullptr);
    if (const auto* png = bytes.as<ByteBuffer>()) {
      std::ofstream(file, std::ios::binary)
          .write(reinterpret_cast<const char*>(png->data()),
                 static_cast<std::streamsize>(png->size()));
    }
    return file;
  }
  /// The asset of this size.
  std::string assetOf(std::int64_t width, std::int64_t height) {
    for (const Value& record : channel.page(channel.gallery("Recents"), 0, 1000, kNewestFirst)) {
      if (integerAt(record, "width") == width && integerAt(record, "height") == height) {
        return textAt(record, "id");
      }
    }
    ADD_FAILURE() << "no asset of " << width << "x" << height;
    return "";
  }

  Size size(const std::string& id, double width, double height, int contentMode = 0) {
    const Value bytes = channel.result("getThumbnail", arguments(id, width, height, contentMode));
    const auto* png = bytes.as<ByteBuffer>();
    EXPECT_NE(png, nullptr);
    return png == nullptr ? Size{} : sizeOfPng(*png);
  }
};

TEST_F(Thumbnails, EveryStillAndVideoHasOneInBothFormats) {
  for (const auto& [name, id] : channel.assetsByName()) {
    if (name == "memo.m4a" || name == "song.mp3") continue;
    const Value jpeg = channel.result("getThumbnail", arguments(id, 100, 100, 0, true));
    const Value png = channel.result("getThumbnail", arguments(id, 100, 100, 0, false));
    ASSERT_NE(jpeg.as<ByteBuffer>(), nullptr) << name;
    ASSERT_NE(png.as<ByteBuffer>(), nullptr) << name;
    EXPECT_EQ(jpeg.as<ByteBuffer>()->data()[0], 0xFF) << name;
    EXPECT_EQ(jpeg.as<ByteBuffer>()->data()[1], 0xD8) << name;
    EXPECT_EQ(png.as<ByteBuffer>()->data()[1], 'P') << name;
  }
}

TEST_F(Thumbnails, FitShowsAllAndFillCoversTheTarget) {
  const std::string id = channel.asset("IMG_0003.JPG");  // 1600 x 900
  EXPECT_EQ(size(id, 160, 160), (Size{160, 90}));
  EXPECT_EQ(size(id, 160, 160, 1), (Size{284, 160}));
  EXPECT_EQ(size(id, 160, 160, 7), (Size{160, 90}));
  EXPECT_EQ(size(id, 5000, 5000), (Size{1600, 900})) << "never larger than the original";
  EXPECT_EQ(size(id, kInfinity, 90), (Size{160, 90}));
}

TEST_F(Thumbnails, AreUprightWhateverTheOrientation) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const std::string id = channel.asset("orientation_" + std::to_string(orientation) + ".jpg");
    EXPECT_EQ(size(id, 80, 80), orientation < 5 ? (Size{80, 60}) : (Size{60, 80})) << orientation;
    const std::filesystem::path seen = channel.folder() / "seen.png";
    outputOf({"vipsthumbnail", kGoodMedia / ("orientation_" + std::to_string(orientation) + ".jpg"),
              "--size", "160x160", "-o", seen});
    EXPECT_GT(psnr(thumbnail(id, 160, 160), seen), 35) << orientation;
  }
  const std::string turned = channel.asset("TURNED.mp4");
  EXPECT_EQ(size(turned, 80, 80), (Size{60, 80}));
  const std::filesystem::path frame = channel.folder() / "frame.png";
  outputOf({"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", kGoodMedia / "TURNED.mp4", "-frames:v",
            "1", frame});
  EXPECT_GT(psnr(thumbnail(turned, 5000, 5000), frame), 30);
}

TEST_F(Thumbnails, CarryNoMetadataOfTheOriginal) {
  const std::vector<std::string> traces = {"Camera One", "Example", "2023:07", "Exif"};
  const std::string source = bytesOf(kGoodMedia / "IMG_0001.jpg");
  for (const std::string& trace : traces) EXPECT_NE(source.find(trace), source.npos) << trace;
  const std::string id = assetOf(1600, 1200);
  const Value bytes = channel.result("getThumbnail", arguments(id, 500, 500, 0, true));
  ASSERT_NE(bytes.as<ByteBuffer>(), nullptr);
  const std::string_view jpeg(reinterpret_cast<const char*>(bytes.as<ByteBuffer>()->data()),
                              bytes.as<ByteBuffer>()->size());
  for (const std::string& trace : traces) EXPECT_EQ(jpeg.find(trace), jpeg.npos) << trace;
}

TEST_F(Thumbnails, KeepTransparencyInPng) {
  const Value bytes =
      channel.result("getThumbnail", arguments(channel.asset("transparent.png"), 100, 100));
  ASSERT_NE(bytes.as<ByteBuffer>(), nullptr);
  EXPECT_EQ(bytes.as<ByteBuffer>()->data()[25], 6) << "the colour type with alpha";
}

TEST_F(Thumbnails, AreAnsweredOnceEachWhenWorkersAreKilled) {
  const std::string id = channel.asset("IMG_0001.jpg");
  std::vector<const Answer*> answers;
  for (int i = 0; i < 100; ++i) {
    answers.push_back(&channel.call("getThumbnail", arguments(id, 200 + i, 200, 0, true)));
  }
  std::size_t killed = 0;
  const auto answered = [&] {
    return std::ranges::count_if(answers, [](const Answer* answer) { return answer->count > 0; });
  };
  for (std::ptrdiff_t next = 10; answered() < 100;) {
    ASSERT_GT(quorvin_engine_run(channel.engine(), 60'000), 0u);
    if (answered() < next) continue;
    next += 20;
    for (const pid_t worker : children()) killed += kill(worker, SIGKILL) == 0;
  }
  EXPECT_GE(killed, 3u);
  quorvin_engine_run(channel.engine(), 0);
  for (const Answer* answer : answers) EXPECT_EQ(answer->count, 1);
  EXPECT_EQ(size(id, 100, 100), (Size{100, 75}));
}

TEST_F(Thumbnails, AnOriginalThatIsGoneIsAnErrorAndTheNextCallWorks) {
  const auto assets = channel.assetsByName();
  const std::string copy = channel.folder() / "copy";
  copyImportedLibrary(copy);
  const EnginePointer engineOnCopy = channel.engines.openLibrary(copy);
  std::filesystem::remove(originalOf(copy, kGoodMedia / "IMG_0002.jpg"));
  const Answer& answer = channel.engines.call(engineOnCopy.get(), "getThumbnail",
                                              arguments(assets.at("IMG_0002.jpg"), 10, 10));
  channel.engines.await(engineOnCopy.get(), answer);
  ASSERT_FALSE(answer.message.empty());
  EXPECT_EQ(answer.message[0], 1) << "an error";
  const Value next = channel.engines.result(engineOnCopy.get(), "getThumbnail",
                                            arguments(assets.at("IMG_0003.JPG"), 160, 160));
  ASSERT_NE(next.as<ByteBuffer>(), nullptr);
  EXPECT_EQ(sizeOfPng(*next.as<ByteBuffer>()), (Size{160, 90}));
}

}  // namespace
}  // namespace quorvin
