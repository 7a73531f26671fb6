// How the client's library is opened, told of changes, and ended while calls wait.
#include <poll.h>

#include <stdexcept>
#include <thread>

#include "tests/clients/client_fixture.h"

namespace quorvin {
namespace {

namespace qc = client;

constexpr int kPatienceMs = 60'000;

class ClientLibrary : public ClientFixture {
 protected:
  /// Runs until there is what is waited for.
  template <class Condition>
  static void runUntil(qc::Library& library, Condition isThere) {
    while (!isThere()) ASSERT_NE(library.run(kPatienceMs), 0u) << "nothing comes";
  }
};

/// The changes that somebody was told.
struct Told {
  std::vector<qc::Change> changes;
  std::vector<std::string> errors;

  qc::OnChange listener() {
    return [this](const qc::Result<qc::Change>& change) {
      if (change) {
        changes.push_back(*change);
      } else {
        errors.emplace_back(change.error()->what());
      }
    };
  }

  bool has(const std::string& gallery) const {
    for (const qc::Change& change : changes) {
      for (const std::string& id : change.galleries) {
        if (id == gallery) return true;
      }
    }
    return false;
  }
};

TEST_F(ClientLibrary, ThatCannotBeOpenedSaysWhy) {
  qc::Options wrong = options();
  wrong.libraryPath = library() / "library.lock";
  try {
    qc::Library opened(wrong);
    ADD_FAILURE() << "it was opened";
  } catch (const qc::OpenError& error) {
    EXPECT_NE(std::string(error.what()).find("library.lock"), std::string::npos) << error.what();
  }
}

TEST_F(ClientLibrary, HasTheOptionsThatItWasGiven) {
  qc::Options given = options();
  given.systemVersion = "17.2";
  given.authorization = qc::Authorization::denied;
  qc::Library opened(given);
  EXPECT_EQ(opened.wait(opened.getPlatformVersion()), "iOS 17.2");
  EXPECT_FALSE(opened.wait(opened.getPermission()));
}

TEST_F(ClientLibrary, AsksTheUser) {
  qc::Options given = options();
  given.authorization = qc::Authorization::notDetermined;
  int asked = 0;
  given.requestAuthorization = [&] {
    ++asked;
    return qc::Authorization::authorized;
  };
  std::vector<std::size_t> counts;
  given.confirmDeletion = [&](std::size_t count) {
    counts.push_back(count);
    return counts.size() > 1;
  };
  qc::Library opened(given);
  EXPECT_TRUE(opened.wait(opened.getPermission()));
  EXPECT_TRUE(opened.wait(opened.getPermission()));
  EXPECT_EQ(asked, 1);
  const std::string photo = assetNamed(opened, "IMG_0002.jpg").id;
  EXPECT_THROW(opened.wait(opened.deleteAssets({photo})), qc::QuorvinError);
  opened.wait(opened.deleteAssets({photo}));
  EXPECT_EQ(counts, (std::vector<std::size_t>{1, 1}));
}

TEST_F(ClientLibrary, IsReadableWhileThereIsSomethingToRun) {
  qc::Library opened(options());
  int answers = 0;
  opened.getGalleryList({}, [&](const auto&) { ++answers; });
  while (answers == 0) {
    pollfd watched = {opened.fd(), POLLIN, 0};
    ASSERT_EQ(poll(&watched, 1, kPatienceMs), 1);
    opened.run();
  }
  EXPECT_EQ(answers, 1);
}

TEST_F(ClientLibrary, ThrowsWhatCallbacksThrow) {
  qc::Library opened(options());
  opened.getGalleryList({}, [](const auto&) { throw std::runtime_error("of the application"); });
  EXPECT_THROW(runUntil(opened, [] { return false; }), std::runtime_error);
  EXPECT_THROW(opened.getPlatformVersion([](const auto&) { throw std::runtime_error("at once"); }),
               std::runtime_error);
  EXPECT_TRUE(opened.wait(opened.getPermission()));
}

TEST_F(ClientLibrary, RefusesOtherThreads) {
  qc::Library opened(options());
  std::thread([&] {
    EXPECT_THROW(opened.getPermission(), qc::WrongThreadError);
    EXPECT_THROW(opened.run(), qc::WrongThreadError);
  }).join();
}

TEST_F(ClientLibrary, ThatIsClosedFailsAllCalls) {
  qc::Library opened(options());
  opened.close();
  opened.close();
  EXPECT_EQ(opened.fd(), -1);
  EXPECT_THROW(opened.getPermission(), qc::LibraryClosedError);
  EXPECT_THROW(opened.run(), qc::LibraryClosedError);
}

TEST_F(ClientLibrary, ThatGoesFailsTheCallsThatWait) {
  for (int round = 0; round < 5; ++round) {
    std::vector<std::future<std::optional<qc::Bytes>>> futures;
    int callbacks = 0;
    int closed = 0;
    {
      qc::Library opened(options());
      const auto assets = assetsIn(opened, everything(opened));
      for (int size = 0; size < 20; ++size) {
        const qc::ThumbnailOptions target = {90.0 + size, 90.0, qc::ContentMode::fit, true};
        for (const qc::Asset& asset : assets) {
          futures.push_back(opened.getThumbnail(asset.id, target));
          opened.getThumbnail(asset.id, target, [&](qc::Result<std::optional<qc::Bytes>> bytes) {
            ++callbacks;
            if (dynamic_cast<const qc::LibraryClosedError*>(bytes.error()) != nullptr) ++closed;
          });
        }
      }
      opened.run(-1);
    }
    EXPECT_EQ(static_cast<std::size_t>(callbacks), futures.size());
    EXPECT_GT(closed, 0);
    int failed = 0;
    for (auto& future : futures) {
      ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
      try {
        future.get();
      } catch (const qc::LibraryClosedError&) {
        ++failed;
      }
    }
    EXPECT_GT(failed, 0);
  }
}

TEST_F(ClientLibrary, MayGoInACallbackOfItsOwn) {
  auto opened = std::make_unique<qc::Library>(options());
  qc::Library& running = *opened;
  std::vector<std::string> told;
  const qc::Listening listening =
      running.changes([&](const auto&) { told.emplace_back("change"); });
  running.createAlbum("new", [&](const auto&) {
    told.emplace_back("album");
    opened.reset();
    told.emplace_back("gone");
  });
  running.getImageData("no asset", {}, [&](const auto&) { told.emplace_back("data"); });
  while (opened != nullptr) running.run(-1);
  const auto end = std::find(told.begin(), told.end(), "gone");
  ASSERT_NE(end, told.end());
  EXPECT_EQ(std::count(told.begin(), told.end(), "data"), 1);
  EXPECT_EQ(std::find(end, told.end(), "change"), told.end());
}

TEST_F(ClientLibrary, TellsItsOwnChangesAndThoseOfOthers) {
  qc::Library opened(options());
  Told told;
  const qc::Listening listening = opened.changes(told.listener());
  const auto album = opened.wait(opened.createAlbum("here"));
  const Json other = call(library(), "createAlbum", R"({"title": "elsewhere"})")["result"];
  runUntil(opened, [&] { return told.has(album.id) && told.has(other["id"]); });
  for (const qc::Change& change : told.changes) EXPECT_TRUE(change.complete);
  EXPECT_TRUE(told.errors.empty());
}

TEST_F(ClientLibrary, TellsEverybodyUntilTheLastOneLeaves) {
  qc::Library opened(options());
  Told first;
  Told second;
  qc::Listening listening = opened.changes(first.listener());
  auto another = std::make_unique<qc::Listening>(opened.changes(second.listener()));
  const auto album = opened.wait(opened.createAlbum("new"));
  runUntil(opened, [&] { return first.has(album.id) && second.has(album.id); });
  another.reset();
  const auto newer = opened.wait(opened.createAlbum("newer"));
  runUntil(opened, [&] { return first.has(newer.id); });
  EXPECT_FALSE(second.has(newer.id));
  listening.stop();
  opened.wait(opened.createAlbum("newest"));
  listening = opened.changes(second.listener());
  const auto last = opened.wait(opened.createAlbum("last"));
  runUntil(opened, [&] { return second.has(last.id); });
  EXPECT_FALSE(first.has(last.id));
}

TEST_F(ClientLibrary, MayBeLeftWhileItTells) {
  qc::Library opened(options());
  int told = 0;
  qc::Listening first;
  qc::Listening second;
  const auto leave = [&](const auto&) {
    ++told;
    first.stop();
    second.stop();
  };
  first = opened.changes(leave);
  second = opened.changes(leave);
  opened.createAlbum("new", nullptr);
  runUntil(opened, [&] { return told > 0; });
  EXPECT_EQ(told, 1);
}

TEST_F(ClientLibrary, TellsWhenItCannotTellChanges) {
  qc::Engine engine(options());
  const auto channel = std::make_shared<qc::ChangeChannel>(engine);
  Told told;
  const qc::Listening listening(channel, told.listener());
  channel->onMessage("quorvin/changes", qc::encodeEnvelope(qc::ErrorReply{"Error", "why", {}}));
  channel->onMessage("quorvin/changes", qc::encodeEnvelope(qc::Value()));
  EXPECT_EQ(told.errors, (std::vector<std::string>{"why"}));
}

TEST_F(ClientLibrary, IsListenedToNoLongerThanItLives) {
  qc::Listening listening;
  {
    qc::Library opened(options());
    listening = opened.changes([](const auto&) {});
  }
  listening.stop();
  qc::Engine engine(options());
  qc::Engine moved = std::move(engine);
  EXPECT_FALSE(engine.isOpen());  // NOLINT(bugprone-use-after-move): that is what is asked
  EXPECT_TRUE(moved.isOpen());
}

}  // namespace
}  // namespace quorvin
