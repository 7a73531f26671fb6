// The question whether assets may be deleted, through the C interface.
#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <cstddef>
#include <fstream>
#include <thread>
#include <variant>
#include <vector>

#include "codec/standard_method_codec.h"
#include "testing/engine/engines.h"

namespace quorvin {
namespace {

using std::string_literals::operator""s;

/// One black pixel.
const std::string kPicture =
    "GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF,\0\0\0\0\x01\0\x01\0\0\x02\x02\x44\x01\0;"s;

/// Somebody who is asked before a deletion.
struct Asked {
  std::int32_t answer = 1;
  std::vector<std::size_t> counts;
  std::thread::id thread{};
  bool running = false;  ///< inside quorvin_engine_run
  bool askedWhileRunning = true;
  QuorvinEngine* ends = nullptr;  ///< the engine that the question ends before it is answered
  QuorvinEngine* runs = nullptr;  ///< the engine whose further work runs before the answer

  static std::int32_t ask(std::size_t count, void* data) {
    auto& self = *static_cast<Asked*>(data);
    self.counts.push_back(count);
    self.thread = std::this_thread::get_id();
    self.askedWhileRunning = self.askedWhileRunning && self.running;
    if (self.runs != nullptr) quorvin_engine_run(self.runs, 0);
    if (self.ends != nullptr) quorvin_engine_destroy(self.ends);
    return self.answer;
  }
};

class DeletionPrompt : public testing::Test {
 protected:
  Engines engines;

  EnginePointer openAsking(Asked& asked) {
    QuorvinOptions given = engines.options();
    given.confirm_deletion = Asked::ask;
    given.user_data = &asked;
    return engines.open(given);
  }

  /// Small pictures in a new library; their identifiers.
  std::vector<std::string> plant(int count) {
    const auto engine = engines.open();
    std::vector<std::string> identifiers;
    for (int i = 0; i < count; ++i) {
      const std::string path = engines.folder() / ("picture" + std::to_string(i) + ".gif");
      std::ofstream(path, std::ios::binary) << kPicture;
      const Value record = engines.result(engine.get(), "saveImage", Map{{"filePath", path}});
      identifiers.emplace_back(find(*record.as<Map>(), "id")->text());
    }
    return identifiers;
  }

  static Map deletionOf(const std::vector<std::string>& identifiers) {
    return {{"assetIds", List(identifiers.begin(), identifiers.end())}};
  }

  const Answer& remove(QuorvinEngine* engine, const std::vector<std::string>& identifiers,
                       Asked* asked = nullptr) {
    const Answer& answer = engines.call(engine, "deleteAssets", deletionOf(identifiers));
    if (asked != nullptr) {
      EXPECT_TRUE(asked->counts.empty()) << "it is asked inside run";
      asked->running = true;
    }
    engines.await(engine, answer);
    if (asked != nullptr) asked->running = false;
    return answer;
  }

