// What the engine tells of changes: from this engine, another one, and another process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorvin/quorvin.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <variant>

#include "codec/standard_method_codec.h"
#include "posix/file_descriptor.h"
#include "testing/engine/engines.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;
using Clock = std::chrono::steady_clock;
constexpr int kPatienceMs = 60'000;

Texts textsAt(const Value& event, std::string_view key) {
  Texts texts;
  for (const Value& text : *find(*event.as<Map>(), key)->as<List>())
    texts.emplace_back(text.text());
  return texts;
}

/// Receives the events of one engine.
struct Listener {
  std::vector<Value> events;
  std::vector<FlutterError> errors;
  void (*act)(Listener&) = nullptr;  ///< at each event
  QuorvinEngine* engine = nullptr;
  std::thread::id thread{};

  static void record(const char* channel, const std::uint8_t* message, std::size_t size,
                     void* listener) {
    auto& self = *static_cast<Listener*>(listener);
    EXPECT_STREQ(channel, "quorvin/changes");
    self.thread = std::this_thread::get_id();
    auto envelope = decodeEnvelope({message, size});
    ASSERT_TRUE(envelope);
    if (auto* error = std::get_if<FlutterError>(&*envelope)) {
      self.errors.push_back(*error);
    } else {
      self.events.push_back(std::get<Value>(*envelope));
    }
    if (self.act != nullptr) self.act(self);
  }
};

bool isAnyThreadNamed(std::string_view wanted) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name == wanted) return true;
  }
  return false;
}

class Events : public testing::Test {
 protected:
  Engines engines;

  void listen(QuorvinEngine* engine, Listener& listener) {
    listener.engine = engine;
    quorvin_engine_receive(engine, Listener::record, &listener);
    EXPECT_EQ(ask(engine, "listen"), encodeSuccessEnvelope(Value()));
  }
  /// The reply of the events' channel, which comes before `send` returns.
  Bytes ask(QuorvinEngine* engine, const std::string& method) {
    const Answer& answer = engines.send(engine, callMessage(method), "quorvin/changes");
    EXPECT_EQ(answer.count, 1);
    return answer.message;
  }
  /// Waits for the descriptor alone, and runs only when it is readable.
  void awaitEvents(const Listener& listener, std::size_t count) {
    while (listener.events.size() < count) {
      ASSERT_TRUE(isReadable(quorvin_engine_fd(listener.engine), kPatienceMs)) << "no event";
      quorvin_engine_run(listener.engine, 0);
    }
  }
  /// Waits until an event tells of the text under the key.
  void awaitText(Listener& listener, std::string_view key, const std::string& text) {
    for (std::size_t i = 0;; ++i) {
      awaitEvents(listener, i + 1);
      if (HasFatalFailure()) return;
      const Texts texts = textsAt(listener.events[i], key);
      if (std::ranges::find(texts, text) != texts.end()) {
        listener.events.clear();
        return;
      }
    }
  }
  /// The identifier of a new album.
  std::string makeAlbum(QuorvinEngine* engine) {
    const Value album = engines.result(engine, "createAlbum", Map{{"title", "Summer"}});
    return album.as<Map>() == nullptr ? "" : std::string(find(*album.as<Map>(), "id")->text());
  }
  /// Another process.
  void tool(Texts arguments) {
    const Texts head = {QUORVIN_TOOL, "--library", engines.libraryPath()};
    arguments.insert(arguments.begin(), head.begin(), head.end());
    std::vector<char*> words;
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    ASSERT_EQ(posix_spawn(&process, QUORVIN_TOOL, &files, nullptr, words.data(), environ), 0);
    posix_spawn_file_actions_destroy(&files);
    int status = -1;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    ASSERT_EQ(status, 0) << arguments[3];
  }
};

TEST_F(Events, TellOfThisEnginesOwnCommits) {
  const auto engine = engines.open();
  Listener listener;
  listen(engine.get(), listener);
  const std::string album = makeAlbum(engine.get());
  awaitEvents(listener, 1);
  const Value& event = listener.events.at(0);
  Texts keys;
  for (const auto& [key, value] : *event.as<Map>()) keys.emplace_back(key.text());
  EXPECT_EQ(keys, (Texts{"sequence", "inserted", "changed", "removed", "galleries", "complete"}));
  EXPECT_EQ(textsAt(event, "galleries"), Texts{album});
  EXPECT_EQ(*find(*event.as<Map>(), "complete"), Value(true));
  EXPECT_NE(find(*event.as<Map>(), "sequence")->as<std::int64_t>(), nullptr);
  EXPECT_EQ(listener.thread, std::this_thread::get_id());
}

