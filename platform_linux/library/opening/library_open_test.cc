#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

std::string errorOfOpening(const std::string& path) {
  const auto library = Library::open({.path = path});
  return library ? "" : library.error().sentence();
}

TEST(LibraryOpen, MakesALibraryInAMissingOrEmptyFolder) {
  TemporaryFolder folder;
  fs::create_directory(folder / "empty");
  for (const char* name : {"missing/below", "empty"}) {
    const auto library = Library::open({.path = folder / name});
    ASSERT_TRUE(library) << library.error().sentence();
    EXPECT_EQ((*library)->authorizationStatus(), PHAuthorizationStatus::notDetermined);
    for (const char* part : {"library.sqlite", "originals", "derivatives", "incoming"}) {
      EXPECT_TRUE(fs::exists(folder / (std::string(name) + "/" + part))) << part;
    }
  }
}

TEST(LibraryOpen, RefusesAFolderOfOtherContentAndLeavesItAsItIs) {
  TemporaryFolder folder;
  writeFile(folder / "photos/holiday.jpg", "precious");
  const auto before = filesBelow(folder.path());
  EXPECT_NE(errorOfOpening(folder / "photos").find("is not a photo library"), std::string::npos);
  EXPECT_EQ(filesBelow(folder.path()), before);
}

TEST(LibraryOpen, RefusesWhatIsNoFolder) {
  TemporaryFolder folder;
  writeFile(folder / "file", "x");
  EXPECT_NE(errorOfOpening(folder / "file").find("is not a folder"), std::string::npos);
  EXPECT_NE(errorOfOpening(folder / "file/below"), "");
  EXPECT_NE(errorOfOpening("/proc/quorvin"), "");
  EXPECT_NE(errorOfOpening("").find("needs the path"), std::string::npos);
}

TEST(LibraryOpen, RefusesAnotherProgramsDatabaseAndLeavesItAsItIs) {
  TemporaryFolder folder;
  fs::create_directory(folder / "library");
  Gardener(folder / "library").run("CREATE TABLE theirs(x)");
  const std::string before = readFile(folder / "library/library.sqlite");
  EXPECT_NE(errorOfOpening(folder / "library").find("database of something else"),
            std::string::npos);
  EXPECT_EQ(readFile(folder / "library/library.sqlite"), before);
  EXPECT_EQ(filesBelow(folder / "library"), std::vector<std::string>{"library.sqlite"});
}

TEST(LibraryOpen, RefusesAFileThatIsNoDatabase) {
  TemporaryFolder folder;
  const std::string text(5000, 'x');
  writeFile(folder / "library/library.sqlite", text);
  EXPECT_NE(errorOfOpening(folder / "library"), "");
  EXPECT_EQ(readFile(folder / "library/library.sqlite"), text);
}

TEST(LibraryOpen, RefusesALibraryOfALaterVersion) {
  TestLibrary test;
  test.library.reset();
  test.gardener.run("PRAGMA user_version = 999");
  EXPECT_NE(errorOfOpening(test.folder / "library").find("later version"), std::string::npos);
  EXPECT_EQ(test.gardener.text("PRAGMA user_version"), "999");
}

TEST(LibraryOpen, BringsALibraryOfTheFirstVersionUpToDateAndKeepsWhatItHolds) {
  TestLibrary test;
  const std::string asset = test.gardener.plant({.created = 7});
  test.library.reset();
  test.gardener.run("UPDATE meta SET value = 3 WHERE key = 'authorization'");
  test.gardener.makeFirstVersion();
  const auto library = test.open(std::nullopt);
  ASSERT_TRUE(library);
  EXPECT_EQ(test.gardener.text("PRAGMA user_version"), std::to_string(kSchemaVersion));
  EXPECT_EQ(library->authorizationStatus(), PHAuthorizationStatus::authorized);
  const std::vector<std::string> identifiers = {asset};
  EXPECT_EQ(library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr)->count(), 1U);
  EXPECT_TRUE(library->timeMap(asset)->empty());
}

