// Permission through the C interface: stored and given statuses, and the prompt.
#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <thread>

#include "codec/standard_method_codec.h"
#include "testing/engine/engines.h"

namespace quorvin {
namespace {

/// Somebody who is asked for access.
struct Prompt {
  std::int32_t answer = 3;
  int asked = 0;
  std::thread::id thread{};
  bool running = false;  ///< inside quorvin_engine_run
  bool askedWhileRunning = true;
  QuorvinEngine* ends = nullptr;  ///< the engine that the prompt ends before it answers

  static std::int32_t ask(void* data) {
    auto& self = *static_cast<Prompt*>(data);
    ++self.asked;
    self.thread = std::this_thread::get_id();
    self.askedWhileRunning = self.askedWhileRunning && self.running;
    if (self.ends != nullptr) quorvin_engine_destroy(self.ends);
    return self.answer;
  }
};

class Permission : public testing::Test {
 protected:
  Engines engines;

  EnginePointer openWith(std::int32_t authorization, Prompt* prompt = nullptr) {
    QuorvinOptions given = engines.options();
    given.authorization = authorization;
    if (prompt != nullptr) {
      given.request_authorization = Prompt::ask;
      given.user_data = prompt;
    }
    return engines.open(given);
  }

  bool permitted(QuorvinEngine* engine, Prompt* prompt = nullptr) {
    const Answer& answer = engines.call(engine, "getPermission");
    EXPECT_EQ(answer.count, 0) << "the reply comes inside run";
    if (prompt != nullptr) {
      EXPECT_EQ(prompt->running, false);
      prompt->running = true;
    }
    engines.await(engine, answer);
    if (prompt != nullptr) prompt->running = false;
    EXPECT_EQ(answer.count, 1);
    const bool yes = answer.message == encodeSuccessEnvelope(true);
    EXPECT_TRUE(yes || answer.message == encodeSuccessEnvelope(false));
    return yes;
  }
};

TEST_F(Permission, OnlyFullAccessCounts) {
  for (const std::int32_t status : {0, 1, 2, 3, 4}) {
    const auto engine = openWith(status);
    EXPECT_EQ(permitted(engine.get()), status == 3) << status;
  }
}

TEST_F(Permission, OnlyAnUndecidedStatusIsAskedFor) {
  for (const std::int32_t status : {0, 1, 2, 3, 4}) {
    Prompt prompt;
    const auto engine = openWith(status, &prompt);
    EXPECT_EQ(permitted(engine.get(), &prompt), status == 0 || status == 3) << status;
    EXPECT_EQ(prompt.asked, status == 0 ? 1 : 0) << status;
  }
}

TEST_F(Permission, ThePromptIsAskedOnThisThreadInsideRun) {
  Prompt prompt;
  const auto engine = openWith(0, &prompt);
  EXPECT_TRUE(permitted(engine.get(), &prompt));
  EXPECT_EQ(prompt.thread, std::this_thread::get_id());
  EXPECT_TRUE(prompt.askedWhileRunning);
}

TEST_F(Permission, WhatWasDecidedIsNotAskedAgain) {
  for (const std::int32_t answer : {1, 2, 3, 4}) {
    Prompt prompt{.answer = answer};
    const auto engine = openWith(0, &prompt);
    EXPECT_EQ(permitted(engine.get(), &prompt), answer == 3);
    EXPECT_EQ(permitted(engine.get(), &prompt), answer == 3);
    EXPECT_EQ(prompt.asked, 1) << answer;
  }
}

TEST_F(Permission, AnAnswerThatIsNoStatusDecidesNothing) {
  for (const std::int32_t answer : {-1, 5, 0}) {
    Prompt prompt{.answer = answer};
    const auto engine = openWith(0, &prompt);
    EXPECT_FALSE(permitted(engine.get(), &prompt));
    prompt.answer = 3;
    EXPECT_TRUE(permitted(engine.get(), &prompt));
    EXPECT_EQ(prompt.asked, 2) << answer;
  }
}

TEST_F(Permission, AStatusOfTheEnginesOwnIsNotStored) {
  Prompt prompt;
  {
    const auto engine = openWith(0, &prompt);
    EXPECT_TRUE(permitted(engine.get(), &prompt));
  }
  EXPECT_FALSE(permitted(openWith(-1).get()));
}

TEST_F(Permission, WhatIsDecidedForTheLibraryIsStored) {
  Prompt prompt;
  {
    const auto engine = openWith(-1, &prompt);
    EXPECT_TRUE(permitted(engine.get(), &prompt));
    EXPECT_EQ(prompt.asked, 1);
  }
  const auto engine = openWith(-1, &prompt);
  EXPECT_TRUE(permitted(engine.get(), &prompt));
  EXPECT_EQ(prompt.asked, 1);
}

TEST_F(Permission, ThePromptMayEndTheEngine) {
  Prompt prompt;
  prompt.ends = openWith(0, &prompt).release();
  const Answer& answer = engines.call(prompt.ends, "getPermission");
  quorvin_engine_run(prompt.ends, -1);
  EXPECT_EQ(prompt.asked, 1);
  EXPECT_EQ(answer.count, 1);
  EXPECT_TRUE(answer.message.empty());
}

}  // namespace
}  // namespace quorvin
