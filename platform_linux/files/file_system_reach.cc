// 9p and the shared folders of virtual machines count as uncertain, not as networks: they are how
// a guest, or a sandbox, sees a disk of its own host, for itself alone as a rule. Behind FUSE there
// may be a disk or another machine; nothing tells.
#include "platform_linux/files/file_system_reach.h"

#include <linux/magic.h>

#include <algorithm>
#include <array>

namespace quorvin {
namespace {

// Those that the system's header does not name.
constexpr std::uint32_t kBeeGfs = 0x19830326;
constexpr std::uint32_t kBcachefs = 0xCA451A4E;
constexpr std::uint32_t kF2fs = 0xF2F52010;
constexpr std::uint32_t kGfs2 = 0x01161970;
constexpr std::uint32_t kGpfs = 0x47504653;
constexpr std::uint32_t kLustre = 0x0BD00BD0;
constexpr std::uint32_t kOrangeFs = 0x20030528;
constexpr std::uint32_t kVirtualBox = 0x786F4256;
constexpr std::uint32_t kZfs = 0x2FC12FC1;

constexpr std::array<std::uint32_t, 15> kNetworks = {NFS_SUPER_MAGIC,
                                                     SMB_SUPER_MAGIC,
                                                     CIFS_SUPER_MAGIC,
                                                     SMB2_SUPER_MAGIC,
                                                     AFS_SUPER_MAGIC,
                                                     AFS_FS_MAGIC,
                                                     CODA_SUPER_MAGIC,
                                                     NCP_SUPER_MAGIC,
                                                     CEPH_SUPER_MAGIC,
                                                     OCFS2_SUPER_MAGIC,
                                                     kBeeGfs,
                                                     kGfs2,
                                                     kGpfs,
                                                     kLustre,
                                                     kOrangeFs};
constexpr std::array<std::uint32_t, 3> kUncertain = {FUSE_SUPER_MAGIC, V9FS_MAGIC, kVirtualBox};
constexpr std::array<std::uint32_t, 8> kTracking = {
    EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,    kF2fs, kZfs,
    kBcachefs,        TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
constexpr std::array<std::uint32_t, 4> kFlushing = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC,
                                                    BTRFS_SUPER_MAGIC, kF2fs};

}  // namespace

Reach reachOf(std::uint32_t fileSystemType) {
  if (std::ranges::count(kNetworks, fileSystemType) > 0) return Reach::network;
  if (std::ranges::count(kUncertain, fileSystemType) > 0) return Reach::uncertain;
  return Reach::thisMachine;
}

bool keepsTrackOfChanges(std::uint32_t fileSystemType) {
  return std::ranges::count(kTracking, fileSystemType) > 0;
}

bool flushesAsAWhole(std::uint32_t fileSystemType) {
  return std::ranges::count(kFlushing, fileSystemType) > 0;
}

}  // namespace quorvin