TEST(LibraryOpen, FinishesACreationThatWasCutShort) {
  TemporaryFolder folder;
  for (const char* part : {"originals", "derivatives", "incoming"}) {
    fs::create_directories(folder / (std::string("one/") + part));
    fs::create_directories(folder / (std::string("two/") + part));
  }
  writeFile(folder / "two/library.lock", "");
  writeFile(folder / "two/library.sqlite", "");
  fs::create_directory(folder / "three");
  Gardener(folder / "three").run("PRAGMA journal_mode=WAL");
  for (const char* name : {"one", "two", "three"}) {
    EXPECT_EQ(errorOfOpening(folder / name), "") << name;
    EXPECT_TRUE(describeLibrary(folder / name)) << name;
  }
}

TEST(LibraryOpen, RefusesAFolderThatMayNotBeWritten) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  TemporaryFolder folder;
  { const auto library = Library::open({.path = folder / "library"}); }
  fs::create_directory(folder / "empty");
  ::chmod(folder.path().c_str(), 0755);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(65534) != 0) ::_exit(2);
    for (const char* name : {"library", "empty", "missing"}) {
      if (errorOfOpening(folder / name).empty()) ::_exit(1);
    }
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_TRUE(fs::is_empty(folder / "empty"));
}

// A library that was not closed and is damaged as well, but not so that it does not open.
void leaveUncleanAndDamaged(TestLibrary& test) {
  for (int i = 0; i < 3000; ++i) test.gardener.plant({.created = i});
  test.gardener.run("PRAGMA wal_checkpoint(TRUNCATE)");
  test.library.reset();
  test.gardener.plant({});  // leaves a log behind, as a crash does
  std::fstream file(test.folder / "library/library.sqlite",
                    std::ios::binary | std::ios::in | std::ios::out);
  for (int page = 60; page < 140; ++page) {
    file.seekp(page * 4096);
    file << std::string(4096, '\xA5');
  }
}

// The first failure of a change, which comes when the background has found the damage.
Done changeUntilRefused(Library& library) {
  for (;;) {
    const Done done = library.catalogue()->change([](Database&) -> Done { return Null{}; });
    if (!done) return done;
  }
}

TEST(LibraryOpen, NoticesADamagedCatalogueAfterAnUncleanStopAndTakesNoMoreChanges) {
  TestLibrary test;
  leaveUncleanAndDamaged(test);
  const auto library = test.open();
  const Done done = changeUntilRefused(*library);
  EXPECT_NE(done.error().sentence().find("is damaged"), std::string::npos);
  EXPECT_NE(done.error().sentence().find("quorvin check --repair"), std::string::npos);
}

TEST(LibraryOpen, RemovesNothingOnTheWordOfACatalogueThatAnotherFoundDamaged) {
  TestLibrary test;
  leaveUncleanAndDamaged(test);
  const std::string listed = "AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg";
  writeFile(test.folder / ("library/originals/" + listed), "bytes");
  writeFile(test.folder / "library/incoming/SESSION/originals.list", listed + "\n");
  auto first = test.open();
  changeUntilRefused(*first);
  auto second = test.open();
  EXPECT_TRUE(fs::exists(test.folder / ("library/originals/" + listed)));
  changeUntilRefused(*second);
  const auto emptied = emptyTrash(test.folder / "library");
  ASSERT_FALSE(emptied);
  EXPECT_NE(emptied.error().sentence().find("is damaged"), std::string::npos);
  first.reset();
  second.reset();
  EXPECT_TRUE(fs::exists(test.folder / ("library/originals/" + listed)));
  // By the log, the next opening sees that it has to look.
  EXPECT_GT(fs::file_size(test.folder / "library/library.sqlite-wal"), 0U);
}

TEST(LibraryOpen, SweepsAtOnceBesideOneThatKnowsTheCatalogueToBeSound) {
  TestLibrary test;
  const std::string listed = "AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg";
  writeFile(test.folder / ("library/originals/" + listed), "bytes");
  writeFile(test.folder / "library/incoming/SESSION/originals.list", listed + "\n");
  const auto second = test.open();
  EXPECT_FALSE(fs::exists(test.folder / ("library/originals/" + listed)));
}

TEST(LibraryOpen, LeavesNoLogBehindWhenItClosesCleanly) {
  TestLibrary test;
  test.gardener.plant({});
  test.library.reset();
  EXPECT_EQ(fs::file_size(test.folder / "library/library.sqlite-wal"), 0U);
}

