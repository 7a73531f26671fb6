// Exports of all kinds at once; every one is answered once, with its file.
#include <filesystem>
#include <variant>

#include "codec/standard_method_codec.h"
#include "tests/channel/channel_fixture.h"

namespace quorvin {
namespace {

class ConcurrentExports : public ChannelFixture {
 protected:
  struct Call {
    std::string method;
    Map arguments;
  };

  void SetUp() override {
    ChannelFixture::SetUp();
    assets_ = assetsByName();
  }

  Call data(const std::string& name, bool convert) {
    return {"getImageData", Map{{"assetId", assets_.at(name)}, {"convertJpeg", convert}}};
  }
  Call image(const std::string& name, bool convert, bool medium) {
    return {
        "getImageUrl",
        Map{{"assetId", assets_.at(name)}, {"convertJpeg", convert}, {"mediumQuality", medium}}};
  }
  Call video(const std::string& name, int format, bool medium) {
    return {"getVideoUrl",
            Map{{"assetId", assets_.at(name)}, {"mediumQuality", medium}, {"videoFormat", format}}};
  }
  Call livePhoto(const std::string& name) {
    return {"getLivePhotoUrl", Map{{"assetId", assets_.at(name)}, {"mediumQuality", false}}};
  }

  /// Of each kind some, no two of them of one path.
  std::vector<Call> twentyCalls() {
    return {data("IMG_0010.HEIC", true),
            data("IMG_0002.jpg", false),
            data("scan.tif", true),
            data("IMG_0011.HEIC", false),
            image("IMG_0002.jpg", false, false),
            image("IMG_0010.HEIC", true, false),
            image("IMG_0003.JPG", false, true),
            image("still.avif", true, true),
            image("IMG_0011.HEIC", false, false),
            image("animation.gif", false, false),
            image("transparent.png", false, true),
            video("MOVIE.mov", 0, false),
            video("MOVIE.mov", 2, false),
            video("CLIP.mp4", 1, false),
            video("CLIP.mp4", 2, true),
            video("SLOWMO.mov", 0, false),
            video("TURNED.mp4", 0, true),
            video("capture.mkv", 1, true),
            livePhoto("IMG_0011.HEIC"),
            livePhoto("PAIR_STILL.jpg")};
  }

  void expectResult(const Call& call, const Answer& answer) {
    SCOPED_TRACE(call.method);
    EXPECT_EQ(answer.count, 1);
    const auto reply = decodeEnvelope(answer.message);
    ASSERT_TRUE(reply && std::holds_alternative<Value>(*reply));
    const Value& value = std::get<Value>(*reply);
    if (call.method == "getImageData") {
      ASSERT_NE(value.as<ByteBuffer>(), nullptr);
      EXPECT_GT(value.as<ByteBuffer>()->size(), 1000u);
    } else {
      EXPECT_GT(std::filesystem::file_size(textAt(value, "url")), 1000u);
    }
  }

 private:
  std::map<std::string, std::string> assets_;
};

TEST_F(ConcurrentExports, OfAllKindsAreAnsweredOnceEachWithTheirFiles) {
  std::vector<Call> calls = twentyCalls();
  std::vector<const Answer*> answers;
  for (const Call& each : calls) answers.push_back(&call(engine(), each.method, each.arguments));
  for (const Answer* answer : answers) await(engine(), *answer);
  quorvin_engine_run(engine(), 0);
  for (std::size_t i = 0; i < calls.size(); ++i) expectResult(calls[i], *answers[i]);
}

TEST_F(ConcurrentExports, OfOneFileAreAnsweredOnceEachAndLeaveOneWholeFile) {
  const Call stored = image("IMG_0002.jpg", false, false);
  const Call medium = image("IMG_0002.jpg", false, true);
  const Call motion = livePhoto("IMG_0011.HEIC");
  std::vector<const Answer*> images;
  std::vector<const Answer*> motions;
  for (int i = 0; i < 20; ++i) {
    images.push_back(&call(engine(), stored.method, (i % 2 == 0 ? stored : medium).arguments));
    motions.push_back(&call(engine(), motion.method, motion.arguments));
  }
  for (const Answer* answer : images) await(engine(), *answer);
  for (const Answer* answer : motions) await(engine(), *answer);
  quorvin_engine_run(engine(), 0);
  for (const Answer* answer : images) expectResult(stored, *answer);
  // Each removes the file of the one before; those between find another's.
  for (const Answer* answer : motions) EXPECT_EQ(answer->count, 1);
}

TEST_F(ConcurrentExports, AreAnsweredOnceEachWhenTheEngineEnds) {
  std::vector<const Answer*> answers;
  {
    const EnginePointer ended = openLibrary(QUORVIN_IMPORTED_LIBRARY);
    for (const Call& each : twentyCalls()) {
      answers.push_back(&call(ended.get(), each.method, each.arguments));
    }
    await(ended.get(), *answers.front());
  }
  for (const Answer* answer : answers) EXPECT_EQ(answer->count, 1);
}

}  // namespace
}  // namespace quorvin
