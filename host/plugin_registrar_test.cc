#include "host/plugin_registrar.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <utility>

#include "codec/standard_method_codec.h"
#include "host/messenger.h"
#include "testing/fakes/fake_platform.h"

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Delegate : FlutterMethodCallDelegate {
  std::optional<FlutterMethodCall> call;
  FlutterResult result;

  void handle(FlutterMethodCall theCall, FlutterResult theResult) override {
    call = std::move(theCall);
    result = std::move(theResult);
  }
};

class PluginRegistrarTest : public testing::Test {
 protected:
  PluginRegistrarTest() {
    registrar_.addMethodCallDelegate(
        delegate_, FlutterMethodChannel::methodChannelWithName("a", registrar_.messenger()));
  }

  void send(const Bytes& message) {
    messenger_.send("a", message, [this](std::span<const std::uint8_t> reply) {
      replies_.emplace_back(reply.begin(), reply.end());
    });
  }

  void sendCall(std::string method, Value arguments = {}) {
    send(encodeMethodCall({std::move(method), std::move(arguments)}));
  }

  std::vector<Bytes> replies_;  // outlives the messenger, which answers what is left when it goes
  Messenger messenger_;
  FakePlatform platform_{[](const std::string& misuse) { ADD_FAILURE() << misuse; }};
  PluginRegistrar registrar_{messenger_, platform_.platform()};
  std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
};

TEST_F(PluginRegistrarTest, HandsTheDecodedCallToTheDelegate) {
  sendCall("open", Map{{"id", "x"}, {"w", 256.0}});
  ASSERT_TRUE(delegate_->call);
  EXPECT_EQ(delegate_->call->method, "open");
  EXPECT_EQ(delegate_->call->arguments, Value(Map{{"id", "x"}, {"w", 256.0}}));
  EXPECT_TRUE(replies_.empty());
}

TEST_F(PluginRegistrarTest, SendsEveryKindOfReply) {
  sendCall("x");
  delegate_->result(Value(7));
  sendCall("x");
  delegate_->result(FlutterError::errorWithCode("Error", "m", "d"));
  sendCall("x");
  delegate_->result(FlutterMethodNotImplemented);
  EXPECT_EQ(replies_, (std::vector<Bytes>{
                          encodeSuccessEnvelope(7), encodeErrorEnvelope({"Error", "m", "d"}), {}}));
}

TEST_F(PluginRegistrarTest, AnswersAMalformedCallWithNoBytesAndKeepsItFromTheDelegate) {
  Bytes trailing = encodeMethodCall({"x", Null{}});
  trailing.push_back(0);
  for (const Bytes& message :
       {Bytes{}, Bytes{0xFF}, Bytes{7, 1, 'x'}, Bytes{3, 0, 0, 0, 0, 0}, trailing}) {
    send(message);
  }
  EXPECT_EQ(replies_, std::vector<Bytes>(5));
  EXPECT_FALSE(delegate_->call);
}

TEST_F(PluginRegistrarTest, DropsASecondReply) {
  sendCall("x");
  delegate_->result(Value(1));
  delegate_->result(FlutterError::errorWithCode("Error", "m", {}));
  EXPECT_EQ(replies_, (std::vector<Bytes>{encodeSuccessEnvelope(1)}));
}

TEST_F(PluginRegistrarTest, AnswersWithNoBytesWhatIsTooLongForAMessage) {
  sendCall("x");
  // As long as no message can be; the codec refuses it by its size and never reads it.
  const std::uint8_t byte = 0;
  delegate_->result(Value(ByteBuffer(nullptr, std::span(&byte, std::size_t{1} << 32))));
  EXPECT_EQ(replies_, std::vector<Bytes>(1));
}

TEST_F(PluginRegistrarTest, HandsOverMessengerAndPlatform) {
  EXPECT_EQ(&registrar_.messenger(), &messenger_);
  EXPECT_EQ(&registrar_.platform(), &platform_.platform());
}

TEST_F(PluginRegistrarTest, KeepsTheDelegateAlive) {
  const std::weak_ptr<Delegate> delegate = delegate_;
  delegate_.reset();
  EXPECT_FALSE(delegate.expired());
}

}  // namespace
}  // namespace quorvin
