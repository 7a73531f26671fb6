#include "testing/fakes/recorded_reply.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace {

class RecordedReplyTest : public testing::Test {
 protected:
  EventLog log;
  std::vector<std::string> misuses;
  std::optional<RecordedReply> reply{std::in_place, "call", log,
                                     [this](const std::string& what) { misuses.push_back(what); }};
};

TEST_F(RecordedReplyTest, IsContentWithOneAnswer) {
  reply->callback()(Value(5));
  EXPECT_EQ(reply->value(), Value(5));
  reply.reset();
  EXPECT_TRUE(misuses.empty());
  EXPECT_EQ(log.events(), std::vector<std::string>{"reply call"});
}

TEST_F(RecordedReplyTest, ReportsAMissingAnswerAtItsEnd) {
  reply.reset();
  EXPECT_EQ(misuses, std::vector<std::string>{"call got 0 answers instead of 1"});
}

TEST_F(RecordedReplyTest, ReportsASecondAnswer) {
  reply->callback()(Value());
  reply->callback()(Value());
  reply.reset();
  EXPECT_EQ(misuses, std::vector<std::string>{"call got 2 answers instead of 1"});
}

TEST_F(RecordedReplyTest, ReportsAnAnswerWhereSilenceIsExpected) {
  reply->expectSilence();
  reply->callback()(Value());
  reply.reset();
  EXPECT_EQ(misuses, std::vector<std::string>{"call got 1 answers instead of 0"});
}

TEST_F(RecordedReplyTest, IsContentWithAsManyAnswersAsExpected) {
  reply->expectAnswers(2);
  reply->callback()(Value(1));
  reply->callback()(FlutterMethodNotImplemented);
  EXPECT_EQ(reply->answerCount(), 2u);
  reply.reset();
  EXPECT_TRUE(misuses.empty());
}

TEST_F(RecordedReplyTest, ReportsAnAnswerAfterItsEnd) {
  const FlutterResult callback = reply->callback();
  callback(Value());
  reply.reset();
  callback(Value());
  EXPECT_EQ(misuses, std::vector<std::string>{"call was answered after its end"});
}

TEST_F(RecordedReplyTest, ReportsAnAnswerOfAnotherKindThanAskedFor) {
  reply->callback()(FlutterError{"Error", "message", {}});
  EXPECT_EQ(reply->error().message, "message");
  EXPECT_FALSE(reply->isNotImplemented());
  EXPECT_TRUE(misuses.empty());
  reply->value();
  EXPECT_EQ(misuses.size(), 1u);
}

TEST_F(RecordedReplyTest, ChecksOnceWhenItWasMoved) {
  RecordedReply moved = std::move(*reply);
  reply.reset();
  EXPECT_TRUE(misuses.empty());
  moved.callback()(Value());
  EXPECT_EQ(moved.answerCount(), 1u);
}

TEST_F(RecordedReplyTest, KnowsTheItemThatAnswered) {
  ManualQueue queue("queue", log);
  queue.async([callback = reply->callback()] { callback(Value()); });
  queue.runNextOnNewThread();
  EXPECT_EQ(reply->answer().position, (ManualQueue::Position{&queue, 1}));
  EXPECT_NE(reply->answer().thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace quorvin
