// Exports through the pool, with a worker that does as it is told.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <future>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/platform/testing_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kInterrupted = static_cast<std::int64_t>(LibraryErrorCode::operationInterrupted);
constexpr auto kCancelled = static_cast<std::int64_t>(LibraryErrorCode::userCancelled);

std::string contentsOf(const FileDescriptor& file) {
  std::string text(100, '\0');
  const ssize_t size = ::pread(file.get(), text.data(), text.size(), 0);
  text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return text;
}

Done exportAs(MediaWorkerPool& pool, std::string_view text, std::stop_token stop = {}) {
  return pool.exportVideo(asking(text), makeMemoryFile(0), {}, std::move(stop));
}

/// Waits until the pool has so many workers.
void waitForWorkers(std::size_t count) {
  while (children().size() < count) std::this_thread::yield();
}

TEST(MediaWorkerExports, WriteToTheOutputThatTheyAreGiven) {
  MediaWorkerPool pool(testingPoolOptions());
  const FileDescriptor output = makeMemoryFile(0);
  VideoExportRequest request;
  request.timeMap = {{seconds(0), seconds(1), seconds(4)}, {seconds(1), seconds(1), seconds(1)}};
  EXPECT_TRUE(pool.exportVideo(asking("answer"), output, request, {}));
  EXPECT_EQ(contentsOf(output), "answer 2");
}

TEST(MediaWorkerExports, PassOnTheContainers) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto both = pool.exportContainers(asking("answer"), VideoPreset::passthrough);
  ASSERT_TRUE(both);
  EXPECT_EQ(*both, (std::vector{VideoContainer::quickTime, VideoContainer::mpeg4}));
  const auto none = pool.exportContainers(asking("none"), VideoPreset::passthrough);
  ASSERT_TRUE(none);
  EXPECT_TRUE(none->empty());
}

TEST(MediaWorkerExports, MayTakeLongerThanTheLimitAsLongAsTheyTellThatTheyGoOn) {
  MediaWorkerOptions hasty = testingPoolOptions();
  hasty.exportTimeLimit = milliseconds(200);
  MediaWorkerPool pool(hasty);
  std::stop_source stop;
  std::promise<Done> promise;
  auto result = promise.get_future();
  std::thread exporter(
      [&] { promise.set_value(exportAs(pool, "tell for ever", stop.get_token())); });
  EXPECT_EQ(result.wait_for(seconds(1)), std::future_status::timeout);
  stop.request_stop();
  exporter.join();
  EXPECT_EQ(result.get().error().code, kCancelled);
}

TEST(MediaWorkerExports, EndWhenTheWorkerDoesNotGetOnForTooLong) {
  MediaWorkerOptions hasty = testingPoolOptions();
  hasty.exportTimeLimit = milliseconds(50);
  MediaWorkerPool pool(hasty);
  for (const auto* text : {"hang", "tell and hang", "tell the same for ever"}) {
    const auto exported = exportAs(pool, text);
    ASSERT_FALSE(exported);
    EXPECT_EQ(exported.error().code, kInterrupted);
    EXPECT_EQ(exported.error().sentence(),
              "The media worker did not get on for 1 s and was ended.");
    EXPECT_TRUE(children().empty());
  }
}

TEST(MediaWorkerExports, FailOnceAndForAllWhenTheWorkerDies) {
  MediaWorkerPool pool(testingPoolOptions());
  EXPECT_TRUE(exportAs(pool, "answer"));
  for (const auto* text : {"die", "tell and die"}) {
    const FileDescriptor output = makeMemoryFile(0);
    const auto exported = pool.exportVideo(asking(text), output, {}, {});
    ASSERT_FALSE(exported);
    EXPECT_EQ(exported.error().code, kInterrupted);
    EXPECT_TRUE(exportAs(pool, "answer"));
  }
}

TEST(MediaWorkerExports, PassOnTheWorkersOwnErrorAndKeepTheWorker) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto exported = exportAs(pool, "error");
  ASSERT_FALSE(exported);
  EXPECT_EQ(exported.error(), Failure(LibraryErrorCode::invalidResource, "the file is broken."));
  EXPECT_EQ(children().size(), 1U);
}

