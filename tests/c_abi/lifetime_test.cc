// Opening and ending engines, the main queue's descriptor, and running.
#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <chrono>
#include <cstddef>
#include <fstream>
#include <limits>
#include <string>

#include "codec/standard_method_codec.h"
#include "testing/engine/engines.h"

namespace quorvin {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class Lifetime : public testing::Test {
 protected:
  Engines engines;

  std::string refusal(const QuorvinOptions* options) {
    char* error = nullptr;
    const EnginePointer engine(quorvin_engine_create(options, &error));
    EXPECT_EQ(engine, nullptr);
    const std::string text = error != nullptr ? error : "";
    quorvin_free(error);
    return text;
  }
};

/// A reply callback that does something with its engine.
struct InCallback {
  QuorvinEngine* engine = nullptr;
  void (*act)(InCallback&) = nullptr;
  int count = 0;
  Answer inner;

  static void run(const std::uint8_t*, std::size_t, void* data) {
    auto& self = *static_cast<InCallback*>(data);
    ++self.count;
    self.act(self);
  }
  void send(const char* method) {
    const Bytes message = callMessage(method);
    quorvin_engine_send(engine, "quorvin", message.data(), message.size(), run, this);
  }
};

TEST_F(Lifetime, RefusesOptionsThatMakeNoSense) {
  EXPECT_FALSE(refusal(nullptr).empty());
  QuorvinOptions wrong = engines.options();
  wrong.struct_size = 0;
  EXPECT_EQ(refusal(&wrong), "struct_size is 0, not sizeof(QuorvinOptions).");
  wrong = engines.options();
  wrong.struct_size = std::numeric_limits<std::size_t>::max();
  EXPECT_FALSE(refusal(&wrong).empty());
  wrong = engines.options();
  wrong.authorization = 5;
  EXPECT_EQ(refusal(&wrong), "The authorization is 5, not -1 to 4.");
  wrong = engines.options();
  wrong.library_path = "";
  EXPECT_FALSE(refusal(&wrong).empty());
}

TEST_F(Lifetime, RefusesALibraryPathThatIsAFile) {
  std::ofstream(engines.libraryPath()) << "not a library";
  const QuorvinOptions file = engines.options();
  EXPECT_FALSE(refusal(&file).empty());
  EXPECT_EQ(std::filesystem::file_size(engines.libraryPath()), 13U);
}

TEST_F(Lifetime, RefusesWithoutAPlaceForTheReason) {
  EXPECT_EQ(quorvin_engine_create(nullptr, nullptr), nullptr);
}

TEST_F(Lifetime, TakesTheShorterStructOfAnotherVersion) {
  QuorvinOptions shorter = engines.options();
  shorter.struct_size = offsetof(QuorvinOptions, temporary_path);
  EXPECT_NE(engines.open(shorter), nullptr);
}

TEST_F(Lifetime, CopiesTheTextsOfTheOptions) {
  std::string version = "1.2.3";
  QuorvinOptions given = engines.options();
  given.system_version = version.c_str();
  const auto engine = engines.open(given);
  version = "9.9.9";
  EXPECT_EQ(engines.result(engine.get(), "getPlatformVersion"), Value("iOS 1.2.3"));
}

TEST_F(Lifetime, NullIsNothing) {
  quorvin_engine_destroy(nullptr);
  quorvin_free(nullptr);
  EXPECT_EQ(quorvin_engine_fd(nullptr), -1);
  EXPECT_EQ(quorvin_engine_run(nullptr, -1), 0U);
  Answer answer;
  quorvin_engine_send(nullptr, "quorvin", nullptr, 0, Answer::record, &answer);
  EXPECT_EQ(answer.count, 1);
  EXPECT_TRUE(answer.message.empty());
}

TEST_F(Lifetime, EndingAnswersWhatIsUnansweredOnce) {
  auto engine = engines.open();
  std::vector<const Answer*> answers;
  for (int i = 0; i < 50; ++i) {
    answers.push_back(
        &engines.call(engine.get(), i % 2 == 0 ? "getGalleryList" : "clearAllCache", Map{}));
  }
  for (const Answer* answer : answers) EXPECT_EQ(answer->count, 0);
  engine.reset();
  for (const Answer* answer : answers) {
    EXPECT_EQ(answer->count, 1);
    EXPECT_TRUE(answer->message.empty());
    EXPECT_EQ(answer->thread, std::this_thread::get_id());
  }
}

TEST_F(Lifetime, EndingAnswersInTheOrderOfSending) {
  std::vector<int> order;
  struct Place {
    std::vector<int>* order;
    int number;
  };
  std::vector<Place> places;
  for (int i = 0; i < 20; ++i) places.push_back({&order, i});
  const Bytes message = callMessage("getGalleryList", Map{});
  {
    const auto engine = engines.open();
    for (Place& place : places) {
      quorvin_engine_send(
          engine.get(), "quorvin", message.data(), message.size(),
          [](const std::uint8_t*, std::size_t, void* data) {
            const auto* here = static_cast<const Place*>(data);
            here->order->push_back(here->number);
          },
          &place);
    }
  }
  ASSERT_EQ(order.size(), 20U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(Lifetime, WhatIsSentWhileTheEngineEndsIsAnsweredAtOnce) {
  InCallback callback;
  callback.engine = engines.open().release();
  callback.act = [](InCallback& self) {
    const Bytes message = callMessage("getPlatformVersion");
    quorvin_engine_send(self.engine, "quorvin", message.data(), message.size(), Answer::record,
                        &self.inner);
    EXPECT_EQ(self.inner.count, 1);
    EXPECT_TRUE(self.inner.message.empty());
  };
  callback.send("clearAllCache");
  quorvin_engine_destroy(callback.engine);
  EXPECT_EQ(callback.count, 1);
  EXPECT_EQ(callback.inner.count, 1);
}

TEST_F(Lifetime, AnEngineMayBeEndedByACallbackInsideRun) {
  InCallback callback;
  callback.engine = engines.open().release();
  callback.act = [](InCallback& self) {
    quorvin_engine_destroy(self.engine);
    EXPECT_EQ(self.inner.count, 1);  // the other message, unanswered until now
  };
  callback.send("clearAllCache");
  const Bytes message = callMessage("clearAllCache");
  quorvin_engine_send(callback.engine, "quorvin", message.data(), message.size(), Answer::record,
                      &callback.inner);
  EXPECT_EQ(quorvin_engine_run(callback.engine, -1), 1U);
  EXPECT_EQ(callback.count, 1);
  EXPECT_EQ(callback.inner.count, 1);
  EXPECT_TRUE(callback.inner.message.empty());
}

TEST_F(Lifetime, AnEngineMayBeEndedByACallbackInsideSend) {
  InCallback callback;
  callback.engine = engines.open().release();
  callback.act = [](InCallback& self) { quorvin_engine_destroy(self.engine); };
  callback.send("getPlatformVersion");
  EXPECT_EQ(callback.count, 1);
}

TEST_F(Lifetime, AnEngineMayBeEndedAgainByACallbackThatEndingCalls) {
  InCallback callback;
  callback.engine = engines.open().release();
  callback.act = [](InCallback& self) { quorvin_engine_destroy(self.engine); };
  callback.send("getGalleryList");
  quorvin_engine_destroy(callback.engine);
  EXPECT_EQ(callback.count, 1);
}

TEST_F(Lifetime, ACallbackMaySendAndRun) {
  const auto engine = engines.open();
  InCallback callback;
  callback.engine = engine.get();
  callback.act = [](InCallback& self) {
    const Bytes message = callMessage("clearAllCache");
    quorvin_engine_send(self.engine, "quorvin", message.data(), message.size(), Answer::record,
                        &self.inner);
    EXPECT_EQ(quorvin_engine_run(self.engine, 0), 1U);
    EXPECT_EQ(self.inner.count, 1);
  };
  callback.send("clearAllCache");
  EXPECT_EQ(quorvin_engine_run(engine.get(), -1), 1U);
  EXPECT_EQ(callback.count, 1);
}

TEST_F(Lifetime, TheDescriptorIsReadableWhileWorkWaits) {
  const auto engine = engines.open();
  const int fd = quorvin_engine_fd(engine.get());
  ASSERT_GE(fd, 0);
  EXPECT_FALSE(isReadable(fd, 0));

  engines.call(engine.get(), "getPlatformVersion");
  EXPECT_FALSE(isReadable(fd, 0));  // answered already: nothing waits

  engines.call(engine.get(), "clearAllCache");
  EXPECT_TRUE(isReadable(fd, 0));
  EXPECT_TRUE(isReadable(fd, 0));  // looking changes nothing
  EXPECT_EQ(quorvin_engine_run(engine.get(), 0), 1U);
  EXPECT_FALSE(isReadable(fd, 0));
}

TEST_F(Lifetime, TheDescriptorTellsOfBackgroundReplies) {
  const auto engine = engines.open();
  const Answer& answer = engines.call(engine.get(), "getGalleryList", Map{});
  ASSERT_TRUE(isReadable(quorvin_engine_fd(engine.get()), 60'000));
  EXPECT_EQ(answer.count, 0);
  EXPECT_EQ(quorvin_engine_run(engine.get(), 0), 1U);
  EXPECT_EQ(answer.count, 1);
}

TEST_F(Lifetime, RunWaitsAsLongAsItIsTold) {
  const auto engine = engines.open();
  EXPECT_EQ(quorvin_engine_run(engine.get(), 0), 0U);

  const auto start = Clock::now();
  EXPECT_EQ(quorvin_engine_run(engine.get(), 50), 0U);
  EXPECT_GE(Clock::now() - start, milliseconds(50));

  engines.call(engine.get(), "clearAllCache");
  engines.call(engine.get(), "clearAllCache");
  EXPECT_EQ(quorvin_engine_run(engine.get(), -1), 2U);
}

TEST_F(Lifetime, ANegativeTimeoutWaitsForAnItem) {
  const auto engine = engines.open();
  const Answer& answer = engines.call(engine.get(), "getGalleryList", Map{});
  EXPECT_EQ(quorvin_engine_run(engine.get(), -1), 1U);
  EXPECT_EQ(answer.count, 1);
}

TEST_F(Lifetime, TwoEnginesShareALibrary) {
  const auto first = engines.open();
  QuorvinOptions other = engines.options();
  other.system_version = "16.0";
  const auto second = engines.open(other);
  EXPECT_NE(quorvin_engine_fd(first.get()), quorvin_engine_fd(second.get()));
  const Answer& answer = engines.call(first.get(), "clearAllCache");
  EXPECT_EQ(quorvin_engine_run(second.get(), 0), 0U);
  EXPECT_EQ(answer.count, 0);
  EXPECT_EQ(engines.result(first.get(), "getPlatformVersion"), Value("iOS 17.2"));
  EXPECT_EQ(engines.result(second.get(), "getPlatformVersion"), Value("iOS 16.0"));
  const Value everything(Map{{"withAllPhotos", true},
                             {"filterEmptyAsset", false},
                             {"withSmartAlbum", true},
                             {"mediaType", 0}});
  EXPECT_EQ(engines.result(first.get(), "getGalleryList", everything),
            engines.result(second.get(), "getGalleryList", everything));
}

TEST_F(Lifetime, EnginesOpenAndEndManyTimes) {
  for (int i = 0; i < 20; ++i) {
    auto engine = engines.open();
    const Answer& answer = engines.call(engine.get(), "getGalleryList", Map{});
    if (i % 2 == 0) engines.await(engine.get(), answer);
    engine.reset();
    EXPECT_EQ(answer.count, 1);
  }
}

}  // namespace
}  // namespace quorvin
