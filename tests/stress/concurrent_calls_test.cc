// Keeps many calls of all kinds under way at once; every one is answered once, and as it is alone.
#include <chrono>
#include <cstdlib>
#include <list>
#include <map>
#include <random>

#include "codec/standard_method_codec.h"
#include "testing/engine/channel.h"

namespace quorvin {
namespace {

constexpr std::size_t kUnderWay = 24;  // more than the background threads of 8 processors take

std::chrono::seconds duration() {
  const char* seconds = std::getenv("QUORVIN_STRESS_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 2 : std::atoi(seconds));
}

class ConcurrentCalls : public testing::Test {
 protected:
  Channel channel;

  void SetUp() override {
    recents_ = channel.gallery("Recents");
    for (const auto& [name, id] : channel.assetsByName()) {
      if (!name.ends_with(".mp3") && !name.ends_with(".m4a")) visible_.push_back(id);
      if (name == "BURST_003.jpg") burst_ = id;
    }
  }

  int upTo(int limit) { return std::uniform_int_distribution(0, limit)(random_); }

  struct Call {
    std::string method;
    Value arguments;
  };

  Call randomCall() {
    switch (upTo(6)) {
      case 0: {
        const int start = upTo(25);
        return {"getAssetList", Map{{"collectionId", recents_},
                                    {"start", start},
                                    {"end", start + 1 + upTo(20)},
                                    {"sort", upTo(2)},
                                    {"mediaType", upTo(3)}}};
      }
      case 1:
        return {"getGalleryAssetCount",
                Map{{"collectionId", recents_}, {"sort", upTo(2)}, {"mediaType", upTo(3)}}};
      case 2:
        return {"getGalleryList", Map{{"withAllPhotos", true},
                                      {"filterEmptyAsset", upTo(1) == 0},
                                      {"withSmartAlbum", upTo(1) == 0},
                                      {"mediaType", upTo(3)}}};
      case 3:
        return {"getBurstAssetList", Map{{"assetId", burst_}}};
      case 4:
        return {"clearAllCache", {}};
      case 5:
        return {"getAssetInfo", Map{{"assetId", anyVisible()}}};
      default:
        return {"getThumbnail", Map{{"assetId", anyVisible()},
                                    {"width", 16 + 60 * upTo(3)},
                                    {"height", 16 + 60 * upTo(3)},
                                    {"contentMode", upTo(1)},
                                    {"jpegFormat", upTo(1) == 0}}};
    }
  }

  std::string anyVisible() {
    return visible_[static_cast<std::size_t>(upTo(static_cast<int>(visible_.size()) - 1))];
  }

  std::mt19937 random_{20240229};
  std::string recents_;
  std::string burst_;
  std::vector<std::string> visible_;
};

TEST_F(ConcurrentCalls, AreAnsweredOnceEachAsTheyAreAlone) {
  struct UnderWay {
    std::string method;
    Bytes message;
    Answer answer;
  };
  std::map<Bytes, Bytes> replies;  // by what was asked
  std::list<UnderWay> underWay;
  std::size_t answered = 0;
  const auto end = std::chrono::steady_clock::now() + duration();
  while (std::chrono::steady_clock::now() < end || !underWay.empty()) {
    while (underWay.size() < kUnderWay && std::chrono::steady_clock::now() < end) {
      Call call = randomCall();
      Bytes message = callMessage(call.method, std::move(call.arguments));
      UnderWay& started = underWay.emplace_back(UnderWay{call.method, std::move(message), {}});
      quorvin_engine_send(channel.engine(), "quorvin", started.message.data(),
                          started.message.size(), Answer::record, &started.answer);
    }
    ASSERT_GT(quorvin_engine_run(channel.engine(), 120'000), 0u) << "no answer within two minutes";
    answered += std::erase_if(underWay, [&replies](const UnderWay& each) {
      if (each.answer.count == 0) return false;
      EXPECT_EQ(each.answer.count, 1);
      const auto reply = decodeEnvelope(each.answer.message);
      EXPECT_TRUE(reply && std::holds_alternative<Value>(*reply)) << each.method;
      const auto earlier = replies.try_emplace(each.message, each.answer.message).first;
      EXPECT_TRUE(each.answer.message == earlier->second) << each.method << " varies";
      return true;
    });
  }
  EXPECT_GT(answered, kUnderWay);
  RecordProperty("answered", static_cast<int>(answered));
  const EnginePointer quiet = channel.engines.openLibrary(QUORVIN_IMPORTED_LIBRARY);
  for (const auto& [message, reply] : replies) {
    const Answer& alone = channel.engines.send(quiet.get(), message);
    channel.engines.await(quiet.get(), alone);
    EXPECT_TRUE(reply == alone.message) << "the reply is another one than alone";
  }
}

}  // namespace
}  // namespace quorvin
