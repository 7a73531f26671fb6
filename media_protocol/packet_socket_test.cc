#include "media_protocol/packet_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "testing/platform/emulation.h"

namespace quorvin {
namespace {

std::pair<FileDescriptor, FileDescriptor> socketPair() {
  std::array<int, 2> ends{-1, -1};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

FileDescriptor openNull() {
  return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

/// The device and inode that tell one open file from another.
std::pair<dev_t, ino_t> identity(int descriptor) {
  struct stat status {};
  EXPECT_EQ(::fstat(descriptor, &status), 0);
  return {status.st_dev, status.st_ino};
}

TEST(PacketSocket, CarriesBytesAndADescriptor) {
  auto [near, far] = socketPair();
  const FileDescriptor file = openNull();
  const std::vector<std::uint8_t> bytes{1, 2, 3};
  ASSERT_TRUE(sendPacket(near.get(), bytes, std::array{file.get()}));
  const auto packet = receivePacket(far.get());
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->bytes, bytes);
  ASSERT_TRUE(packet->descriptor);
  EXPECT_EQ(identity(packet->descriptor.get()), identity(file.get()));
  EXPECT_NE(::fcntl(packet->descriptor.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(PacketSocket, CarriesTwoDescriptorsInTheirOrder) {
  auto [near, far] = socketPair();
  const FileDescriptor null = openNull();
  const FileDescriptor program(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  const std::vector<std::uint8_t> bytes{1};
  ASSERT_TRUE(sendPacket(near.get(), bytes, std::array{program.get(), null.get()}));
  const auto packet = receivePacket(far.get());
  ASSERT_TRUE(packet && packet->descriptor && packet->secondDescriptor);
  EXPECT_EQ(identity(packet->descriptor.get()), identity(program.get()));
  EXPECT_EQ(identity(packet->secondDescriptor.get()), identity(null.get()));
}

TEST(PacketSocket, SendsNoMoreDescriptorsThanAPacketHolds) {
  auto [near, far] = socketPair();
  const FileDescriptor null = openNull();
  const std::vector<std::uint8_t> bytes{1};
  EXPECT_FALSE(sendPacket(near.get(), bytes, std::array{null.get(), null.get(), null.get()}));
  EXPECT_EQ(errno, EINVAL);
}

TEST(PacketSocket, KeepsPacketsApart) {
  auto [near, far] = socketPair();
  ASSERT_TRUE(sendPacket(near.get(), std::vector<std::uint8_t>{1}));
  ASSERT_TRUE(sendPacket(near.get(), std::vector<std::uint8_t>(kMaximumPacketSize, 2)));
  const auto first = receivePacket(far.get());
  const auto second = receivePacket(far.get());
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->bytes, std::vector<std::uint8_t>{1});
  EXPECT_FALSE(first->descriptor);
  EXPECT_EQ(second->bytes, std::vector<std::uint8_t>(kMaximumPacketSize, 2));
}

TEST(PacketSocket, EmptiesAPacketThatIsTooLarge) {
  auto [near, far] = socketPair();
  ASSERT_TRUE(sendPacket(near.get(), std::vector<std::uint8_t>(kMaximumPacketSize + 1, 2)));
  const auto packet = receivePacket(far.get());
  ASSERT_TRUE(packet);
  EXPECT_TRUE(packet->bytes.empty());
}

TEST(PacketSocket, ClosesSurplusDescriptors) {
  if (isEmulated()) GTEST_SKIP() << "qemu-user receives them without telling";
  auto [near, far] = socketPair();
  const FileDescriptor file = openNull();
  std::array<int, 5> numbers{};
  numbers.fill(file.get());
  char byte = 7;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(numbers))] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(numbers));
  std::memcpy(CMSG_DATA(header), numbers.data(), sizeof(numbers));
  ASSERT_EQ(::sendmsg(near.get(), &message, 0), 1);

  std::array<int, 3> nextFree{};
  {
    const FileDescriptor held[] = {openNull(), openNull(), openNull()};
    for (std::size_t i = 0; i < nextFree.size(); ++i) nextFree[i] = held[i].get();
  }
  const auto packet = receivePacket(far.get());
  ASSERT_TRUE(packet && packet->descriptor && packet->secondDescriptor);
  EXPECT_EQ(packet->descriptor.get(), nextFree[0]);
  EXPECT_EQ(packet->secondDescriptor.get(), nextFree[1]);
  EXPECT_EQ(openNull().get(), nextFree[2]);
}

TEST(PacketSocket, TellsThatTheOtherEndIsClosed) {
  auto [near, far] = socketPair();
  near = FileDescriptor();
  EXPECT_FALSE(receivePacket(far.get()));
  EXPECT_EQ(errno, 0);
  EXPECT_FALSE(sendPacket(far.get(), std::vector<std::uint8_t>{1}));
  EXPECT_EQ(errno, EPIPE);
}

}  // namespace
}  // namespace quorvin
