#include "platform_linux/library/catalogue/library_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "platform_linux/library/catalogue/catalogue.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

TEST(LibraryLock, ExcludesOthersOfTheSameProcessAndIsFreedWithItsHolder) {
  TemporaryFolder folder;
  writeFile(folder / "library.lock", "");
  const LibraryFolder library = *libraryFolderAt(folder.path());
  using Area = LibraryLock::Area;
  using Mode = LibraryLock::Mode;
  {
    auto first = LibraryLock::tryAcquire(library, Area::writer, Mode::exclusive);
    ASSERT_TRUE(first);
    EXPECT_FALSE(LibraryLock::tryAcquire(library, Area::writer, Mode::exclusive));
    EXPECT_FALSE(LibraryLock::tryAcquire(library, Area::writer, Mode::shared));
    EXPECT_TRUE(LibraryLock::tryAcquire(library, Area::staging, Mode::exclusive));
    EXPECT_TRUE(first->tryChange(Mode::shared));
    EXPECT_TRUE(LibraryLock::tryAcquire(library, Area::writer, Mode::shared));
  }
  EXPECT_TRUE(LibraryLock::tryAcquire(library, Area::writer, Mode::exclusive));
}

TEST(LibraryLock, SaysWhyItCannotBeTakenWhenNobodyHoldsIt) {
  TemporaryFolder folder;
  const auto take = [&folder] {
    return LibraryLock::acquire(*libraryFolderAt(folder.path()), LibraryLock::Area::writer,
                                LibraryLock::Mode::exclusive);
  };
  const auto missing = take();
  ASSERT_FALSE(missing);
  EXPECT_EQ(
      missing.error().sentence(),
      "The lock “" + folder.path() + "/library.lock” cannot be taken: No such file or directory.");
  EXPECT_FALSE(LibraryLock::isHeld(missing.error()));
  writeFile(folder / "library.lock", "");
  EXPECT_TRUE(take());
}

TEST(LibraryLock, OfAFileThatWasReplacedKeepsChangesOut) {
  TestLibrary test;
  const std::string lock = test.folder / "library/library.lock";
  const auto rename = [&test](const std::string& title) {
    return test.library->catalogue()->change([&title](Database& database) -> Done {
      if (!database.prepare("UPDATE collections SET title = ?").bind(title).run()) {
        return database.lastError("no");
      }
      return Null{};
    });
  };
  ASSERT_TRUE(rename("a"));
  std::filesystem::remove(lock);
  const Done gone = rename("b");
  ASSERT_FALSE(gone);
  EXPECT_EQ(gone.error().sentence(),
            "The lock “" + lock + "” cannot be taken: No such file or directory.");
  writeFile(lock, "");
  const Done replaced = rename("b");
  ASSERT_FALSE(replaced);
  EXPECT_EQ(replaced.error().sentence(),
            "The lock “" + lock + "” was removed or replaced while the library was open.");
  EXPECT_EQ(test.gardener.text("SELECT DISTINCT title FROM collections"), "a");
}

TEST(LibraryLock, IsFreedWhenItsHolderIsKilled) {
  TemporaryFolder folder;
  writeFile(folder / "library.lock", "");
  const LibraryFolder library = *libraryFolderAt(folder.path());
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto lock =
        LibraryLock::tryAcquire(library, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
    (void)!::write(ready[1], "x", 1);
    ::pause();
    ::_exit(0);
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_FALSE(
      LibraryLock::tryAcquire(library, LibraryLock::Area::writer, LibraryLock::Mode::exclusive));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(
      LibraryLock::acquire(library, LibraryLock::Area::writer, LibraryLock::Mode::exclusive));
}

}  // namespace
}  // namespace quorvin
