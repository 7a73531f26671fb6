#include "platform_linux/dispatch/linux_dispatch.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <latch>

#include "testing/contracts/dispatch_contract.h"
#include "testing/platform/no_more_threads.h"

namespace quorvin {
namespace {

class LinuxDispatchSubject {
 public:
  LinuxDispatchSubject() : dispatch_(*std::move(LinuxDispatch::create())) {}
  ~LinuxDispatchSubject() { dispatch_->globalQueue(QualityOfService::background).shutDown(); }

  LinuxDispatch& dispatch() { return *dispatch_; }

  template <class Done>
  void runUntil(Done done) {
    while (!done()) dispatch_->mainQueue().run(-1);
  }

 private:
  std::unique_ptr<LinuxDispatch> dispatch_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, DispatchContract, LinuxDispatchSubject);

TEST(LinuxDispatch, TakesWhatTheLastBackgroundItemsSubmitToTheMainQueue) {
  auto dispatch = *std::move(LinuxDispatch::create());
  BackgroundQueue& background = dispatch->globalQueue(QualityOfService::background);
  std::latch running(1);
  background.async([&dispatch, &running] {
    running.count_down();
    dispatch->mainQueue().async([] {});
  });
  running.wait();
  background.shutDown();
  EXPECT_EQ(dispatch->mainQueue().run(0), 1u);
}

TEST(LinuxDispatch, GoesAwayWithWorkInBothQueues) {
  auto dispatch = *std::move(LinuxDispatch::create());
  for (int i = 0; i < 100; ++i) {
    dispatch->globalQueue(QualityOfService::background).async([&dispatch = *dispatch] {
      dispatch.mainQueue().async([] {});
    });
  }
  dispatch.reset();
}

TEST(LinuxDispatch, FailsWithAReasonWhenTheSystemHasNoThreadToGive) {
  const NoMoreThreads none;
  const auto dispatch = LinuxDispatch::create();
  ASSERT_FALSE(dispatch);
  EXPECT_NE(dispatch.error().sentence().find("no thread"), std::string::npos)
      << dispatch.error().sentence();
}

TEST(LinuxDispatch, FailsWithAReasonWhenTheProcessHasNoDescriptorLeft) {
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const auto dispatch = LinuxDispatch::create();
  setrlimit(RLIMIT_NOFILE, &before);
  ASSERT_FALSE(dispatch);
  EXPECT_NE(dispatch.error().sentence().find("Too many open files"), std::string::npos)
      << dispatch.error().sentence();
}

}  // namespace
}  // namespace quorvin
