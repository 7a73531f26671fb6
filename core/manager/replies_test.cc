#include <gtest/gtest.h>

#include <thread>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

class Replies : public PluginTest {
 protected:
  RecordedReply reply(const std::string& label) { return {label, log, failTheTest()}; }
  ManualQueue& main = plugin.platform.dispatch.main;
};

TEST_F(Replies, LeaveFromTheMainQueueAndNotBeforeItRuns) {
  const RecordedReply recorded = reply("r");
  plugin.manager().sendResult(recorded.callback(), 5);
  EXPECT_EQ(recorded.answerCount(), 0u);
  main.runNext();
  EXPECT_EQ(recorded.value(), Value(5));
  EXPECT_EQ(recorded.answer().position.queue, &main);
}

TEST_F(Replies, SentFromABackgroundThreadRunOnThePlatformThread) {
  const RecordedReply recorded = reply("r");
  std::thread([&] { plugin.manager().sendError(recorded.callback(), "Error", "m"); }).join();
  EXPECT_EQ(recorded.answerCount(), 0u);
  main.runNext();
  EXPECT_EQ(recorded.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(recorded.answer().position.queue, &main);
}

TEST_F(Replies, ReachTheHostInTheOrderOfSubmission) {
  const RecordedReply first = reply("first");
  const RecordedReply second = reply("second");
  const RecordedReply third = reply("third");
  log.clear();
  plugin.manager().sendResult(first.callback(), 1);
  plugin.manager().sendError(second.callback(), "Error", "m");
  plugin.manager().sendResult(third.callback(), 3);
  plugin.runToEnd();
  EXPECT_EQ(log.eventsOf("reply"),
            (std::vector<std::string>{"reply first", "reply second", "reply third"}));
}

TEST_F(Replies, TakeOneItemOfTheMainQueueEach) {
  const RecordedReply first = reply("first");
  const RecordedReply second = reply("second");
  plugin.manager().sendResult(first.callback(), 1);
  plugin.manager().sendResult(second.callback(), 2);
  EXPECT_EQ(main.waiting(), 2u);
  plugin.runToEnd();
  EXPECT_NE(first.answer().position, second.answer().position);
}

TEST_F(Replies, WithNoValueAreNull) {
  const RecordedReply recorded = reply("r");
  plugin.manager().sendResult(recorded.callback(), {});
  plugin.runToEnd();
  EXPECT_EQ(recorded.value(), Value());
}

TEST_F(Replies, OfErrorsWithoutDetailsHaveNullDetails) {
  const RecordedReply recorded = reply("r");
  plugin.manager().sendError(recorded.callback(), "Error", "message");
  plugin.runToEnd();
  EXPECT_EQ(recorded.error(), (FlutterError{"Error", "message", Value()}));
}

TEST_F(Replies, OfErrorsCarryTheirDetails) {
  const RecordedReply recorded = reply("r");
  plugin.manager().sendError(recorded.callback(), "Error", "message", "details");
  plugin.runToEnd();
  EXPECT_EQ(recorded.error(), (FlutterError{"Error", "message", Value("details")}));
}

TEST_F(Replies, AreNeitherDroppedNorHeldBackWhenACallIsAnsweredTwice) {
  RecordedReply recorded = reply("r");
  recorded.expectAnswers(2);
  plugin.manager().sendError(recorded.callback(), "Error", "first");
  plugin.manager().sendResult(recorded.callback(), "second");
  plugin.runToEnd();
  EXPECT_EQ(recorded.error().message, "first");
  EXPECT_EQ(std::get<Value>(recorded.answer(1).reply), Value("second"));
}

TEST_F(Replies, CarryBytesWithoutACopy) {
  const ByteBuffer bytes({1, 2, 3});
  const RecordedReply recorded = reply("r");
  plugin.manager().sendResult(recorded.callback(), bytes);
  plugin.runToEnd();
  EXPECT_EQ(recorded.value().as<ByteBuffer>()->data(), bytes.data());
}

}  // namespace
}  // namespace quorvin