TEST_F(Events, TellOfAnotherEnginesCommitsWithinHalfASecond) {
  const auto engine = engines.open();
  const auto other = engines.open();
  Listener listener;
  listen(engine.get(), listener);
  auto soonest = Clock::duration::max();
  std::int64_t sequence = 0;
  for (std::size_t i = 0; i < 5; ++i) {
    const std::string album = makeAlbum(other.get());
    const auto committed = Clock::now();
    awaitEvents(listener, i + 1);
    soonest = std::min(soonest, Clock::now() - committed);
    EXPECT_EQ(textsAt(listener.events.at(i), "galleries"), Texts{album});
    const auto next = *find(*listener.events[i].as<Map>(), "sequence")->as<std::int64_t>();
    EXPECT_GT(next, sequence);
    sequence = next;
  }
  EXPECT_LT(soonest, std::chrono::milliseconds(500));
}

TEST_F(Events, TellOfAnotherProcesssCommits) {
  const std::string photo = engines.folder() / "photo.jpg";
  std::filesystem::copy(QUORVIN_GENERATED_MEDIA "/good/orientation_1.jpg", photo);
  const auto engine = engines.open();
  tool({"authorize", "authorized"});
  Listener listener;
  listen(engine.get(), listener);

  tool({"import", photo});
  awaitEvents(listener, 1);
  const Texts inserted = textsAt(listener.events.at(0), "inserted");
  ASSERT_EQ(inserted.size(), 1U);
  const std::string asset = inserted.front();
  EXPECT_FALSE(textsAt(listener.events.at(0), "galleries").empty());
  EXPECT_NE(
      find(*engines.result(engine.get(), "getAssetInfo", Map{{"assetId", asset}}).as<Map>(), "id"),
      nullptr);
  listener.events.clear();

  tool({"call", "deleteAssets", R"({"assetIds": [")" + asset + R"("]})"});
  awaitText(listener, "removed", asset);
  tool({"trash", "restore", asset});
  awaitText(listener, "inserted", asset);
  tool({"call", "createAlbum", R"({"title": "Summer"})"});
  awaitEvents(listener, 1);
  EXPECT_EQ(textsAt(listener.events.at(0), "galleries").size(), 1U);
}

TEST_F(Events, TellOnlyOfWhatIsCommittedAfterListening) {
  const auto engine = engines.open();
  makeAlbum(engine.get());
  Listener listener;
  listen(engine.get(), listener);
  const std::string later = makeAlbum(engine.get());
  awaitEvents(listener, 1);
  EXPECT_EQ(textsAt(listener.events.at(0), "galleries"), Texts{later});
}

TEST_F(Events, ShareAMessageWhileItWaitsToBeReceived) {
  const auto engine = engines.open();
  const auto other = engines.open();
  Listener listener;
  listen(engine.get(), listener);
  std::set<std::string> albums = {makeAlbum(other.get())};
  ASSERT_TRUE(isReadable(quorvin_engine_fd(engine.get()), kPatienceMs));
  for (int i = 0; i < 10; ++i) albums.insert(makeAlbum(other.get()));
  std::set<std::string> told;
  for (std::size_t i = 0; told.size() < albums.size(); ++i) {
    awaitEvents(listener, i + 1);
    ASSERT_FALSE(HasFatalFailure());
    for (const std::string& album : textsAt(listener.events[i], "galleries")) told.insert(album);
  }
  EXPECT_EQ(told, albums);
  EXPECT_LE(listener.events.size(), 3U);
}

TEST_F(Events, StopWithCancelAndWithoutAReceiver) {
  const auto engine = engines.open();
  const auto other = engines.open();
  Listener listener;
  Listener witness;
  EXPECT_FALSE(isAnyThreadNamed("quorvin-watch"));
  listen(engine.get(), listener);
  EXPECT_TRUE(isAnyThreadNamed("quorvin-watch"));
  EXPECT_EQ(ask(engine.get(), "cancel"), encodeSuccessEnvelope(Value()));
  EXPECT_FALSE(isAnyThreadNamed("quorvin-watch"));
  listen(engine.get(), listener);
  quorvin_engine_receive(engine.get(), nullptr, nullptr);
  EXPECT_FALSE(isAnyThreadNamed("quorvin-watch"));
  listen(other.get(), witness);
  makeAlbum(other.get());
  awaitEvents(witness, 1);
  EXPECT_EQ(quorvin_engine_run(engine.get(), 0), 0U);
  EXPECT_TRUE(listener.events.empty());
  quorvin_engine_receive(engine.get(), Listener::record, &listener);  // goes on
  const std::string album = makeAlbum(other.get());
  awaitEvents(listener, 1);
  EXPECT_EQ(textsAt(listener.events.at(0), "galleries"), Texts{album});
}

