#include "platform_linux/files/file_system_reach.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(FileSystemReach, KnowsTheFileSystemsOfNetworksAndClusters) {
  constexpr std::uint32_t kNfs = 0x6969;
  constexpr std::uint32_t kSmb = 0x517B;
  constexpr std::uint32_t kCifs = 0xFF534D42;
  constexpr std::uint32_t kSmb2 = 0xFE534D42;
  constexpr std::uint32_t kAfs = 0x5346414F;
  constexpr std::uint32_t kKernelAfs = 0x6B414653;
  constexpr std::uint32_t kCeph = 0x00C36400;
  constexpr std::uint32_t kLustreFs = 0x0BD00BD0;
  constexpr std::uint32_t kGlobalFs2 = 0x01161970;
  constexpr std::uint32_t kOcfs2 = 0x7461636F;
  for (const std::uint32_t type :
       {kNfs, kSmb, kCifs, kSmb2, kAfs, kKernelAfs, kCeph, kLustreFs, kGlobalFs2, kOcfs2}) {
    EXPECT_EQ(reachOf(type), Reach::network) << std::hex << type;
  }
}

TEST(FileSystemReach, DoesNotTakeWhatAVirtualMachineOrAProgramShowsForANetwork) {
  constexpr std::uint32_t kFuse = 0x65735546;
  constexpr std::uint32_t kPlan9 = 0x01021997;
  for (const std::uint32_t type : {kFuse, kPlan9}) {
    EXPECT_EQ(reachOf(type), Reach::uncertain) << std::hex << type;
  }
}

TEST(FileSystemReach, TakesTheRestForDisksOfThisMachine) {
  constexpr std::uint32_t kExt4 = 0xEF53;
  constexpr std::uint32_t kBtrfs = 0x9123683E;
  constexpr std::uint32_t kTmpfs = 0x01021994;
  constexpr std::uint32_t kOverlay = 0x794C7630;
  constexpr std::uint32_t kIso = 0x9660;
  for (const std::uint32_t type : {kExt4, kBtrfs, kTmpfs, kOverlay, kIso}) {
    EXPECT_EQ(reachOf(type), Reach::thisMachine) << std::hex << type;
  }
}

}  // namespace
}  // namespace quorvin
