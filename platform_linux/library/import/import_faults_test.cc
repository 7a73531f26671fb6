// Imports on full disks, and imports that are killed.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

struct ImportFaults : testing::Test, ImportFixture {};

constexpr int kStopped = 41;
constexpr int kRefused = 50;  ///< and so many files

// Runs the import in a process of its own that may not write files beyond a size.
int importWithSmallFiles(ImportFixture& test, rlim_t most) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {most, most};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const auto summary = test.tryImport({test.folder / "in"});
    ::_exit(summary ? kRefused + static_cast<int>(summary->refusedFiles) : kStopped);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

TEST_F(ImportFaults, RefusesAloneWhatIsTooLargeForTheFileSystem) {
  put("a.jpg", "image");
  importAll();
  put("b.jpg", "image b");
  put("c.jpg", "image c" + std::string(20'000'000, '.'));
  put("d.jpg", "image d");
  EXPECT_EQ(importWithSmallFiles(*this, 10'000'000), kRefused + 1);
  EXPECT_EQ(assets(), (Texts{"1 1:a.jpg", "1 1:b.jpg", "1 1:d.jpg"}));
  expectSound();
}

TEST(ImportIntoAFullVolume, StopsWithAReasonAndKeepsWhatItAdded) {
  SmallVolume volume("size=1m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const TemporaryFolder sources;
  ScriptedMedia media;
  ImportListener listener;
  const auto import = [&] {
    return importIntoLibrary(volume / "library", media, {{sources.path()}, std::nullopt}, listener);
  };
  writeFile(sources / "a.jpg", "image");
  ASSERT_TRUE(import());
  writeFile(sources / "b.jpg", "image " + std::string(5'000'000, '.'));
  const auto full = import();
  ASSERT_FALSE(full);
  EXPECT_TRUE(full.error().is(LibraryErrorCode::notEnoughSpace)) << full.error().sentence();
  EXPECT_EQ(filesBelow(volume / "library/originals").size(), 1U);
}

TEST_F(ImportFaults, AddsNothingWhenTheCatalogueCannotGrow) {
  put("a.jpg", "image");
  importAll();
  for (int i = 0; i < 200; ++i) put("n" + std::to_string(i) + ".jpg", "image " + std::to_string(i));
  EXPECT_EQ(importWithSmallFiles(*this, 70'000), kStopped);
  expectSound();
  EXPECT_EQ(importAll().refusedFiles, 0U);
  EXPECT_EQ(assets().size(), 201U);
}

TEST_F(ImportFaults, LeavesASoundLibraryWhereverItIsKilled) {
  for (int moves = 1; moves < 150; moves += 37) {
    ImportFixture test;
    test.open();
    for (int i = 0; i < 200; ++i) {
      test.put("n" + std::to_string(i) + ".jpg", "image " + std::to_string(i));
    }
    const pid_t child = ::fork();
    if (child == 0) {
      // Killed by a signal of the kernel's: the size of a file is exceeded, at some point.
      const struct rlimit limit = {static_cast<rlim_t>(40'000 + moves * 1000), RLIM_INFINITY};
      std::signal(SIGXFSZ, SIG_DFL);
      ::setrlimit(RLIMIT_FSIZE, &limit);
      test.tryImport({test.folder / "in"});
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    test.expectSound();
    EXPECT_EQ(test.importAll().refusedFiles, 0U);
    EXPECT_EQ(test.assets().size(), 200U);
    test.expectSound();
  }
}

}  // namespace
}  // namespace quorvin
