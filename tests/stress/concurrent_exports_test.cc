// Exports of all kinds at once; every one is answered once, with its file.
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/channel.h"
#include "tests/stress/any_calls.h"

namespace quorvin {
namespace {

class ConcurrentExports : public testing::Test {
 protected:
  Channel channel;

  struct Call {
    std::string method;
    Map arguments;
  };

  void SetUp() override { assets_ = channel.assetsByName(); }

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

  /// What a reply holds or names; empty, and a failure, when it is no result.
  static std::string contentOf(const Call& call, const Answer& answer) {
    EXPECT_EQ(answer.count, 1);
    const auto reply = decodeEnvelope(answer.message);
    if (!reply || !std::holds_alternative<Value>(*reply)) {
      ADD_FAILURE() << "the reply is no result";
      return "";
    }
    const Value& value = std::get<Value>(*reply);
    if (const auto* bytes = value.as<ByteBuffer>()) {
      return {bytes->bytes().begin(), bytes->bytes().end()};
    }
    return contentOfExport(textAt(value, "url"), call.method == "getVideoUrl");
  }
  /// What the call gives when nothing else is under way.
  std::string contentAlone(const Call& each) {
    if (quiet_ == nullptr) {
      QuorvinOptions opened = channel.engines.options();
      opened.library_path = QUORVIN_IMPORTED_LIBRARY;
      const std::string temporary = channel.folder() / "alone";
      opened.temporary_path = temporary.c_str();
      quiet_ = channel.engines.open(opened);
    }
    const Answer& answer = channel.engines.call(quiet_.get(), each.method, each.arguments);
    channel.engines.await(quiet_.get(), answer);
    std::string content = contentOf(each, answer);
    EXPECT_FALSE(content.empty());
    return content;
  }

 private:
  std::map<std::string, std::string> assets_;
  EnginePointer quiet_;
};

TEST_F(ConcurrentExports, OfAllKindsAreAnsweredOnceEachAsTheyAreAlone) {
  std::vector<Call> calls = twentyCalls();
  std::vector<const Answer*> answers;
  for (const Call& each : calls) answers.push_back(&channel.call(each.method, each.arguments));
  for (const Answer* answer : answers) channel.await(*answer);
  quorvin_engine_run(channel.engine(), 0);
  for (std::size_t i = 0; i < calls.size(); ++i) {
    SCOPED_TRACE(calls[i].method + " " + std::to_string(i));
    const std::string content = contentOf(calls[i], *answers[i]);
    EXPECT_TRUE(content == contentAlone(calls[i])) << "it gives something else alone";
  }
}

TEST_F(ConcurrentExports, OfOneFileAreAnsweredOnceEachAndLeaveOneWholeFile) {
  const Call stored = image("IMG_0002.jpg", false, false);
  const Call medium = image("IMG_0002.jpg", false, true);
  const Call motion = livePhoto("IMG_0011.HEIC");
  std::vector<const Answer*> images;
  std::vector<const Answer*> motions;
  for (int i = 0; i < 20; ++i) {
    images.push_back(&channel.call(stored.method, (i % 2 == 0 ? stored : medium).arguments));
    motions.push_back(&channel.call(motion.method, motion.arguments));
  }
  for (const Answer* answer : images) channel.await(*answer);
  for (const Answer* answer : motions) channel.await(*answer);
  quorvin_engine_run(channel.engine(), 0);
  const std::string whole = contentAlone(stored);
  const std::string smaller = contentAlone(medium);
  for (const Answer* answer : images) {
    const std::string content = contentOf(stored, *answer);
    EXPECT_TRUE(content == whole || content == smaller) << "a file of neither";
  }
  const std::string movie = contentAlone(motion);
  for (const Answer* answer : motions) EXPECT_TRUE(contentOf(motion, *answer) == movie);
}

TEST_F(ConcurrentExports, AreAnsweredOnceEachWhenTheEngineEnds) {
  std::vector<const Answer*> answers;
  {
    const EnginePointer ended = channel.engines.openLibrary(QUORVIN_IMPORTED_LIBRARY);
    for (const Call& each : twentyCalls()) {
      answers.push_back(&channel.engines.call(ended.get(), each.method, each.arguments));
    }
    channel.engines.await(ended.get(), *answers.front());
  }
  for (const Answer* answer : answers) EXPECT_EQ(answer->count, 1);
}

}  // namespace
}  // namespace quorvin
