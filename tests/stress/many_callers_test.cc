// 64 callers of every method at once, on four engines that share a library which they change. Each
// call is answered once, with what it gives alone. QUORVIN_STRESS_CALLS is the number of calls.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <list>
#include <mutex>
#include <thread>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/channel.h"
#include "tests/stress/any_calls.h"

namespace quorvin {
namespace {

constexpr std::size_t kEngines = 4;
constexpr std::size_t kCallersOfAnEngine = 16;

std::size_t callCount() {
  const char* count = std::getenv("QUORVIN_STRESS_CALLS");
#ifdef QUORVIN_SANITIZED  // everything is many times slower
  constexpr std::size_t kShort = 200;
#else
  constexpr std::size_t kShort = 1000;
#endif
  return count == nullptr ? kShort : std::strtoull(count, nullptr, 10);
}

/// For a person.
std::string shortly(const std::string& answer) {
  constexpr std::size_t kBeginning = 200;
  return std::to_string(answer.size()) + " bytes: " + answer.substr(0, kBeginning);
}

class ManyCallers : public testing::Test {
 protected:
  /// A repeatable call, and what it gave.
  struct Asked {
    StressCall call;
    std::string answer;
  };

  void SetUp() override {
    copyImportedLibrary(shared_.folder() / "library");
    copyImportedLibrary(shared_.folder() / "untouched");
  }

  std::string library() const { return shared_.folder() / "library"; }
  std::string untouched() const { return shared_.folder() / "untouched"; }

  /// One engine and its callers, on this thread.
  void callFrom(const StressCalls& calls, unsigned seed) {
    struct Caller {
      StressCall call;
      Bytes message;
      Answer& answer;
    };
    Channel channel;
    channel.use(library());
    StressCalls mine(calls, seed);
    std::set<std::string> looked;
    std::vector<const Answer*> answers;
    std::list<Caller> callers;
    while (left_ > 0 || !callers.empty()) {
      while (callers.size() < kCallersOfAnEngine && left_-- > 0) {
        StressCall call = mine.any(looked);
        if (!call.writes.empty()) looked.insert(call.writes);
        const Bytes message = callMessage(call.method, call.arguments);
        Answer& answer = channel.engines.send(channel.engine(), message);
        answers.push_back(&answer);
        callers.push_back({call, message, answer});
      }
      const std::size_t answered = std::erase_if(callers, [&](const Caller& each) {
        if (each.answer.count == 0) return false;
        note(each.call, each.message, each.answer, mine);
        each.answer.message = Bytes();
        looked.erase(each.call.writes);
        return true;
      });
      if (answered > 0) continue;
      ASSERT_GT(quorvin_engine_run(channel.engine(), 120'000), 0U) << "no answer in two minutes";
    }
    // Whoever would answer a second time has had its time.
    channel.result("clearAllCache");
    for (const Answer* answer : answers) EXPECT_EQ(answer->count, 1);
  }

  void note(const StressCall& call, const Bytes& message, const Answer& answer,
            StressCalls& calls) {
    const std::string lasting = lastingPartOf(call, answer);
    if (call.method.starts_with("save")) {
      calls.noteSaved(textAt(std::get<Value>(*decodeEnvelope(answer.message)), "id"));
    }
    const std::lock_guard held(lock_);
    ++answered_[call.method];
    if (call.method == "deleteAssets")
      deleted_ += at(call.arguments, "assetIds").as<List>()->size();
    if (!call.isRepeatable) return;
    const Asked& first = asked_.try_emplace(message, Asked{call, lasting}).first->second;
    EXPECT_TRUE(lasting == first.answer)
        << call.method << " gives " << shortly(lasting) << " and " << shortly(first.answer);
  }

  std::size_t listedIn(const std::string& gallery) {
    return shared_.page(shared_.gallery(gallery), 0, 1'000'000, kNewestFirst).size();
  }
  std::size_t galleriesCalled(const std::string& title) {
    const List all = shared_.galleries(kAll);
    return static_cast<std::size_t>(std::ranges::count_if(
        all, [&title](const Value& each) { return textAt(each, "title") == title; }));
  }

  void compareWithCallsAlone() {
    Channel alone;
    alone.use(untouched());
    for (const auto& [message, asked] : asked_) {
      const Answer& answer = alone.engines.send(alone.engine(), message);
      alone.await(answer);
      const std::string lasting = lastingPartOf(asked.call, answer);
      EXPECT_TRUE(asked.answer == lasting)
          << asked.call.method << " gives " << shortly(asked.answer) << " and alone "
          << shortly(lasting);
    }
  }

  Channel shared_;
  std::atomic<std::int64_t> left_ = static_cast<std::int64_t>(callCount());
  std::mutex lock_;
  std::map<std::string, std::size_t> answered_;
  std::size_t deleted_ = 0;
  std::map<Bytes, Asked> asked_;
};

TEST_F(ManyCallers, AreAnsweredOnceEachAsTheyAreAlone) {
  const StressCalls calls(shared_);
  const std::size_t before = listedIn("Recents");
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kEngines; ++i) threads.emplace_back([&, i] { callFrom(calls, i); });
  for (std::thread& each : threads) each.join();

  std::size_t sum = 0;
  for (const auto& [method, count] : answered_) sum += count;
  EXPECT_EQ(sum, callCount());
  for (const std::string& method : StressCalls::methods())
    EXPECT_GT(answered_[method], 0U) << method;
  shared_.use(library());
  EXPECT_EQ(listedIn("Recents"),
            before + answered_["saveImage"] + answered_["saveVideo"] - deleted_);
  EXPECT_EQ(galleriesCalled(kStressAlbum), answered_["createAlbum"]);
  compareWithCallsAlone();
  RecordProperty("calls", static_cast<int>(sum));
  RecordProperty("different", static_cast<int>(asked_.size()));
}

}  // namespace
}  // namespace quorvin
