#include "host/change_channel.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "codec/standard_method_codec.h"
#include "host/messenger.h"
#include "host/plugin_registrar.h"
#include "testing/fakes/fake_platform.h"

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// What the library would tell, when the test says so.
struct FakeLibrary {
  std::deque<LibraryChange> changes;
  std::function<void()> ready;  ///< of the watch that there is
  int watches = 0;
  int started = 0;
  bool isExhausted = false;

  struct Watch : LibraryWatch {
    explicit Watch(FakeLibrary& theLibrary) : library(theLibrary) {
      ++library.watches;
      ++library.started;
    }
    ~Watch() override { --library.watches; }
    std::optional<LibraryChange> take() override {
      if (library.changes.empty()) return std::nullopt;
      auto change = std::move(library.changes.front());
      library.changes.pop_front();
      return change;
    }
    FakeLibrary& library;
  };

  Result<std::unique_ptr<LibraryWatch>> start(std::function<void()> theReady) {
    if (isExhausted) return Failure(LibraryErrorCode::internal, "there are no descriptors left.");
    ready = std::move(theReady);
    return std::unique_ptr<LibraryWatch>(std::make_unique<Watch>(*this));
  }
  void commit(LibraryChange change) {
    changes.push_back(std::move(change));
    ready();
  }
};

class ChangeChannelTest : public testing::Test {
 protected:
  ChangeChannelTest() {
    registrar_.addMethodCallDelegate(
        channel_, FlutterMethodChannel::methodChannelWithName("quorvin/changes", messenger_));
  }

  Bytes call(const std::string& method, Value arguments = {}) {
    std::vector<Bytes> replies;
    messenger_.send("quorvin/changes", encodeMethodCall({method, std::move(arguments)}),
                    [&replies](std::span<const std::uint8_t> reply) {
                      replies.emplace_back(reply.begin(), reply.end());
                    });
    EXPECT_EQ(replies.size(), 1U) << "replies at once";
    return replies.empty() ? Bytes() : replies.front();
  }
  void receive() {
    channel_->receive([this](std::span<const std::uint8_t> message) {
      messages_.emplace_back(message.begin(), message.end());
    });
  }
  void runMainQueue() {
    while (queue().runNext()) {
    }
  }
  ManualQueue& queue() { return platform_.dispatch.main; }

  const Bytes kNull = encodeSuccessEnvelope(Value());

  FakeLibrary library_;
  Messenger messenger_;
  FakePlatform platform_{[](const std::string& misuse) { ADD_FAILURE() << misuse; }};
  PluginRegistrar registrar_{messenger_, platform_.platform()};
  std::shared_ptr<ChangeChannel> channel_ = std::make_shared<ChangeChannel>(
      queue(), [this](std::function<void()> ready) { return library_.start(std::move(ready)); });
  std::vector<Bytes> messages_;
};

TEST_F(ChangeChannelTest, RepliesNullToListenAndCancel) {
  EXPECT_EQ(call("listen"), kNull);
  EXPECT_EQ(call("cancel"), kNull);
  EXPECT_EQ(call("cancel"), kNull) << "also when nobody listens";
}

TEST_F(ChangeChannelTest, ImplementsNoOtherMethod) {
  for (const char* method : {"", "Listen", "getPlatformVersion", "onListen"}) {
    EXPECT_TRUE(call(method).empty()) << method;
  }
  EXPECT_EQ(library_.started, 0);
}

TEST_F(ChangeChannelTest, SendsAChangeAsASuccessEnvelopeOfItsMap) {
  receive();
  call("listen");
  library_.commit({.sequence = 7,
                   .inserted = {"a", "b"},
                   .changed = {"c"},
                   .removed = {"d"},
                   .galleries = {"e", "f"},
                   .complete = false});
  EXPECT_TRUE(messages_.empty()) << "only inside the main queue's work";
  runMainQueue();
  ASSERT_EQ(messages_.size(), 1U);
  EXPECT_EQ(messages_[0], encodeSuccessEnvelope(Map{{"sequence", 7},
                                                    {"inserted", List{"a", "b"}},
                                                    {"changed", List{"c"}},
                                                    {"removed", List{"d"}},
                                                    {"galleries", List{"e", "f"}},
                                                    {"complete", false}}));
}

