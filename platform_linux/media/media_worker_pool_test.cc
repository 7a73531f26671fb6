#include "platform_linux/media/media_worker_pool.h"

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
#include "testing/platform/testing_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t kInterrupted =
    static_cast<std::int64_t>(LibraryErrorCode::operationInterrupted);

Result<MediaProbe> probe(MediaWorkerPool& pool, std::string_view text) {
  return pool.probe(asking(text), "a.jpg");
}

/// What the worker reports of itself; for "answer" its process id.
std::string report(MediaWorkerPool& pool, std::string_view text) {
  const auto result = probe(pool, text);
  EXPECT_TRUE(result) << result.error().reason;
  return result ? result->contentIdentifier : "";
}

Result<std::shared_ptr<const RenderedImage>> render(MediaWorkerPool& pool, std::string_view text) {
  RenderRequest request;
  request.targetWidth = 4;
  request.targetHeight = 3;
  return pool.render(asking(text), request);
}

RenderedImage image(std::string_view text) {
  return {asking(text), 4, 3, 3};
}

Result<ByteBuffer> encode(MediaWorkerPool& pool, std::string_view text) {
  return pool.encode(image(text), ImageFormat::jpeg, 1);
}

void expectInterrupted(const Failure& error) {
  EXPECT_EQ(error.domain, FailureDomain::library);
  EXPECT_EQ(error.code, kInterrupted) << error.reason;
  EXPECT_FALSE(error.reason.empty());
}

TEST(MediaWorkerPool, PassesOnWhatAProbeFound) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto result = pool.probe(asking("answer"), "IMG_1.JPG");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->kind, MediaKind::image);
  EXPECT_EQ(result->uniformTypeIdentifier, "public.jpeg");
  EXPECT_EQ(result->extension, "jpg");
  EXPECT_EQ(result->pixelWidth, 4);
  EXPECT_EQ(result->burstIdentifier, "IMG_1.JPG");
}

TEST(MediaWorkerPool, SendsNamesThatAreNoTextAsTextOfTheSameLength) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto result = pool.probe(asking("answer"), "Caf\xe9.jpg");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->burstIdentifier, "Caf?.jpg");
}

TEST(MediaWorkerPool, RefusesANameThatNoPacketHolds) {
  MediaWorkerPool pool(testingPoolOptions());
  EXPECT_FALSE(pool.probe(asking("answer"), std::string(70'000, 'a')));
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerPool, HandsOverRenderedPixels) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto result = render(pool, "answer");
  ASSERT_TRUE(result);
  const RenderedImage& rendered = **result;
  EXPECT_EQ(rendered.width(), 4);
  EXPECT_EQ(rendered.height(), 3);
  EXPECT_EQ(rendered.channels(), 3);
  const MappedMemory pixels(rendered.fd(), 36, MappedMemory::Access::read);
  ASSERT_TRUE(pixels);
  EXPECT_EQ(pixels.data()[35], 35);
}

TEST(MediaWorkerPool, HandsOverEncodedBytesThatOutliveIt) {
  std::optional<Result<ByteBuffer>> result;
  {
    MediaWorkerPool pool(testingPoolOptions());
    result = encode(pool, "answer");
  }
  ASSERT_TRUE(*result);
  EXPECT_EQ(**result, ByteBuffer({0, 1, 2, 3, 4}));
}

TEST(MediaWorkerPool, PassesOnTheWorkersOwnErrorAndKeepsTheWorker) {
  MediaWorkerPool pool(testingPoolOptions());
  const std::string worker = report(pool, "answer");
  const auto result = probe(pool, "error");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error(), Failure(LibraryErrorCode::invalidResource, "The file is broken."));
  EXPECT_EQ(report(pool, "answer"), worker);
}

TEST(MediaWorkerPool, StartsNoWorkerBeforeTheFirstRequestAndThenUsesItAgain) {
  MediaWorkerPool pool(testingPoolOptions(4));
  EXPECT_TRUE(children().empty());
  const std::string worker = report(pool, "answer");
  for (int i = 0; i < 10; ++i) EXPECT_EQ(report(pool, "answer"), worker);
  EXPECT_EQ(children().size(), 1U);
}

TEST(MediaWorkerPool, GivesTheWorkerItsSocketAndNothingElseOfTheHosts) {
  const FileDescriptor inherited(::open("/proc/self/exe", O_RDONLY));  // not close-on-exec
  MediaWorkerPool pool(testingPoolOptions());
  // 4 is the request's file, 5 the listing itself.
  EXPECT_EQ(report(pool, "descriptors"), "0 1 2 3 4 5 ");
}

TEST(MediaWorkerPool, GivesTheWorkerAnErrorOutputEvenWhenTheHostHasNone) {
  const FileDescriptor kept(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10));
  ::close(STDERR_FILENO);
  {
    MediaWorkerPool pool(testingPoolOptions());
    EXPECT_EQ(report(pool, "descriptors"), "0 1 2 3 4 5 ");
  }
  ::dup2(kept.get(), STDERR_FILENO);
}

TEST(MediaWorkerPool, StartsWorkersWithUsualSignals) {
  sigset_t term;
  ::sigemptyset(&term);
  ::sigaddset(&term, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &term, nullptr);
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  MediaWorkerPool pool(testingPoolOptions());
  EXPECT_EQ(report(pool, "signals"), "open default");
  ::signal(SIGPIPE, before);
  ::pthread_sigmask(SIG_UNBLOCK, &term, nullptr);
}

