// Libraries that their owner shows to others.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "testing/platform/filled_library.h"

namespace quorvin {
namespace {

constexpr uid_t kNobody = 65534;

/// Does it as another user, in a process of its own. Empty when all is well.
std::string asNobody(const std::function<std::string()>& work) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    std::string told = "cannot become another user";
    if (::setresgid(kNobody, kNobody, kNobody) == 0 &&
        ::setresuid(kNobody, kNobody, kNobody) == 0) {
      told = work();
    }
    const ssize_t size = ::write(ends[1], told.data(), told.size());
    ::_exit(size == static_cast<ssize_t>(told.size()) ? 0 : 1);
  }
  ::close(ends[1]);
  std::string told;
  char byte = 0;
  while (::read(ends[0], &byte, 1) == 1) told += byte;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  return told;
}

/// Everybody may look, and nobody but the owner write.
void showToAll(const std::string& folder) {
  ::chmod(folder.c_str(), 0755);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    ::chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644);
  }
}

class LibraryOfAnother : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs to become another user";
    showToAll(folder.path());
  }
  static std::string sentenceOf(const std::string& path) {
    return "The library “" + path +
           "” can only be read because you don’t have permission to write to it.";
  }

  TemporaryFolder folder;
  FilledLibrary filled{folder / "library"};
};

TEST_F(LibraryOfAnother, IsShownAndTakesNoChange) {
  const std::vector<std::string> before = stateBelow(folder.path());
  EXPECT_EQ(asNobody([this] { return faultOf(filled); }), "");
  EXPECT_EQ(asNobody([this] {
              return refusals(filled.path) == allOf(sentenceOf(filled.path)) ? "" : "other words";
            }),
            "");
  EXPECT_EQ(stateBelow(folder.path()), before);
}

TEST_F(LibraryOfAnother, IsShownWhileItsOwnerChangesIt) {
  const auto owners = Library::open({.path = filled.path});
  ASSERT_TRUE(owners);
  Gardener garden(filled.path);
  garden.run("UPDATE collections SET title = 'Winter' WHERE type = 1");
  showToAll(folder.path());
  EXPECT_EQ(asNobody([this] { return faultOf(filled); }), "");
  EXPECT_EQ(asNobody([this] { return describeLibrary(filled.path)->albums[0].title; }), "Winter");
}

TEST_F(LibraryOfAnother, GetsNothingBesideItsCatalogueThoughItsFolderMayBeWritten) {
  for (const char* part : {"library.sqlite-wal", "library.sqlite-shm", "library.lock"}) {
    std::filesystem::remove(filled.path + "/" + part);
  }
  ::chmod(filled.path.c_str(), 0777);
  const std::vector<std::string> before = stateBelow(folder.path());
  EXPECT_EQ(asNobody([this] { return faultOf(filled); }), "");
  EXPECT_EQ(stateBelow(folder.path()), before);
}

TEST_F(LibraryOfAnother, IsNoLibraryForWhoMayNotLookIntoIt) {
  ::chmod(filled.path.c_str(), 0700);
  EXPECT_EQ(asNobody([this] {
              const auto opened = Library::open({.path = filled.path});
              return opened ? "opened" : opened.error().sentence();
            }),
            "The library “" + filled.path + "” cannot be read: Permission denied.");
}

}  // namespace
}  // namespace quorvin