TEST_F(ChangeChannelTest, ListeningTwiceIsOneSubscription) {
  receive();
  EXPECT_EQ(call("listen"), kNull);
  EXPECT_EQ(call("listen"), kNull);
  EXPECT_EQ(library_.started, 1);
  library_.commit({.sequence = 1});
  runMainQueue();
  EXPECT_EQ(messages_.size(), 1U);
  call("cancel");
  EXPECT_EQ(library_.watches, 0);
}

TEST_F(ChangeChannelTest, WatchesOnlyWhileItIsListenedTo) {
  receive();
  EXPECT_EQ(library_.watches, 0);
  call("listen");
  EXPECT_EQ(library_.watches, 1);
  call("cancel");
  EXPECT_EQ(library_.watches, 0);
  call("listen");
  EXPECT_EQ(library_.watches, 1);
  channel_->close();
  EXPECT_EQ(library_.watches, 0);
}

TEST_F(ChangeChannelTest, SendsNothingThatWasOnItsWayWhenItWasCancelled) {
  receive();
  call("listen");
  library_.commit({.sequence = 1});
  call("cancel");
  runMainQueue();
  EXPECT_TRUE(messages_.empty());
}

TEST_F(ChangeChannelTest, SendsNothingOfAnEarlierSubscription) {
  receive();
  call("listen");
  library_.commit({.sequence = 1});
  call("cancel");
  library_.changes.clear();
  call("listen");
  library_.commit({.sequence = 2});
  runMainQueue();
  EXPECT_EQ(messages_.size(), 1U);
}

TEST_F(ChangeChannelTest, IsSuspendedWhileNobodyReceives) {
  receive();
  call("listen");
  channel_->receive(nullptr);
  EXPECT_EQ(library_.watches, 0);
  receive();
  EXPECT_EQ(library_.watches, 1);
  library_.commit({.sequence = 1});
  runMainQueue();
  EXPECT_EQ(messages_.size(), 1U);
  call("cancel");
  channel_->receive(nullptr);
  receive();
  EXPECT_EQ(library_.watches, 0);
}

TEST_F(ChangeChannelTest, DropsWhatComesBeforeTheFirstReceiver) {
  call("listen");
  library_.commit({.sequence = 1});
  runMainQueue();
  receive();
  library_.commit({.sequence = 2});
  runMainQueue();
  EXPECT_EQ(messages_.size(), 1U);
}

TEST_F(ChangeChannelTest, RepliesAnErrorWhenTheLibraryCannotBeWatched) {
  receive();
  library_.isExhausted = true;
  EXPECT_EQ(call("listen"), encodeErrorEnvelope({"Error", "Failed to watch the library",
                                                 "There are no descriptors left."}));
  library_.isExhausted = false;
  EXPECT_EQ(call("listen"), kNull);
}

TEST_F(ChangeChannelTest, EndsWithAnErrorWhenItCannotGoOn) {
  receive();
  call("listen");
  channel_->receive(nullptr);
  library_.isExhausted = true;
  receive();
  EXPECT_TRUE(messages_.empty());
  runMainQueue();
  ASSERT_EQ(messages_.size(), 1U);
  EXPECT_EQ(messages_[0], encodeErrorEnvelope({"Error", "Failed to watch the library",
                                               "There are no descriptors left."}));
  library_.isExhausted = false;
  receive();
  EXPECT_EQ(library_.watches, 0) << "it has ended";
}

TEST_F(ChangeChannelTest, LetsTheReceiverReplaceItselfAndCancel) {
  call("listen");
  channel_->receive([this](std::span<const std::uint8_t>) {
    receive();
    EXPECT_EQ(call("cancel"), kNull);
    EXPECT_EQ(library_.watches, 0);
    EXPECT_EQ(call("listen"), kNull);
  });
  library_.commit({.sequence = 1});
  runMainQueue();
  EXPECT_TRUE(messages_.empty());
  library_.commit({.sequence = 2});
  runMainQueue();
  EXPECT_EQ(messages_.size(), 1U);
}

TEST_F(ChangeChannelTest, LetsTheReceiverCloseIt) {
  call("listen");
  channel_->receive([this](std::span<const std::uint8_t>) { channel_->close(); });
  library_.commit({.sequence = 1});
  library_.commit({.sequence = 2});
  runMainQueue();
  EXPECT_EQ(library_.watches, 0);
  EXPECT_EQ(library_.changes.size(), 1U);
}

}  // namespace
}  // namespace quorvin
