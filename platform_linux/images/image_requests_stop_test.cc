// Which requests run together, and when they are told to stop.
#include <gtest/gtest.h>

#include <latch>
#include <stop_token>
#include <thread>
#include <utility>

#include "platform_linux/images/image_requests.h"
#include "testing/platform/testing_image_requests.h"

namespace quorvin {
namespace {

/// Work like the other of that key, which says with which others it runs.
struct EqualWork {
  std::stop_token stop;

  ImageRequests::Work named(Log& log, const std::string& name, const std::string& key) {
    ImageRequests::Work work = quorvin::named(log, name);
    work.key = key;
    work.run = [this, run = work.run](const ImageRequests::Progress& progress) {
      stop = progress.stop();
      return run(progress);
    };
    return work;
  }
};

TEST(ImageRequests, ThatAskForTheSameRunTogether) {
  Log log;
  HeldWork held;
  EqualWork works[3];
  ImageRequests requests(1);
  requests.start(false, held.named(log, "held"));
  held.started.wait();
  requests.start(false, works[0].named(log, "a", "same"));
  requests.start(false, works[1].named(log, "b", "other"));
  requests.start(false, works[2].named(log, "c", "same"));
  held.released.count_down();
  while (log.texts().size() < 4) std::this_thread::yield();
  EXPECT_EQ(log.texts(), (Texts{"held", "c", "a", "b"}));
  EXPECT_EQ(works[0].stop, works[2].stop);
  EXPECT_NE(works[0].stop, works[1].stop);
}

TEST(ImageRequests, ThatRunAreStoppedWhenTheyAreCancelled) {
  Log log;
  ImageRequests requests(1);
  std::latch started(1);
  ImageRequests::Work work = named(log, "a");
  work.run = [&](const ImageRequests::Progress& progress) -> Result<ImageRequests::Delivery> {
    started.count_down();
    while (!progress.stop().stop_requested()) std::this_thread::yield();
    return logged(log, "final");
  };
  const PHImageRequestID id = requests.start(false, std::move(work));
  started.wait();
  requests.cancel(id);
  while (log.texts().empty()) std::this_thread::yield();
  EXPECT_EQ(log.texts(), (Texts{"a cancelled"}));
}

TEST(ImageRequests, ThatRunAreStoppedAtAShutdown) {
  ImageRequests requests(1);
  std::latch started(1);
  requests.start(false,
                 {[&](const ImageRequests::Progress& progress) -> Result<ImageRequests::Delivery> {
                    started.count_down();
                    while (!progress.stop().stop_requested()) std::this_thread::yield();
                    return Failure();
                  },
                  {}});
  started.wait();
  requests.shutDown();
}

TEST(ImageRequests, ThatAskForTheSameStopOnlyWhenAllAreCancelled) {
  Log log;
  HeldWork held;
  std::latch first(1);
  std::latch second(1);
  std::latch cancelled(1);
  ImageRequests requests(1);
  requests.start(false, held.named(log, "held"));
  held.started.wait();
  // The newest runs first.
  ImageRequests::Work kept = named(log, "kept");
  kept.key = "same";
  kept.run = [&](const ImageRequests::Progress& progress) -> Result<ImageRequests::Delivery> {
    second.count_down();
    while (!progress.stop().stop_requested()) std::this_thread::yield();
    return logged(log, "final");
  };
  const PHImageRequestID keptId = requests.start(false, std::move(kept));
  ImageRequests::Work given = named(log, "given up");
  given.key = "same";
  given.run = [&](const ImageRequests::Progress& progress) -> Result<ImageRequests::Delivery> {
    first.count_down();
    cancelled.wait();
    EXPECT_FALSE(progress.isWanted());
    EXPECT_FALSE(progress.stop().stop_requested());
    return logged(log, "final");
  };
  const PHImageRequestID givenId = requests.start(false, std::move(given));
  held.released.count_down();
  first.wait();
  requests.cancel(givenId);
  cancelled.count_down();
  second.wait();
  requests.cancel(keptId);
  while (log.texts().size() < 3) std::this_thread::yield();
  EXPECT_EQ(log.texts(), (Texts{"held", "given up cancelled", "kept cancelled"}));
}

}  // namespace
}  // namespace quorvin
