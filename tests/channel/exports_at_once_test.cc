// Exports that meet at one path: each of them succeeds, and what stands there is always whole.
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <optional>
#include <set>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct WantedExport {
  std::string method;
  Map arguments;
};

class ExportsAtOnce : public testing::Test {
 protected:
  /// All of them under way at the same time. `look` sees what stands at the path at each answer,
  /// unless the next one has just removed it, and at the end.
  void run(const std::vector<WantedExport>& calls,
           const std::function<void(const std::string&)>& look) {
    std::vector<Answer*> open;
    for (const WantedExport& each : calls)
      open.push_back(&channel.call(each.method, each.arguments));
    while (!open.empty()) {
      ASSERT_GT(quorvin_engine_run(channel.engine(), 120'000), 0U) << "no answer";
      std::erase_if(open, [&](const Answer* answer) {
        if (answer->count == 0) return false;
        EXPECT_EQ(answer->count, 1);
        const Value* reply = replyOf(*answer);
        if (reply == nullptr) return true;
        std::ifstream file(textAt(*reply, "url"), std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(file), {});
        if (file.is_open() || open.size() == 1) look(content);
        return true;
      });
    }
    for (const std::string& each : filesIn(channel.temporary())) {
      EXPECT_EQ(each.find("/."), std::string::npos) << "left beside the files: " << each;
    }
  }
  const Value* replyOf(const Answer& answer) {
    envelopes_.push_back(decodeEnvelope(answer.message));
    if (!envelopes_.back()) return nullptr;
    const auto* fault = std::get_if<FlutterError>(&*envelopes_.back());
    EXPECT_EQ(fault, nullptr) << fault->message << " " << fault->details.text();
    return std::get_if<Value>(&*envelopes_.back());
  }

  Exports channel;

 private:
  std::list<std::optional<std::variant<Value, FlutterError>>> envelopes_;
};

TEST_F(ExportsAtOnce, OfOneLivePhotoAllSucceed) {
  const std::string whole = bytesOf(kGoodMedia / "IMG_0011.MOV");
  const WantedExport one{"getLivePhotoUrl", livePhotoFile(channel.asset("IMG_0011.HEIC"))};
  for (int trial = 0; trial < 60; ++trial) {
    run({one, one, one}, [&](const std::string& content) { EXPECT_TRUE(content == whole); });
  }
}

TEST_F(ExportsAtOnce, OfOneStoredImageAllSucceed) {
  const std::string whole = bytesOf(kGoodMedia / "IMG_0002.jpg");
  const WantedExport one{"getImageUrl", imageFile(channel.asset("IMG_0002.jpg"))};
  for (int trial = 0; trial < 60; ++trial) {
    run({one, one, one}, [&](const std::string& content) { EXPECT_TRUE(content == whole); });
  }
}

TEST_F(ExportsAtOnce, OfOneVideoAllSucceed) {
  const WantedExport one{"getVideoUrl", videoFile(channel.asset("MOVIE.mov"), Format::mp4)};
  const fs::path path = channel.video("MOVIE.mov", Format::mp4);
  const int frames = seeVideo(path).frames;
  const fs::path seen = channel.folder() / "seen.mp4";
  run({one, one, one, one, one}, [&](const std::string& content) {
    writeFile(seen, content);
    EXPECT_EQ(seeVideo(seen).frames, frames);
  });
}

TEST_F(ExportsAtOnce, InTwoQualitiesBothSucceedAndOneOfThemStays) {
  const std::string asset = channel.asset("MOVIE.mov");
  const fs::path path = channel.video("MOVIE.mov", Format::mp4);
  const int frames = seeVideo(path).frames;
  const fs::path seen = channel.folder() / "seen.mp4";
  for (int trial = 0; trial < 3; ++trial) {
    run({{"getVideoUrl", videoFile(asset, Format::mp4)},
         {"getVideoUrl", videoFile(asset, Format::mp4, true)}},
        [&](const std::string& content) {
          writeFile(seen, content);
          EXPECT_EQ(seeVideo(seen).frames, frames);
        });
  }
}

TEST_F(ExportsAtOnce, ReplaceALinkThatLeadsNowhere) {
  for (const std::string file :
       {"livephoto/IMG_0011.mov", "image/IMG_0002.jpg", "video/MOVIE.mp4"}) {
    fs::create_directories((channel.temporary() / file).parent_path());
    fs::create_symlink("/nowhere/at all", channel.temporary() / file);
  }
  run({{"getLivePhotoUrl", livePhotoFile(channel.asset("IMG_0011.HEIC"))},
       {"getImageUrl", imageFile(channel.asset("IMG_0002.jpg"))},
       {"getVideoUrl", videoFile(channel.asset("MOVIE.mov"), Format::mp4)}},
      [](const std::string& content) { EXPECT_FALSE(content.empty()); });
  for (const std::string& each : filesIn(channel.temporary())) {
    EXPECT_FALSE(fs::is_symlink(channel.temporary() / each)) << each;
  }
}

}  // namespace
}  // namespace quorvin