TEST(MediaWorkerExports, BelieveNoAnswerThatMakesNoSense) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* lie : {"garbage", "no map", "too long", "nothing"}) {
    const auto exported = exportAs(pool, lie);
    ASSERT_FALSE(exported) << lie;
    EXPECT_EQ(exported.error().code, kInterrupted) << lie;
    EXPECT_TRUE(children().empty()) << lie;
  }
  EXPECT_FALSE(pool.exportContainers(asking("unknown container"), VideoPreset::passthrough));
}

TEST(MediaWorkerExports, EndSoonWhenTheyAreStopped) {
  MediaWorkerPool pool(testingPoolOptions());
  std::stop_source stop;
  std::thread exporter([&] {
    const auto exported = exportAs(pool, "tell and hang", stop.get_token());
    ASSERT_FALSE(exported);
    EXPECT_EQ(exported.error().code, kCancelled);
    EXPECT_EQ(exported.error().sentence(), "The export was cancelled.");
  });
  waitForWorkers(1);
  stop.request_stop();
  exporter.join();
  EXPECT_TRUE(children().empty());
  EXPECT_TRUE(exportAs(pool, "answer"));
}

TEST(MediaWorkerExports, DoNotBeginWhenTheyAreStoppedBefore) {
  MediaWorkerPool pool(testingPoolOptions());
  std::stop_source stop;
  stop.request_stop();
  const auto exported = exportAs(pool, "answer", stop.get_token());
  ASSERT_FALSE(exported);
  EXPECT_EQ(exported.error().code, kCancelled);
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerExports, CanBeStoppedWhileTheyWaitForTheirTurn) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::stop_source first;
  std::thread running([&] {
    EXPECT_EQ(exportAs(pool, "tell and hang", first.get_token()).error().code, kCancelled);
  });
  waitForWorkers(1);
  std::stop_source second;
  std::thread waiting(
      [&] { EXPECT_EQ(exportAs(pool, "answer", second.get_token()).error().code, kCancelled); });
  second.request_stop();
  waiting.join();
  first.request_stop();
  running.join();
}

TEST(MediaWorkerExports, HoldUpNothingElse) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::stop_source stop;
  std::thread exporter([&] { exportAs(pool, "tell and hang", stop.get_token()); });
  waitForWorkers(1);
  EXPECT_TRUE(pool.probe(asking("answer"), "a.jpg"));
  EXPECT_TRUE(pool.exportContainers(asking("answer"), VideoPreset::passthrough));
  stop.request_stop();
  exporter.join();
}

TEST(MediaWorkerExports, AreRefusedForMapsThatCannotBePlayed) {
  MediaWorkerPool pool(testingPoolOptions());
  VideoExportRequest request;
  request.timeMap = {{seconds(0), seconds(1), seconds(1000)}};
  const auto exported = pool.exportVideo(asking("answer"), makeMemoryFile(0), request, {});
  ASSERT_FALSE(exported);
  EXPECT_EQ(exported.error().sentence(), "The video's changes of speed are too many or too great.");
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerExports, CarryTheLongestMap) {
  MediaWorkerPool pool(testingPoolOptions());
  VideoExportRequest request;
  for (std::size_t i = 0; i < kMaximumTimeMapSegments; ++i) {
    request.timeMap.push_back({std::chrono::hours(100) + seconds(i), seconds(1), seconds(2)});
  }
  const FileDescriptor output = makeMemoryFile(0);
  EXPECT_TRUE(pool.exportVideo(asking("answer"), output, request, {}));
  EXPECT_EQ(contentsOf(output), "answer 1000");
}

TEST(MediaWorkerExports, EndWhenThePoolIsShutDown) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::vector<std::future<bool>> answers;
  for (int i = 0; i < 3; ++i) {
    answers.push_back(std::async(std::launch::async, [&pool] {
      const auto exported = exportAs(pool, "tell and hang");
      return !exported && exported.error().code == kInterrupted;
    }));
  }
  waitForWorkers(1);
  pool.shutDown();
  for (auto& each : answers) EXPECT_TRUE(each.get());
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerExports, LeakNoDescriptor) {
  const std::size_t before = openDescriptors();
  {
    MediaWorkerPool pool(testingPoolOptions());
    for (const auto* text : {"answer", "tell", "die", "tell and die", "garbage", "error"}) {
      exportAs(pool, text);
      static_cast<void>(pool.exportContainers(asking(text), VideoPreset::highestQuality));
    }
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace quorvin
