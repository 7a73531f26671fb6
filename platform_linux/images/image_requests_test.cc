#include "platform_linux/images/image_requests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <new>
#include <set>
#include <utility>

#include "testing/platform/testing_image_requests.h"

namespace quorvin {
namespace {

TEST(ImageRequests, HaveIdentifiersOfTheirOwnThatArePositive) {
  Log log;
  ImageRequests requests(2);
  std::set<PHImageRequestID> seen;
  for (int i = 0; i < 100; ++i) {
    const PHImageRequestID id = requests.start(i % 2 == 0, named(log, "a"));
    EXPECT_GT(id, 0);
    EXPECT_TRUE(seen.insert(id).second);
  }
  requests.shutDown();
}

TEST(ImageRequests, RunTheNewestFirstAndEveryFourthTimeTheOldest) {
  Log log;
  HeldWork held;
  ImageRequests requests(1);
  requests.start(false, held.named(log, "held"));
  held.started.wait();
  for (const auto* name : {"a", "b", "c", "d", "e"}) requests.start(false, named(log, name));
  held.released.count_down();
  while (log.texts().size() < 6) std::this_thread::yield();
  EXPECT_EQ(log.texts(), (Texts{"held", "e", "d", "a", "c", "b"}));
}

TEST(ImageRequests, LetSmallPicturesPassWhileLargeOnesTakeLong) {
  Log log;
  HeldWork held;
  ImageRequests requests(1);
  ImageRequests::Work large = held.named(log, "large");
  large.isLarge = true;
  requests.start(false, std::move(large));
  held.started.wait();
  ImageRequests::Work waiting = named(log, "waiting");
  waiting.isLarge = true;
  requests.start(false, std::move(waiting));
  std::promise<void> passed;
  requests.start(
      false,
      {[&passed](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
         return ImageRequests::Delivery([&passed](const PHImageInfo&) { passed.set_value(); });
       },
       {}});
  passed.get_future().wait();
  EXPECT_EQ(log.texts(), Texts());
  held.released.count_down();
  while (log.texts().size() < 2) std::this_thread::yield();
  EXPECT_EQ(log.texts(), (Texts{"large", "waiting"}));
  requests.shutDown();
}

TEST(ImageRequests, RunOnOtherThreadsUnlessTheyAreSynchronous) {
  std::promise<std::thread::id> asynchronous;
  std::promise<std::thread::id> synchronous;
  ImageRequests requests(1);
  const auto workInto = [](std::promise<std::thread::id>& called) {
    return ImageRequests::Work{
        [&called](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
          return ImageRequests::Delivery(
              [&called](const PHImageInfo&) { called.set_value(std::this_thread::get_id()); });
        },
        {}};
  };
  requests.start(false, workInto(asynchronous));
  EXPECT_NE(asynchronous.get_future().get(), std::this_thread::get_id());
  requests.start(true, workInto(synchronous));
  auto called = synchronous.get_future();
  ASSERT_EQ(called.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_EQ(called.get(), std::this_thread::get_id());
}

TEST(ImageRequests, RunAsManyAtATimeAsThereAreThreads) {
  Log log;
  HeldWork first;
  HeldWork second;
  ImageRequests requests(2);
  requests.start(false, first.named(log, "a"));
  requests.start(false, second.named(log, "b"));
  first.started.wait();
  second.started.wait();
  first.released.count_down();
  second.released.count_down();
}

TEST(ImageRequests, DeliverAnErrorWithoutAResult) {
  Log log;
  ImageRequests requests(1);
  ImageRequests::Work work = named(log, "a");
  work.run = [](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
    return Failure(FileErrorCode::writeUnknown, "it is broken.");
  };
  requests.start(true, std::move(work));
  EXPECT_EQ(log.texts(), (Texts{"a It is broken."}));
}

TEST(ImageRequests, DeliverThatMemoryRanOut) {
  Log log;
  ImageRequests requests(1);
  ImageRequests::Work work = named(log, "a");
  work.run = [](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
    throw std::bad_alloc();
  };
  requests.start(true, std::move(work));
  ASSERT_EQ(log.texts().size(), 1U);
  EXPECT_NE(log.texts()[0].find("Memory ran out."), std::string::npos) << log.texts()[0];
}

TEST(ImageRequests, ThatWaitAreCancelledBeforeAnyOtherWork) {
  Log log;
  {
    HeldWork held;
    std::promise<void> done;
    ImageRequests requests(1);
    requests.start(false, held.named(log, "a"));
    held.started.wait();
    requests.start(false, named(log, "b"));
    const PHImageRequestID last = requests.start(false, named(log, "c"));
    requests.cancel(last);
    requests.cancel(last);
    requests.start(false, {[](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
                             return Failure{};
                           },
                           [&done](const PHImageInfo&) { done.set_value(); }});
    held.released.count_down();
    done.get_future().wait();
    while (log.texts().size() < 3) std::this_thread::yield();
  }
  EXPECT_EQ(log.texts(), (Texts{"a", "c cancelled", "b"}));
}

TEST(ImageRequests, ThatRunEndCancelledAndShowNoMoreDegradedResults) {
  Log log;
  std::latch started(1);
  std::latch cancelled(1);
  std::promise<void> done;
  ImageRequests requests(1);
  const PHImageRequestID id = requests.start(
      false, {[&](const ImageRequests::Progress& progress) -> Result<ImageRequests::Delivery> {
                progress.deliverDegraded(logged(log, "early"));
                started.count_down();
                cancelled.wait();
                EXPECT_FALSE(progress.isWanted());
                progress.deliverDegraded(logged(log, "late"));
                return logged(log, "final");
              },
              [&](const PHImageInfo& info) {
                log.add("final" + ending(info));
                done.set_value();
              }});
  started.wait();
  requests.cancel(id);
  cancelled.count_down();
  done.get_future().wait();
  EXPECT_EQ(log.texts(), (Texts{"early", "final cancelled"}));
}

TEST(ImageRequests, CannotBeCancelledOnceTheirFinalCallHasBegun) {
  Log log;
  PHImageRequestID id = 0;
  std::latch known(1);
  std::promise<void> done;
  ImageRequests requests(1);
  id = requests.start(false,
                      {[&](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
                         known.wait();
                         return ImageRequests::Delivery([&](const PHImageInfo&) {
                           requests.cancel(id);
                           log.add("final");
                           done.set_value();
                         });
                       },
                       [&log](const PHImageInfo& info) { log.add("again" + ending(info)); }});
  known.count_down();
  done.get_future().wait();
  requests.cancel(id);
  requests.cancel(id + 1);
  requests.cancel(0);
  requests.shutDown();
  EXPECT_EQ(log.texts(), (Texts{"final"}));
}

TEST(ImageRequests, AreDroppedWithoutACallAtAShutdown) {
  Log log;
  HeldWork held;
  ImageRequests requests(1);
  requests.start(false, held.named(log, "running"));
  held.started.wait();
  requests.start(false, named(log, "waiting"));
  requests.beginShutDown();
  held.released.count_down();
  requests.shutDown();
  EXPECT_GT(requests.start(false, named(log, "later")), 0);
  EXPECT_GT(requests.start(true, named(log, "later")), 0);
  EXPECT_EQ(log.texts(), Texts());
}

TEST(ImageRequests, AreWaitedForAtAShutdownWhileTheirHandlersRun) {
  std::latch called(1);
  std::latch released(1);
  std::atomic<bool> returned = false;
  ImageRequests requests(1);
  requests.start(false, {[&](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
                           return ImageRequests::Delivery([&](const PHImageInfo&) {
                             called.count_down();
                             released.wait();
                             returned = true;
                           });
                         },
                         {}});
  called.wait();
  requests.beginShutDown();
  EXPECT_FALSE(returned);
  released.count_down();
  requests.shutDown();
  EXPECT_TRUE(returned);
}

TEST(ImageRequests, LetGoOfTheirHandlersBeforeAShutdownReturns) {
  Log log;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  ImageRequests requests(2);
  for (int i = 0; i < 20; ++i) {
    ImageRequests::Work work = named(log, "a");
    work.giveUp = [held](const PHImageInfo&) {};
    requests.start(false, std::move(work));
  }
  held.reset();
  requests.shutDown();
  EXPECT_TRUE(watched.expired());
}

TEST(ImageRequests, EndOnceEachHoweverTheyAreCancelled) {
  std::vector<std::atomic<int>> calls(400);
  {
    std::latch all(static_cast<std::ptrdiff_t>(calls.size()));
    ImageRequests requests(4);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (std::size_t i = t; i < calls.size(); i += 4) {
          const auto count = [&calls, &all, i](const PHImageInfo&) {
            ++calls[i];
            all.count_down();
          };
          const PHImageRequestID id = requests.start(
              false, {[count](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
                        return ImageRequests::Delivery(count);
                      },
                      count});
          if (i % 3 == 0) requests.cancel(id);
        }
      });
    }
    for (auto& each : threads) each.join();
    all.wait();
  }
  for (const auto& each : calls) EXPECT_EQ(each, 1);
}

}  // namespace
}  // namespace quorvin
