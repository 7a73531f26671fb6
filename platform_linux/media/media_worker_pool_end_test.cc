#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <future>
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

TEST(MediaWorkerPool, EndsRequestsUnderWayAndWaitingWhenItIsShutDown) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::vector<std::future<bool>> answers;
  for (int i = 0; i < 3; ++i) {
    answers.push_back(std::async(std::launch::async, [&pool] {
      const auto result = probe(pool, "hang");
      return !result && result.error().code == kInterrupted;
    }));
  }
  while (children().empty()) std::this_thread::yield();
  pool.shutDown();
  for (auto& each : answers) EXPECT_TRUE(each.get());
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerPool, RefusesRequestsOnceItIsShutDown) {
  MediaWorkerPool pool(testingPoolOptions());
  EXPECT_TRUE(probe(pool, "answer"));
  pool.shutDown();
  const auto result = probe(pool, "answer");
  ASSERT_FALSE(result);
  expectInterrupted(result.error());
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerPool, LeavesTheEmbeddersOwnChildrenAlone) {
  const pid_t own = ::fork();
  if (own == 0) ::_exit(7);
  {
    MediaWorkerPool pool(testingPoolOptions());
    EXPECT_TRUE(probe(pool, "answer"));
    EXPECT_FALSE(probe(pool, "die"));
  }
  int status = 0;
  ASSERT_EQ(::waitpid(own, &status, 0), own);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(MediaWorkerPool, WorksForAnEmbedderWhoReapsEveryChild) {
  const auto before = ::signal(SIGCHLD, SIG_IGN);
  {
    MediaWorkerPool pool(testingPoolOptions());
    EXPECT_TRUE(probe(pool, "answer"));
    EXPECT_FALSE(probe(pool, "die"));
    EXPECT_TRUE(probe(pool, "answer"));
  }
  EXPECT_TRUE(children().empty());
  ::signal(SIGCHLD, before);
}

/// Renders a hundred times from four threads, while every fifth answer has one worker of those that
/// live signalled.
void renderThroughSignals(MediaWorkerPool& pool, int signal) {
  std::atomic<int> calls = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&pool, &calls, signal] {
      for (int j = 0; j < 25; ++j) {
        const auto result = render(pool, "answer");
        if (!result) {
          EXPECT_EQ(result.error().code, kInterrupted) << result.error().reason;
        }
        if (++calls % 5 != 0) continue;
        const std::vector<pid_t> workers = children();
        if (!workers.empty()) ::kill(workers.front(), signal);
      }
    });
  }
  for (auto& each : threads) each.join();
  EXPECT_EQ(calls, 100);
}

TEST(MediaWorkerPool, OutlivesWorkersThatAreKilledOrStoppedUnderLoad) {
  const std::size_t before = openDescriptors();
  {
    MediaWorkerOptions hasty = testingPoolOptions(3);
    hasty.requestTimeLimit = milliseconds(200);
    MediaWorkerPool pool(hasty);
    renderThroughSignals(pool, SIGKILL);
    renderThroughSignals(pool, SIGSTOP);
    for (const pid_t each : children()) killAndWait(each);
    EXPECT_TRUE(render(pool, "answer"));
  }
  EXPECT_TRUE(children().empty());
  EXPECT_EQ(openDescriptors(), before);
}

TEST(MediaWorkerPool, LeaksNoDescriptorWhateverWorkersAnswer) {
  const std::size_t before = openDescriptors();
  {
    MediaWorkerPool pool(testingPoolOptions());
    for (const auto* text :
         {"answer", "die", "garbage", "too small", "unsealed", "ordinary file"}) {
      render(pool, text);
      encode(pool, text);
      probe(pool, text);
    }
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace quorvin
