// A queued call's way to the background and back, beside a bare hand-off between two threads.
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "bench/bench_engine.h"
#include "bench/report.h"
#include "platform_linux/dispatch/linux_dispatch.h"

namespace quorvin {
namespace {

/// A second thread that hands back whatever it is handed.
class HandOff {
 public:
  HandOff() : thread_([this] { serve(); }) {}
  ~HandOff() {
    {
      const std::lock_guard held(mutex_);
      ended_ = true;
    }
    there_.notify_one();
    thread_.join();
  }
  HandOff(const HandOff&) = delete;
  HandOff& operator=(const HandOff&) = delete;

  void roundTrip() {
    std::unique_lock held(mutex_);
    isThere_ = true;
    held.unlock();  // or whoever wakes would have to wait for the lock at once
    there_.notify_one();
    held.lock();
    back_.wait(held, [this] { return !isThere_; });
  }

 private:
  void serve() {
    std::unique_lock held(mutex_);
    for (;;) {
      there_.wait(held, [this] { return isThere_ || ended_; });
      if (ended_) return;
      isThere_ = false;
      held.unlock();
      back_.notify_one();
      held.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable there_;
  std::condition_variable back_;
  bool isThere_ = false;
  bool ended_ = false;
  std::thread thread_;
};

void benchHandOff(benchmark::State& state) {
  HandOff handOff;
  for (auto _ : state) handOff.roundTrip();
}

void benchQueues(benchmark::State& state, LinuxDispatch& dispatch) {
  MainQueue& mainQueue = dispatch.mainQueue();
  BackgroundQueue& background = dispatch.globalQueue(QualityOfService::background);
  for (auto _ : state) {
    background.async([&mainQueue] { mainQueue.async([] {}); });
    mainQueue.run(-1);
  }
}

void benchCall(benchmark::State& state, BenchEngine& engine) {
  // Its arguments are refused by the handler, on the background queue.
  const auto message = callMessage("getAssetInfo", {});
  for (auto _ : state) benchmark::DoNotOptimize(engine.send(message));
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  const auto dispatch = LinuxDispatch::create();
  if (!dispatch) return EXIT_FAILURE;
  const BenchFolder folder;
  BenchEngine engine(folder / "library");

  Report report;
  report.compare(
      {"queues: there and back", "two condition variables", 1.3},
      [&dispatch = **dispatch](benchmark::State& state) { benchQueues(state, dispatch); },
      benchHandOff);
  report.compare(
      {"refused call: there and back", "two condition variables", 1.3},
      [&engine](benchmark::State& state) { benchCall(state, engine); }, benchHandOff);
  return report.run(argc, argv);
}
