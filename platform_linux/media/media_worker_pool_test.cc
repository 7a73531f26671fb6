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
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "testing/platform/emulation.h"
#include "testing/platform/testing_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

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
  EXPECT_EQ(result.error(), Failure(LibraryErrorCode::invalidResource, "the file is broken."));
  EXPECT_EQ(report(pool, "answer"), worker);
}

TEST(MediaWorkerPool, StartsNoWorkerBeforeTheFirstRequestAndThenUsesItAgain) {
  MediaWorkerPool pool(testingPoolOptions(4));
  EXPECT_TRUE(children().empty());
  const std::string worker = report(pool, "answer");
  for (int i = 0; i < 10; ++i) EXPECT_EQ(report(pool, "answer"), worker);
  EXPECT_EQ(children().size(), 1U);
}

TEST(MediaWorkerPool, LetsNoWorkerReadFilesForEver) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::set<std::string> workers;
  for (int i = 0; i < 450; ++i) workers.insert(report(pool, "answer"));
  EXPECT_EQ(workers.size(), 3U);
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

TEST(MediaWorkerPool, ShowsWorkersTheTimeZoneAndTheLanguageOfItsBeginningAlone) {
  ::setenv("QUORVIN_TESTING_TOKEN", "secret", 1);
  ::setenv("TZ", "Europe/Lisbon", 1);
  ::setenv("LANG", "C.UTF-8", 1);
  MediaWorkerPool pool(testingPoolOptions());
  ::setenv("TZ", "UTC", 1);
  EXPECT_EQ(report(pool, "environment"), "LANG=C.UTF-8 TZ=Europe/Lisbon ");
  ::unsetenv("QUORVIN_TESTING_TOKEN");
  ::unsetenv("TZ");
  ::unsetenv("LANG");
}

TEST(MediaWorkerPool, StartsWorkersInASessionOfTheirOwn) {
  MediaWorkerPool pool(testingPoolOptions());
  EXPECT_EQ(report(pool, "session"), "its own");
}

TEST(MediaWorkerPool, SaysWhichProgramIsMissing) {
  if (isEmulated()) GTEST_SKIP() << "qemu-user forks where memory is to be shared";
  MediaWorkerPool pool({"/nowhere/quorvin-media"});
  const auto result = probe(pool, "answer");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().sentence(),
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

/// A rendering of that file on a thread of its own, which is cancelled once its worker is there.
class CancelledRendering {
 public:
  CancelledRendering(MediaWorkerPool& pool, const FileDescriptor& file) {
    thread_ = std::thread([this, &pool, &file] {
      RenderRequest request;
      request.targetWidth = 4;
      request.targetHeight = 3;
      result_ = pool.render(file, request, stop_.get_token());
    });
    while (children().empty()) std::this_thread::yield();
    stop_.request_stop();
  }

  Result<std::shared_ptr<const RenderedImage>> result() {
    thread_.join();
    return *result_;
  }

 private:
  std::stop_source stop_;
  std::optional<Result<std::shared_ptr<const RenderedImage>>> result_;
  std::thread thread_;
};

TEST(MediaWorkerPool, EndsTheWorkerOfACancelledRequestThatTakesLong) {
  MediaWorkerPool pool(testingPoolOptions());
  const FileDescriptor file = asking("hang");
  const auto result = CancelledRendering(pool, file).result();
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(LibraryErrorCode::userCancelled)) << result.error().reason;
  EXPECT_TRUE(children().empty());
  EXPECT_TRUE(probe(pool, "answer"));
}

TEST(MediaWorkerPool, LetsACancelledRequestThatIsSoonDoneKeepItsWorker) {
  MediaWorkerOptions patient = testingPoolOptions();
  patient.cancelledTimeLimit = seconds(60);
  MediaWorkerPool pool(patient);
  const FileDescriptor file = asking("held");
  CancelledRendering rendering(pool, file);
  const std::vector<pid_t> workers = children();
  ASSERT_EQ(::pwrite(file.get(), "!", 1, 4), 1);
  EXPECT_TRUE(rendering.result());
  EXPECT_EQ(children(), workers);
  EXPECT_EQ(report(pool, "answer"), std::to_string(workers.front()));
}

TEST(MediaWorkerPool, StartsNoWorkerForARequestThatIsCancelledAlready) {
  MediaWorkerPool pool(testingPoolOptions());
  std::stop_source stop;
  stop.request_stop();
  const auto result = pool.render(asking("answer"), {}, stop.get_token());
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(LibraryErrorCode::userCancelled)) << result.error().reason;
  EXPECT_TRUE(children().empty());
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
  for (const auto* lie : {"no memory", "ordinary file", "too small", "too large", "empty",
                          "unsealed", "overflow", "larger than asked"}) {
    const auto result = render(pool, lie);
    ASSERT_FALSE(result) << lie;
    expectInterrupted(result.error());
    EXPECT_TRUE(children().empty()) << lie;
  }
}

TEST(MediaWorkerPool, BelievesNoEncodedBytesThatCouldChange) {
  MediaWorkerPool pool(testingPoolOptions());
  for (const auto* lie : {"no memory", "ordinary file", "empty", "unsealed", "endless"}) {
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

TEST(MediaWorkerPool, LetsWhatIsLookedAtWaitForNothingElse) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::thread chore([&pool] { EXPECT_FALSE(probe(pool, "hang")); });
  std::stop_source stop;
  std::thread exporting([&] {
    EXPECT_FALSE(
        pool.exportVideo(asking("tell and hang"), makeMemoryFile(0), {}, stop.get_token()));
  });
  while (children().size() < 2) std::this_thread::yield();
  EXPECT_TRUE(render(pool, "answer"));
  EXPECT_TRUE(encode(pool, "answer"));
  stop.request_stop();
  exporting.join();
  pool.shutDown();
  chore.join();
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

}  // namespace
}  // namespace quorvin
