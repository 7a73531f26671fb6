#include "host/messenger.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <vector>

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Records every reply that the application's end gets.
struct Replies {
  std::vector<Bytes> all;

  ReplyReceiver receiver() {
    return [this](std::span<const std::uint8_t> message) {
      all.emplace_back(message.begin(), message.end());
    };
  }
};

/// A handler that keeps what it was given.
struct Handler {
  std::vector<Bytes> messages;
  std::vector<FlutterBinaryReply> replies;

  FlutterBinaryMessageHandler function() {
    return [this](std::span<const std::uint8_t> message, FlutterBinaryReply reply) {
      messages.emplace_back(message.begin(), message.end());
      replies.push_back(std::move(reply));
    };
  }
};

/// One that hands the messages on "a" to the handler.
class MessengerWithAChannel : public testing::Test {
 protected:
  MessengerWithAChannel() { messenger.setMessageHandlerOnChannel("a", handler.function()); }

  Replies replies;
  Handler handler;
  Messenger messenger;  // answers what is left when it goes, so it goes first
};

TEST_F(MessengerWithAChannel, HandsAMessageToItsChannelBeforeSendReturns) {
  messenger.send("a", Bytes{1, 2}, [](auto) {});
  EXPECT_EQ(handler.messages, (std::vector<Bytes>{{1, 2}}));
}

TEST(Messenger, AnswersAnUnknownChannelWithNoBytes) {
  Messenger messenger;
  Handler handler;
  Replies replies;
  messenger.setMessageHandlerOnChannel("quorvin", handler.function());
  for (const char* channel : {"", "Quorvin", "quorvin ", "quorvi"}) {
    messenger.send(channel, Bytes{1}, replies.receiver());
  }
  EXPECT_EQ(replies.all, std::vector<Bytes>(4));
  EXPECT_TRUE(handler.messages.empty());
}

TEST(Messenger, AnswersAMessageThatIsTooLargeWithNoBytes) {
  Replies replies;
  Handler handler;
  Messenger messenger;
  messenger.setMessageHandlerOnChannel("channel", handler.function());
  Bytes message(kMaximumMessageSize);
  messenger.send("channel", message, replies.receiver());
  ASSERT_EQ(handler.messages.size(), 1u);
  EXPECT_TRUE(replies.all.empty());
  message.push_back(0);
  messenger.send("channel", message, replies.receiver());
  EXPECT_EQ(handler.messages.size(), 1u);
  EXPECT_EQ(replies.all, std::vector<Bytes>{Bytes{}});
}

TEST_F(MessengerWithAChannel, LetsTheFirstReplyThroughAndDropsTheSecond) {
  messenger.send("a", {}, replies.receiver());
  const FlutterBinaryReply copy = handler.replies[0];
  handler.replies[0](Bytes{7});
  handler.replies[0](Bytes{8});
  copy(Bytes{9});
  EXPECT_EQ(replies.all, (std::vector<Bytes>{{7}}));
  messenger.close();
  EXPECT_EQ(replies.all.size(), 1U);
}

TEST_F(MessengerWithAChannel, KnowsWhetherAnAnswerMayStillCome) {
  EXPECT_FALSE(messenger.mayAnswer());
  messenger.send("a", {}, [](auto) {});
  messenger.send("a", {}, [](auto) {});
  handler.replies[0](Bytes{1});
  EXPECT_TRUE(messenger.mayAnswer());
  FlutterBinaryReply copy = handler.replies[1];
  handler.replies.clear();
  EXPECT_TRUE(messenger.mayAnswer());
  copy = nullptr;
  EXPECT_FALSE(messenger.mayAnswer());
}

TEST_F(MessengerWithAChannel, AnswersInAnyOrder) {
  messenger.send("a", {}, replies.receiver());
  messenger.send("a", {}, replies.receiver());
  handler.replies[1](Bytes{2});
  handler.replies[0](Bytes{1});
  EXPECT_EQ(replies.all, (std::vector<Bytes>{{2}, {1}}));
}

TEST(Messenger, AnswersWhatIsLeftWithNoBytesInTheOrderOfSending) {
  std::vector<int> order;
  Handler handler;
  {
    Messenger messenger;
    messenger.setMessageHandlerOnChannel("a", handler.function());
    for (int i = 0; i < 4; ++i) {
      messenger.send("a", {}, [&order, i](std::span<const std::uint8_t> message) {
        if (message.empty()) order.push_back(i);
      });
    }
    handler.replies[1](Bytes{1});
  }
  EXPECT_EQ(order, (std::vector<int>{0, 2, 3}));
}

TEST(Messenger, IgnoresRepliesAfterItIsGone) {
  Replies replies;
  Handler handler;
  {
    Messenger messenger;
    messenger.setMessageHandlerOnChannel("a", handler.function());
    messenger.send("a", {}, replies.receiver());
  }
  handler.replies[0](Bytes{1});
  EXPECT_EQ(replies.all, std::vector<Bytes>(1));
}

TEST_F(MessengerWithAChannel, AnswersWhatIsSentWhileItClosesAtOnce) {
  messenger.send("a", {}, [&](auto) { messenger.send("a", Bytes{1}, replies.receiver()); });
  messenger.close();
  EXPECT_EQ(replies.all, std::vector<Bytes>(1));
  EXPECT_EQ(handler.messages.size(), 1U);
}

TEST_F(MessengerWithAChannel, MayBeClosedByAReceiver) {
  messenger.send("a", {}, [&](auto) { messenger.close(); });
  messenger.send("a", {}, replies.receiver());
  handler.replies[0](Bytes{1});
  EXPECT_EQ(replies.all, std::vector<Bytes>(1));
}

TEST_F(MessengerWithAChannel, DestroysAReceiverOnceItIsCalled) {
  const auto held = std::make_shared<int>(0);
  messenger.send("a", {}, [held](auto) {});
  EXPECT_EQ(held.use_count(), 2);
  handler.replies[0](Bytes{1});
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Messenger, AHandlerMayBeReplacedWhileItRuns) {
  Handler second;
  Replies replies;
  Messenger messenger;  // answers what is left when it goes, so it goes first
  messenger.setMessageHandlerOnChannel(
      "a", [&messenger, &second, kept = Bytes{5}](auto, const FlutterBinaryReply& reply) {
        messenger.setMessageHandlerOnChannel("a", second.function());
        reply(kept);
      });
  messenger.send("a", {}, replies.receiver());
  messenger.send("a", {}, replies.receiver());
  EXPECT_EQ(replies.all, (std::vector<Bytes>{{5}}));
  EXPECT_EQ(second.messages.size(), 1U);
}

TEST(Messenger, AnswersWithNoBytesWhenAHandlerThrows) {
  Messenger messenger;
  Replies replies;
  messenger.setMessageHandlerOnChannel("before", [](auto, auto) { throw std::bad_alloc(); });
  messenger.setMessageHandlerOnChannel("after", [](auto, const FlutterBinaryReply& reply) {
    reply(Bytes{1});
    throw std::bad_alloc();
  });
  messenger.send("before", {}, replies.receiver());
  messenger.send("after", {}, replies.receiver());
  EXPECT_EQ(replies.all, (std::vector<Bytes>{{}, {1}}));
}

}  // namespace
}  // namespace quorvin
