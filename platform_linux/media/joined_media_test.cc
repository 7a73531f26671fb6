#include "platform_linux/media/joined_media.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <latch>
#include <new>
#include <thread>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

using SharedImage = std::shared_ptr<const RenderedImage>;

RenderRequest thumbnailOf(double side) {
  return {.targetWidth = side, .targetHeight = side};
}

class JoinedMediaTest : public testing::Test {
 protected:
  JoinedMediaTest() {
    media_.onStart = [this](const std::stop_token& stop) {
      ++started_;
      while (!released_ && !stop.stop_requested()) std::this_thread::yield();
      stopped_ = stop.stop_requested();
    };
    media_.onRender = [this](const RenderRequest&) -> Result<SharedImage> {
      if (stopped_) return Failure(LibraryErrorCode::userCancelled, "it was stopped.");
      return imageOf(8, 6);
    };
  }

  std::future<Result<SharedImage>> asked(std::stop_token stop = {}) {
    return std::async(std::launch::async, [this, stop = std::move(stop)] {
      return joined_.render(file_, thumbnailOf(64), stop);
    });
  }
  /// One who renders, and behind it those who wait for that.
  std::vector<std::future<Result<SharedImage>>> askedTogether(
      const std::vector<std::stop_token>& stops) {
    std::vector<std::future<Result<SharedImage>>> results;
    for (const std::stop_token& each : stops) {
      results.push_back(asked(each));
      while (started_ == 0 || joined_.waiting() + 1 < results.size()) std::this_thread::yield();
    }
    return results;
  }

  const FileDescriptor file_ = makeMemoryFile(1);
  std::atomic<int> started_ = 0;
  std::atomic<bool> released_ = false;
  std::atomic<bool> stopped_ = false;
  ScriptedMedia media_;
  JoinedMedia joined_{media_};
};

TEST_F(JoinedMediaTest, RendersOnceForAllWhoWantTheSame) {
  auto results = askedTogether({{}, {}, {}});
  released_ = true;
  const auto first = results[0].get();
  ASSERT_TRUE(first);
  for (std::size_t i = 1; i < results.size(); ++i) {
    const auto other = results[i].get();
    ASSERT_TRUE(other);
    EXPECT_EQ(*other, *first);
  }
  EXPECT_EQ(started_, 1);
}

TEST_F(JoinedMediaTest, TellsAllThatMemoryRanOut) {
  media_.onRender = [](const RenderRequest&) -> Result<SharedImage> { throw std::bad_alloc(); };
  auto results = askedTogether({{}, {}});
  released_ = true;
  for (auto& each : results) EXPECT_EQ(each.get().error().reason, "memory ran out.");
}

TEST_F(JoinedMediaTest, TellsAllWhyItFailed) {
  media_.onRender = [](const RenderRequest&) -> Result<SharedImage> {
    return Failure(LibraryErrorCode::invalidResource, "it is broken.");
  };
  auto results = askedTogether({{}, {}});
  released_ = true;
  for (auto& each : results) EXPECT_EQ(each.get().error().reason, "it is broken.");
  EXPECT_EQ(started_, 1);
}

TEST_F(JoinedMediaTest, GoesOnForWhoeverStillWantsIt) {
  std::stop_source first;
  std::stop_source second;
  auto results = askedTogether({first.get_token(), second.get_token(), {}});
  first.request_stop();
  second.request_stop();
  const auto left = results[1].get();
  ASSERT_FALSE(left);
  EXPECT_TRUE(left.error().is(LibraryErrorCode::userCancelled));
  released_ = true;
  EXPECT_TRUE(results[2].get());
  EXPECT_TRUE(results[0].get());
  EXPECT_FALSE(stopped_);
  EXPECT_EQ(started_, 1);
}

TEST_F(JoinedMediaTest, StopsWhenNobodyWantsItAndBeginsAnewForWhoComesThen) {
  std::stop_source first;
  std::stop_source second;
  auto results = askedTogether({first.get_token(), second.get_token()});
  first.request_stop();
  second.request_stop();
  for (auto& each : results) {
    const auto result = each.get();
    ASSERT_FALSE(result);
    EXPECT_TRUE(result.error().is(LibraryErrorCode::userCancelled));
  }
  EXPECT_TRUE(stopped_);
  released_ = true;
  EXPECT_TRUE(joined_.render(file_, thumbnailOf(64)));
  EXPECT_EQ(started_, 2);
}

TEST_F(JoinedMediaTest, SharesWhatSomebodyStillHasAndNothingElse) {
  released_ = true;
  auto kept = joined_.render(file_, thumbnailOf(64));
  const auto again = joined_.render(file_, thumbnailOf(64));
  ASSERT_TRUE(kept && again);
  EXPECT_EQ(*again, *kept);
  EXPECT_EQ(started_, 1);
  EXPECT_NE(*joined_.render(file_, thumbnailOf(65)), *kept);
  EXPECT_EQ(started_, 2);
  EXPECT_NE(*joined_.render(makeMemoryFile(1), thumbnailOf(64)), *kept);
  EXPECT_EQ(started_, 3);
}

TEST_F(JoinedMediaTest, RendersAnewWhatIsGoneOrChanged) {
  released_ = true;
  ASSERT_TRUE(joined_.render(file_, thumbnailOf(64)));
  const auto kept = joined_.render(file_, thumbnailOf(64));
  EXPECT_EQ(started_, 2);
  ASSERT_EQ(::pwrite(file_.get(), "more", 4, 0), 4);
  EXPECT_NE(*joined_.render(file_, thumbnailOf(64)), *kept);
  EXPECT_EQ(started_, 3);
}

}  // namespace
}  // namespace quorvin