TEST_F(Events, AreNotForProgramsThatMaySeeNothing) {
  const auto engine = engines.open();
  const auto denied = engines.openLibrary(engines.libraryPath(), 2);
  const auto limited = engines.openLibrary(engines.libraryPath(), 4);
  Listener listener;
  Listener deaf;
  Listener shortSighted;
  listen(engine.get(), listener);
  listen(denied.get(), deaf);
  listen(limited.get(), shortSighted);
  for (std::size_t i = 0; i < 3; ++i) {
    makeAlbum(engine.get());
    awaitEvents(listener, i + 1);
  }
  for (QuorvinEngine* each : {denied.get(), limited.get()}) {
    EXPECT_FALSE(isReadable(quorvin_engine_fd(each), 0));
    EXPECT_EQ(quorvin_engine_run(each, 0), 0U);
  }
  EXPECT_TRUE(deaf.events.empty());
  EXPECT_TRUE(shortSighted.events.empty());
}

TEST_F(Events, MayReplaceTheirReceiverAndEndTheEngine) {
  auto engine = engines.open();
  Listener listener;
  static Listener next;
  next = Listener();
  next.act = [](Listener& self) { quorvin_engine_destroy(self.engine); };
  next.engine = engine.get();
  listener.act = [](Listener& self) {
    quorvin_engine_receive(self.engine, Listener::record, &next);
  };
  listen(engine.get(), listener);
  makeAlbum(engine.get());
  awaitEvents(listener, 1);
  makeAlbum(engine.get());
  QuorvinEngine* ends = engine.release();
  while (next.events.empty()) ASSERT_GT(quorvin_engine_run(ends, kPatienceMs), 0U);
  EXPECT_EQ(listener.events.size(), 1U);
  EXPECT_FALSE(isAnyThreadNamed("quorvin-watch"));
}

TEST_F(Events, AnswerListenWithAnErrorWhenDescriptorsRunOut) {
  const auto engine = engines.open();
  makeAlbum(engine.get());
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const FileDescriptor lowestFree(dup(STDIN_FILENO));
  const rlimit tight{static_cast<rlim_t>(lowestFree.get()) + 1, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &tight);
  const Bytes reply = ask(engine.get(), "listen");
  setrlimit(RLIMIT_NOFILE, &before);
  const auto envelope = decodeEnvelope(reply);
  ASSERT_TRUE(envelope && std::holds_alternative<FlutterError>(*envelope));
  const auto& error = std::get<FlutterError>(*envelope);
  EXPECT_EQ(error.message, "Failed to watch the library");
  EXPECT_NE(error.details.text().find("Too many open files"), std::string::npos)
      << error.details.text();
  Listener listener;
  listen(engine.get(), listener);
  makeAlbum(engine.get());
  awaitEvents(listener, 1);
}

TEST_F(Events, ChannelTakesNothingElse) {
  const auto engine = engines.open();
  EXPECT_TRUE(ask(engine.get(), "getPlatformVersion").empty());
  EXPECT_TRUE(engines.send(engine.get(), {7, 6, 'l'}, "quorvin/changes").message.empty());
  const Answer& plugin = engines.call(engine.get(), "listen");
  EXPECT_TRUE(plugin.message.empty()) << "the plugin's own channel knows no such method";
  quorvin_engine_receive(nullptr, Listener::record, nullptr);
}

TEST_F(Events, NeverComeAfterTheEngineHasEnded) {
  std::atomic<bool> isDone = false;
  std::thread writer([this, &isDone] {
    const auto engine = engines.open();
    const Bytes message = callMessage("createAlbum", Map{{"title", "Summer"}});
    while (!isDone) {
      Answer answer;
      quorvin_engine_send(engine.get(), "quorvin", message.data(), message.size(), Answer::record,
                          &answer);
      while (answer.count == 0) quorvin_engine_run(engine.get(), -1);
    }
  });
  for (int i = 0; i < 20; ++i) {
    auto engine = engines.open();
    Listener listener;
    listen(engine.get(), listener);
    if (i % 2 == 0) {
      EXPECT_TRUE(isReadable(quorvin_engine_fd(engine.get()), kPatienceMs));
    }
    if (i % 4 == 0) awaitEvents(listener, 2);
    const std::size_t count = listener.events.size();
    engine.reset();
    EXPECT_EQ(listener.events.size(), count);
  }
  isDone = true;
  writer.join();
}

}  // namespace
}  // namespace quorvin