TEST(LibraryOpen, SweepsOnlyWhatACrashedImportListedAndNoRowNames) {
  TestLibrary test;
  const std::string originals = test.folder / "library/originals/";
  const auto asset = test.gardener.plant({});
  const auto path = [](char last) {
    return std::string("AB/AB345678-90AB-4DEF-8123-456789ABCDE") + last + ".jpg";
  };
  const std::string named = path('1');
  const std::string unnamed = path('2');
  const std::string cutShort = path('3');
  const std::string strange = "AB/strange.jpg";
  for (const std::string& each : {named, unnamed, cutShort, strange}) {
    writeFile(originals + each, "bytes");
  }
  test.gardener.run(
      "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash) VALUES"
      " (1, 0, 1, 'a.jpg', 'public.jpeg', '" +
      named + "', 5, x'00')");
  const std::string session = test.folder / "library/incoming/SESSION";
  writeFile(session + "/originals.list", named + "\n" + unnamed + "\n../library.sqlite\n" +
                                             strange + "\n" + unnamed + std::string(200, 'x') +
                                             "\n" + cutShort);
  writeFile(session + "/0", "half a copy");
  test.library.reset();
  test.library = test.open();
  EXPECT_EQ(filesBelow(originals), (std::vector<std::string>{named, cutShort, strange}));
  EXPECT_TRUE(fs::is_empty(test.folder / "library/incoming"));
}

TEST(LibraryOpen, LeavesTheFilesOfAnImportThatIsRunning) {
  TestLibrary test;
  const auto folder = libraryFolderAt(test.folder / "library");
  auto staging = Staging::begin(*folder);
  ASSERT_TRUE(staging);
  ASSERT_TRUE((*staging)->announce({"AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg"}));
  writeFile(test.folder / "library/originals/AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg", "bytes");
  test.open();
  EXPECT_TRUE(
      fs::exists(test.folder / "library/originals/AB/AB345678-90AB-4DEF-8123-456789ABCDE1.jpg"));
  (*staging)->forget();
  staging->reset();
  EXPECT_TRUE(fs::is_empty(test.folder / "library/incoming"));
}

TEST(LibraryOpen, DoesNotWaitForAWriter) {
  TestLibrary test;
  const auto writer =
      LibraryLock::tryAcquire(*libraryFolderAt(test.folder / "library"), LibraryLock::Area::writer,
                              LibraryLock::Mode::exclusive);
  ASSERT_TRUE(writer);
  const auto started = std::chrono::steady_clock::now();
  EXPECT_NE(test.open(), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
}

TEST(LibraryOpen, WorksForSeveralAtOnce) {
  TemporaryFolder folder;
  std::atomic<int> opened = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&folder, &opened] {
      for (int k = 0; k < 5; ++k) {
        if (errorOfOpening(folder / "library").empty()) ++opened;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opened, 20);
  EXPECT_EQ(Gardener(folder / "library").text("SELECT count(*) FROM collections"), "15");
}

TEST(LibraryThreads, ReadWhileOthersWrite) {
  TestLibrary test;
  const auto recents = test.smart(209);
  std::atomic<bool> stop = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&test, &recents, &stop] {
      std::size_t last = 0;
      while (!stop) {
        for (const PHFetchOptions& options : {byDate(false), byDate(true, 20), PHFetchOptions()}) {
          const auto result = test.library->fetchAssetsInAssetCollection(*recents, &options);
          const std::size_t count = result->count();
          EXPECT_EQ(result->objectsAtIndexes({0, count}).size(), count);
          if (options.fetchLimit == 0) {
            EXPECT_GE(count, last);
            last = count;
          }
        }
      }
    });
  }
  for (int i = 0; i < 200; ++i) test.gardener.plant({.created = i});
  EXPECT_TRUE(storeAuthorization(test.folder / "library", PHAuthorizationStatus::denied));
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(test.list(*recents).size(), 200U);
}

TEST(LibraryThreads, UseOneResultTogether) {
  TestLibrary test;
  for (int i = 0; i < 500; ++i) test.gardener.plant({.created = i});
  const auto result = test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&result] {
      for (std::size_t start = 0; start < 500; start += 50) {
        for (const auto& asset : result->objectsAtIndexes({start, start + 50})) {
          EXPECT_FALSE(asset->localIdentifier.empty());
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace quorvin
