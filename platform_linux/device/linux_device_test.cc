#include "platform_linux/device/linux_device.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <fstream>

namespace quorvin {
namespace {

std::string kernelRelease() {
  utsname names{};
  uname(&names);
  return names.release;
}

std::string versionFrom(const std::string& osRelease) {
  const std::string path = testing::TempDir() + "os-release-" +
                           testing::UnitTest::GetInstance()->current_test_info()->name();
  std::ofstream(path) << osRelease;
  return LinuxDevice(std::nullopt, path).systemVersion();
}

TEST(LinuxDevice, TakesTheGivenVersion) {
  EXPECT_EQ(LinuxDevice("17.2").systemVersion(), "17.2");
  EXPECT_EQ(LinuxDevice("").systemVersion(), "");
}

TEST(LinuxDevice, ReadsTheVersionOfTheDistribution) {
  EXPECT_EQ(versionFrom("NAME=\"A\"\nVERSION_ID=\"12\"\nVERSION=\"12 (x)\"\n"), "12");
  EXPECT_EQ(versionFrom("VERSION_ID='22.04'\n"), "22.04");
  EXPECT_EQ(versionFrom("VERSION_ID=39"), "39");
  EXPECT_EQ(versionFrom("#VERSION_ID=1\nVERSION_ID=2\n"), "2");
}

TEST(LinuxDevice, TakesTheLastOfSeveralVersions) {
  EXPECT_EQ(versionFrom("VERSION_ID=1\nVERSION_ID=2\n"), "2");
}

TEST(LinuxDevice, FallsBackToTheKernelsRelease) {
  EXPECT_EQ(versionFrom("NAME=rolling\n"), kernelRelease());
  EXPECT_EQ(versionFrom("VERSION_ID=\"\"\n"), kernelRelease());
  EXPECT_EQ(versionFrom("VERSION_ID=\"\xFF\"\n"), kernelRelease());
  EXPECT_EQ(LinuxDevice(std::nullopt, "/nowhere/os-release").systemVersion(), kernelRelease());
  EXPECT_FALSE(kernelRelease().empty());
}

}  // namespace
}  // namespace quorvin