  bool isThere(const std::string& id) {
    const auto engine = engines.open();
    const Answer& answer = engines.call(engine.get(), "getAssetInfo", Map{{"assetId", id}});
    engines.await(engine.get(), answer);
    return answer.message.at(0) == 0;
  }
};

TEST_F(DeletionPrompt, ThePromptIsAskedOnceForAllOnThisThreadInsideRun) {
  const auto ids = plant(3);
  Asked asked;
  const auto engine = openAsking(asked);
  const Answer& answer = remove(engine.get(), {ids[0], "unknown", ids[2], ids[0]}, &asked);
  EXPECT_EQ(answer.message, encodeSuccessEnvelope(true));
  EXPECT_EQ(answer.count, 1);
  EXPECT_EQ(asked.counts, std::vector<std::size_t>{2});
  EXPECT_EQ(asked.thread, std::this_thread::get_id());
  EXPECT_TRUE(asked.askedWhileRunning);
  EXPECT_FALSE(isThere(ids[0]));
  EXPECT_TRUE(isThere(ids[1]));
  EXPECT_FALSE(isThere(ids[2]));
}

TEST_F(DeletionPrompt, EveryAnswerButZeroAllows) {
  for (const std::int32_t answer : {1, -1, 2, 0x10000}) {
    const auto ids = plant(1);
    Asked asked{.answer = answer};
    const auto engine = openAsking(asked);
    EXPECT_EQ(remove(engine.get(), ids).message, encodeSuccessEnvelope(true)) << answer;
    EXPECT_FALSE(isThere(ids[0]));
  }
}

TEST_F(DeletionPrompt, ARefusalKeepsEverythingAndIsAnError) {
  const auto ids = plant(2);
  Asked asked{.answer = 0};
  const auto engine = openAsking(asked);
  for (std::size_t times = 1; times <= 2; ++times) {
    const auto envelope = decodeEnvelope(remove(engine.get(), ids).message);
    ASSERT_TRUE(envelope);
    const auto* error = std::get_if<FlutterError>(&*envelope);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->message, "Deleting assets error");
    EXPECT_TRUE(error->details.text().ends_with(" (QuorvinLibraryErrorDomain error 3072.)"))
        << error->details.text();
    EXPECT_EQ(asked.counts.size(), times) << "it is asked each time";
    for (const std::string& id : ids) EXPECT_TRUE(isThere(id));
  }
}

TEST_F(DeletionPrompt, NobodyIsAskedWhenNothingWouldGo) {
  const auto ids = plant(1);
  Asked asked{.answer = 0};
  const auto engine = openAsking(asked);
  EXPECT_EQ(remove(engine.get(), {}).message, encodeSuccessEnvelope(true));
  EXPECT_EQ(remove(engine.get(), {"unknown"}).message, encodeSuccessEnvelope(true));
  EXPECT_EQ(engines.result(engine.get(), "createAlbum", Map{{"title", "A"}}).as<Map>()->size(), 4u);
  engines.result(engine.get(), "saveImage",
                 Map{{"filePath", (engines.folder() / "picture0.gif").string()}});
  EXPECT_TRUE(asked.counts.empty());
  EXPECT_TRUE(isThere(ids[0]));
}

TEST_F(DeletionPrompt, NobodyIsAskedWithoutAuthorisation) {
  const auto ids = plant(1);
  Asked asked;
  QuorvinOptions given = engines.options();
  given.authorization = 2;
  given.confirm_deletion = Asked::ask;
  given.user_data = &asked;
  const auto engine = engines.open(given);
  EXPECT_EQ(remove(engine.get(), ids).message.at(0), 1);
  EXPECT_TRUE(asked.counts.empty());
  EXPECT_TRUE(isThere(ids[0]));
}

TEST_F(DeletionPrompt, WithoutAPromptTheCallDecides) {
  const auto ids = plant(1);
  QuorvinOptions given = engines.options();
  given.confirm_deletion = nullptr;
  const auto engine = engines.open(given);
  EXPECT_EQ(remove(engine.get(), ids).message, encodeSuccessEnvelope(true));
  EXPECT_FALSE(isThere(ids[0]));
}

TEST_F(DeletionPrompt, TheFirstVersionOfTheOptionsHasNoPrompt) {
  const auto ids = plant(1);
  Asked asked{.answer = 0};
  QuorvinOptions given = engines.options();
  given.struct_size = offsetof(QuorvinOptions, confirm_deletion);
  // Beyond the struct that such a caller has.
  given.confirm_deletion = Asked::ask;
  given.user_data = &asked;
  const auto engine = engines.open(given);
  EXPECT_EQ(remove(engine.get(), ids).message, encodeSuccessEnvelope(true));
  EXPECT_TRUE(asked.counts.empty());
  EXPECT_FALSE(isThere(ids[0]));
}

TEST_F(DeletionPrompt, EachCallIsAskedAboutInItsTurn) {
  const auto ids = plant(3);
  Asked asked;
  const auto engine = openAsking(asked);
  const Answer& first = engines.call(engine.get(), "deleteAssets", deletionOf({ids[0], ids[1]}));
  const Answer& second = engines.call(engine.get(), "deleteAssets", deletionOf({ids[2]}));
  engines.await(engine.get(), first);
  engines.await(engine.get(), second);
  EXPECT_EQ(asked.counts, (std::vector<std::size_t>{2, 1}));
}

TEST_F(DeletionPrompt, ThePromptMayRunTheEngine) {
  const auto ids = plant(1);
  Asked asked;
  const auto engine = openAsking(asked);
  asked.runs = engine.get();
  EXPECT_EQ(remove(engine.get(), ids).message, encodeSuccessEnvelope(true));
  EXPECT_EQ(asked.counts.size(), 1u);
}

TEST_F(DeletionPrompt, ThePromptMayEndTheEngineAndThenDeletesNothing) {
  const auto ids = plant(1);
  for (const std::int32_t said : {0, 1}) {
    Asked asked{.answer = said};
    asked.ends = openAsking(asked).release();
    const Answer& answer = engines.call(asked.ends, "deleteAssets", deletionOf(ids));
    while (asked.counts.empty()) quorvin_engine_run(asked.ends, -1);
    EXPECT_EQ(answer.count, 1);
    EXPECT_TRUE(answer.message.empty());
    EXPECT_TRUE(isThere(ids[0])) << said;
  }
}

TEST_F(DeletionPrompt, AnEngineEndsWhileTheQuestionWaits) {
  const auto ids = plant(1);
  Asked asked;
  auto engine = openAsking(asked);
  const Answer& answer = engines.call(engine.get(), "deleteAssets", deletionOf(ids));
  ASSERT_TRUE(isReadable(quorvin_engine_fd(engine.get()), 60'000)) << "the question";
  engine.reset();
  EXPECT_TRUE(asked.counts.empty());
  EXPECT_EQ(answer.count, 1);
  EXPECT_TRUE(answer.message.empty());
  EXPECT_TRUE(isThere(ids[0]));
}

TEST_F(DeletionPrompt, AnOpenQuestionHoldsUpNeitherReadingNorAnotherEnginesChanges) {
  const auto ids = plant(2);
  Asked asked;
  const auto engine = openAsking(asked);
  const Answer& answer = engines.call(engine.get(), "deleteAssets", deletionOf({ids[0]}));
  ASSERT_TRUE(isReadable(quorvin_engine_fd(engine.get()), 60'000)) << "the question";
  EXPECT_TRUE(isThere(ids[0]));
  const auto other = engines.open();
  EXPECT_EQ(remove(other.get(), {ids[1]}).message, encodeSuccessEnvelope(true));
  engines.await(engine.get(), answer);
  EXPECT_EQ(answer.message, encodeSuccessEnvelope(true));
  EXPECT_FALSE(isThere(ids[0]));
}

}  // namespace
}  // namespace quorvin