TEST(MediaWorkerPool, StartsWorkersAtTheHostsPriorityWhoeverAsksFirst) {
  MediaWorkerPool pool(testingPoolOptions());
  const int priority = ::getpriority(PRIO_PROCESS, 0);
  std::thread([&pool, priority] {
    ::setpriority(PRIO_PROCESS, 0, 19);
    EXPECT_EQ(report(pool, "priority"), std::to_string(priority));
  }).join();
}

TEST(MediaWorkerPool, ShowsWorkersTheEnvironmentOfItsOwnBeginning) {
  ::setenv("QUORVIN_TESTING_WORKER", "early", 1);
  MediaWorkerPool pool(testingPoolOptions());
  ::setenv("QUORVIN_TESTING_WORKER", "late", 1);
  EXPECT_EQ(report(pool, "variable"), "early");
  ::unsetenv("QUORVIN_TESTING_WORKER");
}

TEST(MediaWorkerPool, SaysWhichProgramIsMissing) {
  MediaWorkerPool pool({"/nowhere/quorvin-media"});
  const auto result = probe(pool, "answer");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().reason,
            "The media worker program \"/nowhere/quorvin-media\" cannot be started: No such file "
            "or directory.");
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerPool, FailsWhenTheProgramEndsBeforeItReadsAnything) {
  MediaWorkerPool pool({"/bin/false"});
  const auto result = probe(pool, "answer");
  ASSERT_FALSE(result);
  expectInterrupted(result.error());
  EXPECT_TRUE(children().empty());
}

TEST(MediaWorkerPool, AnswersARequestWhoseWorkerDiesWithAnErrorAndReplacesTheWorker) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* death : {"die", "exit"}) {
    const auto result = probe(pool, death);
    ASSERT_FALSE(result);
    expectInterrupted(result.error());
    EXPECT_TRUE(children().empty());
    EXPECT_TRUE(probe(pool, "answer"));
  }
}

TEST(MediaWorkerPool, EndsAWorkerThatIsLateAndReplacesIt) {
  MediaWorkerOptions hasty = testingPoolOptions();
  hasty.requestTimeLimit = milliseconds(50);
  MediaWorkerPool pool(hasty);
  for (const auto* delay : {"hang", "stop"}) {
    const auto result = probe(pool, delay);
    ASSERT_FALSE(result);
    expectInterrupted(result.error());
    EXPECT_TRUE(children().empty());
  }
}

TEST(MediaWorkerPool, LetsNobodyNoticeThatWorkersDiedWhileTheyWereIdle) {
  MediaWorkerPool pool(testingPoolOptions());
  const std::string worker = report(pool, "answer");
  killAndWait(std::stoi(worker));
  EXPECT_NE(report(pool, "answer"), worker);
  EXPECT_EQ(children().size(), 1U);
}

TEST(MediaWorkerPool, BelievesNoAnswerThatMakesNoSense) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* lie : {"garbage", "no map", "too long", "path as extension"}) {
    const auto result = probe(pool, lie);
    ASSERT_FALSE(result) << lie;
    expectInterrupted(result.error());
    EXPECT_TRUE(children().empty()) << lie;
  }
}

TEST(MediaWorkerPool, BelievesNoPixelsThatAreNotWhatTheAnswerSays) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* lie :
       {"no memory", "ordinary file", "too small", "too large", "empty", "unsealed", "overflow"}) {
    const auto result = render(pool, lie);
    ASSERT_FALSE(result) << lie;
    expectInterrupted(result.error());
    EXPECT_TRUE(children().empty()) << lie;
  }
}

TEST(MediaWorkerPool, BelievesNoEncodedBytesThatCouldChange) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* lie : {"no memory", "ordinary file", "empty", "unsealed"}) {
    const auto result = encode(pool, lie);
    ASSERT_FALSE(result) << lie;
    expectInterrupted(result.error());
  }
}

TEST(MediaWorkerPool, EndsWorkersThatHaveIdledForTooLong) {
  MediaWorkerOptions brief = testingPoolOptions();
  brief.idleTimeLimit = milliseconds(1);
  MediaWorkerPool pool(brief);
  const pid_t worker = std::stoi(report(pool, "answer"));
  const FileDescriptor process(::pidfd_open(worker, 0));
  pollfd watched{process.get(), POLLIN, 0};
  EXPECT_TRUE(!process || ::poll(&watched, 1, 60'000) == 1);
  EXPECT_TRUE(probe(pool, "answer"));
}

TEST(MediaWorkerPool, NeverRunsMoreWorkersThanItsSize) {
  MediaWorkerPool pool(testingPoolOptions(2));
  std::vector<std::thread> threads;
  std::atomic<std::size_t> most = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&pool, &most] {
      for (int j = 0; j < 10; ++j) {
        EXPECT_TRUE(probe(pool, "answer"));
        std::size_t seen = children().size();
        for (std::size_t known = most; seen > known && !most.compare_exchange_weak(known, seen);) {
        }
      }
    });
  }
  for (auto& each : threads) each.join();
  EXPECT_LE(most, 2U);
  EXPECT_GE(most, 1U);
}

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
