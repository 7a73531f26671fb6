#include "platform_linux/previews/preview_keeper.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "platform_linux/library/opening/opening.h"
#include "testing/platform/testing_previews.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;

class PreviewKeeperTest : public PreviewsFixture {
 protected:
  std::unique_ptr<PreviewKeeper> keep(std::chrono::milliseconds calm = 1ms) {
    auto catalogue = openCatalogue(path(), MissingLibrary::refuse);
    EXPECT_TRUE(catalogue) << catalogue.error().sentence();
    return std::make_unique<PreviewKeeper>(*catalogue, failures_,
                                           PreviewKeeper::Options{worker(), calm});
  }
  static bool comesTrue(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > limit) return false;
      std::this_thread::sleep_for(5ms);
    }
    return true;
  }
  bool has(const std::string& original, const PreviewSide& side = kGridSide) {
    return store()->isDone(stateOf(original), side);
  }
  /// As long as it takes another keeper to make the previews of a copy of this library.
  void waitForAnother() {
    const std::string copy = folder_ / "copy";
    std::filesystem::copy(path(), copy, std::filesystem::copy_options::recursive);
    auto catalogue = openCatalogue(copy, MissingLibrary::refuse);
    ASSERT_TRUE(catalogue) << catalogue.error().sentence();
    PreviewStore((*catalogue)->folder()).setDoneUpTo(0);
    PreviewKeeper keeper(*catalogue, failures_, {worker(), 1ms});
    EXPECT_TRUE(comesTrue([&] { return keeper.store().doneUpTo() > 0; }));
  }
  PreviewJob jobOf(const std::string& original, PixelSize picture) {
    return {originalFile(*libraryFolderAt(path()), original), MediaKind::image, picture};
  }

  FailureMemory failures_{"", ""};
};

TEST_F(PreviewKeeperTest, MakesWhatIsMissing) {
  const std::string first = import({900, 600});
  const std::string second = import({2400, 1600});
  const auto keeper = keep();
  EXPECT_TRUE(comesTrue([&] { return has(first); }));
  EXPECT_EQ(sizeOf(first, kGridSide), (PixelSize{512, 341}));
  EXPECT_EQ(sizeOf(second, kPreviewSides.front()), (PixelSize{1600, 1067}));
  EXPECT_TRUE(comesTrue([&] { return store()->doneUpTo() == 2; }));
}

TEST_F(PreviewKeeperTest, MakesThoseOfWhatIsAddedMeanwhile) {
  import({900, 600});
  auto catalogue = openCatalogue(path(), MissingLibrary::refuse);
  const auto keeper =
      std::make_unique<PreviewKeeper>(*catalogue, failures_, PreviewKeeper::Options{worker(), 1ms});
  EXPECT_TRUE(comesTrue([&] { return store()->doneUpTo() == 1; }));
  const std::string added = import({902, 600});
  // Another process imported it; whatever this one commits makes it look.
  EXPECT_TRUE((*catalogue)->change([](Database& database) -> Done {
    return database.execute("UPDATE assets SET favorite = 1") ? Done(Null{}) : Failure();
  }));
  EXPECT_TRUE(comesTrue([&] { return has(added); }));
}

TEST_F(PreviewKeeperTest, WaitsWhileSomebodyWaitsForAPicture) {
  const std::string original = import({900, 600});
  store()->setDoneUpTo(1);
  const auto keeper = keep();
  {
    // It has nothing to do until then.
    const PreviewKeeper::Request request(*keeper);
    keeper->miss(jobOf(original, {900, 600}));
    waitForAnother();
    EXPECT_FALSE(has(original));
  }
  EXPECT_TRUE(comesTrue([&] { return has(original); }));
}

TEST_F(PreviewKeeperTest, MakesWhatWasMissed) {
  const std::string original = import({900, 600});
  store()->setDoneUpTo(1);
  const auto keeper = keep();
  keeper->miss(jobOf(original, {900, 600}));
  EXPECT_TRUE(comesTrue([&] { return has(original); }));
}

TEST_F(PreviewKeeperTest, KeepsWhatWasRenderedAnyway) {
  const std::string original = import({900, 600});
  store()->setDoneUpTo(1);
  const auto keeper = keep();
  keeper->offer(jobOf(original, {900, 600}), kGridSide,
                std::make_shared<const RenderedImage>(wavesOf({512, 341})));
  EXPECT_TRUE(comesTrue([&] { return has(original); }));
  EXPECT_EQ(sizeOf(original, kGridSide), (PixelSize{512, 341}));
}

TEST_F(PreviewKeeperTest, KeepsNoRenderingOfAnotherSize) {
  const std::string original = import({900, 600});
  const std::string other = import({910, 600});
  store()->setDoneUpTo(2);
  const auto keeper = keep();
  keeper->offer(jobOf(original, {900, 600}), kGridSide,
                std::make_shared<const RenderedImage>(wavesOf({512, 340})));
  keeper->miss(jobOf(other, {910, 600}));
  EXPECT_TRUE(comesTrue([&] { return has(other); }));
  EXPECT_FALSE(has(original));
}

TEST_F(PreviewKeeperTest, LeavesItToAnotherWhoDoesIt) {
  const std::string original = import({900, 600});
  const auto held = LibraryLock::acquire(*libraryFolderAt(path()), LibraryLock::Area::previews,
                                         LibraryLock::Mode::exclusive);
  ASSERT_TRUE(held);
  const auto keeper = keep();
  waitForAnother();
  EXPECT_FALSE(has(original));
}

TEST_F(PreviewKeeperTest, EndsAtOnce) {
  for (int i = 0; i < 8; ++i) import({2400 + i, 1600});
  auto keeper = keep();
  EXPECT_TRUE(comesTrue([&] { return store()->totals({}).pictures > 0; }));
  keeper.reset();
  const auto made = store()->totals({}).pictures;
  EXPECT_LT(made, 8);
  EXPECT_EQ(makeAll().made, static_cast<std::size_t>(8 - made));
}

}  // namespace
}  // namespace quorvin
