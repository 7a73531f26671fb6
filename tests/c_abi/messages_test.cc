// Messages and their replies through the C interface.
#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <string>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/engines.h"
#include "testing/engine/message_vectors.h"

namespace quorvin {
namespace {

class Messages : public testing::Test {
 protected:
  Engines engines;

  EnginePointer engine_ = engines.open();
};

TEST(Versions, AreThoseOfThisLibrary) {
  EXPECT_EQ(quorvin_abi_version(), 1U);
  EXPECT_STREQ(quorvin_version(), QUORVIN_VERSION);
}

TEST_F(Messages, ThePlatformVersionComesBeforeSendReturns) {
  const Answer& answer = engines.call(engine_.get(), "getPlatformVersion");
  EXPECT_EQ(answer.count, 1);
  EXPECT_EQ(answer.message, encodeSuccessEnvelope("iOS 17.2"));
  EXPECT_EQ(quorvin_engine_run(engine_.get(), 0), 0U);
}

TEST_F(Messages, ThePlatformVersionTakesAnyArguments) {
  for (const Value& arguments : {Value(), Value(7), Value("x"), Value(List{1}), Value(Map{})}) {
    EXPECT_EQ(engines.result(engine_.get(), "getPlatformVersion", arguments), Value("iOS 17.2"));
  }
}

TEST_F(Messages, ThePlatformVersionIsTheSystemsOwnWhenNoneIsGiven) {
  QuorvinOptions own = engines.options();
  own.system_version = nullptr;
  const auto engine = engines.open(own);
  const Value version = engines.result(engine.get(), "getPlatformVersion");
  EXPECT_TRUE(version.text().starts_with("iOS ")) << version.text();
  EXPECT_GT(version.text().size(), 4U);
}

TEST_F(Messages, UnknownMethodsAreNotImplemented) {
  for (const char* method : {"", "x", "GetPlatformVersion", "getplatformversion",
                             "getPlatformVersion ", " getPermission", "GetPermission",
                             "getGalleryLis", "getGalleryLists", "getPermission\xC2\xA0"}) {
    const Answer& answer = engines.call(engine_.get(), method);
    EXPECT_EQ(answer.count, 1) << method;
    EXPECT_TRUE(answer.message.empty()) << method;
  }
  EXPECT_EQ(quorvin_engine_run(engine_.get(), 0), 0U);
}

TEST_F(Messages, AMethodNameIsComparedBeyondANulCharacter) {
  const Answer& answer = engines.call(engine_.get(), std::string("getPlatformVersion\0", 19));
  EXPECT_EQ(answer.count, 1);
  EXPECT_TRUE(answer.message.empty());
}

TEST_F(Messages, UnknownChannelsAnswerWithNothing) {
  for (const char* channel : {"", "Quorvin", "quorvin ", "quorvin/x", "\xFF"}) {
    const Answer& answer = engines.send(engine_.get(), callMessage("getPlatformVersion"), channel);
    EXPECT_EQ(answer.count, 1) << channel;
    EXPECT_TRUE(answer.message.empty()) << channel;
  }
}

TEST_F(Messages, MalformedMessagesAnswerWithNothingAndDoNoHarm) {
  Bytes deep = callMessage("getPlatformVersion");
  deep.pop_back();
  for (int i = 0; i < 200'000; ++i) deep.insert(deep.end(), {12, 1});
  deep.push_back(0);
  Bytes trailing = callMessage("getPlatformVersion");
  trailing.push_back(0);
  const Bytes messages[] = {
      {},
      {0xFF},
      deep,
      trailing,
      fromHexadecimal("07ffffffffff"),          // name beyond the end
      fromHexadecimal("070178"),                // no arguments at all
      fromHexadecimal("07017863"),              // arguments of an unknown type
      fromHexadecimal("0701ff00"),              // name that is not UTF-8
      fromHexadecimal("0701780702c328"),        // text that is not UTF-8
      fromHexadecimal("0701780cff00ffffff00"),  // list beyond the end
      fromHexadecimal("0701780dffffffff7f"),    // map beyond the end
      fromHexadecimal("03010000000300000000"),  // name that is no text
      fromHexadecimal("0000"),
  };
  for (const Bytes& message : messages) {
    const Answer& answer = engines.send(engine_.get(), message);
    EXPECT_EQ(answer.count, 1);
    EXPECT_TRUE(answer.message.empty());
  }
  EXPECT_EQ(engines.result(engine_.get(), "getPlatformVersion"), Value("iOS 17.2"));
}

TEST_F(Messages, EveryTruncationOfACallAnswersWithNothing) {
  const Bytes whole = callMessage("startCachingImages", Map{{"assetIds", List{"a", "b"}}});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const Answer& answer = engines.send(engine_.get(), part);
    EXPECT_EQ(answer.count, 1) << size;
    EXPECT_TRUE(answer.message.empty()) << size;
  }
}

TEST_F(Messages, AMissingMessageAnswersWithNothing) {
  Answer answer;
  quorvin_engine_send(engine_.get(), "quorvin", nullptr, 0, Answer::record, &answer);
  quorvin_engine_send(engine_.get(), "quorvin", nullptr, 100, Answer::record, &answer);
  EXPECT_EQ(answer.count, 2);
  EXPECT_TRUE(answer.message.empty());
}

TEST_F(Messages, AMissingChannelAnswersWithNothing) {
  const Answer& answer = engines.send(engine_.get(), callMessage("getPlatformVersion"), nullptr);
  EXPECT_EQ(answer.count, 1);
  EXPECT_TRUE(answer.message.empty());
}

TEST_F(Messages, AnswersNeedNotBeWanted) {
  const Bytes direct = callMessage("getPlatformVersion");
  const Bytes later = callMessage("clearAllCache");
  quorvin_engine_send(engine_.get(), "quorvin", direct.data(), direct.size(), nullptr, nullptr);
  quorvin_engine_send(engine_.get(), "quorvin", later.data(), later.size(), nullptr, nullptr);
  quorvin_engine_send(engine_.get(), nullptr, nullptr, 0, nullptr, nullptr);
  EXPECT_EQ(quorvin_engine_run(engine_.get(), 0), 1U);
}

TEST_F(Messages, CachingControlsAcceptAnythingInsideRun) {
  for (const char* method :
       {"clearAllCache", "stopAllCachingImages", "startCachingImages", "stopCachingImages"}) {
    for (const Value& arguments :
         {Value(), Value(7), Value(List{"nobody"}), Value(Map{{"assetIds", List{"nobody"}}})}) {
      const Answer& answer = engines.call(engine_.get(), method, arguments);
      EXPECT_EQ(answer.count, 0) << method;
      EXPECT_EQ(quorvin_engine_run(engine_.get(), 0), 1U) << method;
      EXPECT_EQ(answer.count, 1) << method;
      EXPECT_EQ(answer.message, encodeSuccessEnvelope(true)) << method;
    }
  }
}

TEST_F(Messages, InlineRepliesComeInTheOrderOfTheCalls) {
  std::vector<int> order;
  struct Place {
    std::vector<int>* order;
    int number;
  };
  std::vector<Place> places;
  for (int i = 0; i < 100; ++i) places.push_back({&order, i});
  const Bytes message = callMessage("clearAllCache");
  for (Place& place : places) {
    quorvin_engine_send(
        engine_.get(), "quorvin", message.data(), message.size(),
        [](const std::uint8_t*, std::size_t, void* data) {
          const auto* here = static_cast<const Place*>(data);
          here->order->push_back(here->number);
        },
        &place);
  }
  EXPECT_EQ(quorvin_engine_run(engine_.get(), 0), 100U);
  ASSERT_EQ(order.size(), 100U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(Messages, QueuedCallsAnswerInsideRunOnThisThread) {
  const Answer& answer = engines.call(engine_.get(), "getGalleryList",
                                      Map{{"withAllPhotos", true},
                                          {"filterEmptyAsset", false},
                                          {"withSmartAlbum", true},
                                          {"mediaType", 0}});
  EXPECT_EQ(answer.count, 0);
  engines.await(engine_.get(), answer);
  EXPECT_EQ(answer.count, 1);
  EXPECT_EQ(answer.thread, std::this_thread::get_id());
  const auto envelope = decodeEnvelope(answer.message);
  ASSERT_TRUE(envelope && std::holds_alternative<Value>(*envelope));
  const auto* galleries = std::get<Value>(*envelope).as<List>();
  ASSERT_NE(galleries, nullptr);
  EXPECT_EQ(galleries->size(), 15U);
}

}  // namespace
}  // namespace quorvin
