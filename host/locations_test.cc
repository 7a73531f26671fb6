#include "host/locations.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

namespace quorvin {
namespace {

/// Sets or unsets a variable of the environment for one test.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    set(value);
  }
  ~EnvironmentVariable() { set(before_ ? before_->c_str() : nullptr); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

std::string libraryPath() {
  const auto path = defaultLibraryPath();
  return path ? *path : path.error().reason;
}

TEST(Locations, TheDefaultLibraryIsWithTheUsersData) {
  const EnvironmentVariable home("HOME", "/home/me");
  const EnvironmentVariable data("XDG_DATA_HOME", "/data");
  EXPECT_EQ(libraryPath(), "/data/quorvin/library");
}

TEST(Locations, WithoutADataFolderItIsInTheHomeFolder) {
  const EnvironmentVariable home("HOME", "/home/me");
  for (const char* unusable : {static_cast<const char*>(nullptr), "", "relative/data"}) {
    const EnvironmentVariable data("XDG_DATA_HOME", unusable);
    EXPECT_EQ(libraryPath(), "/home/me/.local/share/quorvin/library");
  }
}

TEST(Locations, WithoutHomeItIsInTheHomeThatTheSystemKnows) {
  const passwd* user = getpwuid(getuid());
  if (user == nullptr) GTEST_SKIP() << "this user has no entry";
  const std::string known = user->pw_dir;
  const EnvironmentVariable home("HOME", nullptr);
  const EnvironmentVariable data("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(libraryPath(), known + "/.local/share/quorvin/library");
}

TEST(Locations, FailuresAreRememberedWithTheUsersState) {
  const EnvironmentVariable home("HOME", "/home/me");
  const EnvironmentVariable none("XDG_STATE_HOME", "relative");
  EXPECT_EQ(failedFilesPath(), "/home/me/.local/state/quorvin/failed");
  const EnvironmentVariable state("XDG_STATE_HOME", "/state");
  EXPECT_EQ(failedFilesPath(), "/state/quorvin/failed");
}

TEST(Locations, TheEnvironmentNamesTheWorker) {
  const EnvironmentVariable worker("QUORVIN_MEDIA_WORKER", "/somewhere/worker");
  EXPECT_EQ(mediaWorkerProgram(), "/somewhere/worker");
}

TEST(Locations, ARelativeNameIsOneInTheFolderOfNow) {
  const EnvironmentVariable worker("QUORVIN_MEDIA_WORKER", "build/worker");
  EXPECT_EQ(mediaWorkerProgram(), std::filesystem::current_path() / "build/worker");
}

TEST(Locations, AWorkerBesideThisProgramComesBeforeTheInstalledOne) {
  const EnvironmentVariable worker("QUORVIN_MEDIA_WORKER", nullptr);
  const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
  const auto beside = folder / "quorvin-media";
  ASSERT_FALSE(std::filesystem::exists(beside));
  EXPECT_TRUE(mediaWorkerProgram().ends_with("libexec/quorvin/quorvin-media"));

  std::ofstream(beside).close();
  std::filesystem::permissions(beside, std::filesystem::perms::owner_all);
  EXPECT_EQ(mediaWorkerProgram(), beside);
  std::filesystem::remove(beside);
}

}  // namespace
}  // namespace quorvin
