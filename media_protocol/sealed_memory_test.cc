#include "media_protocol/sealed_memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace quorvin {
namespace {

TEST(SealedMemory, ShowsWhatWasWrittenBeforeTheSeal) {
  const FileDescriptor file = makeMemoryFile(3);
  ASSERT_TRUE(file);
  {
    const MappedMemory memory(file.get(), 3, MappedMemory::Access::write);
    ASSERT_TRUE(memory);
    EXPECT_EQ(std::ranges::count(memory.bytes(), 0), 3);
    memory.data()[1] = 7;
  }
  EXPECT_EQ(sealedMemorySize(file.get()), std::nullopt);
  ASSERT_TRUE(sealMemoryFile(file));
  EXPECT_EQ(sealedMemorySize(file.get()), 3U);
  const MappedMemory memory(file.get(), 3, MappedMemory::Access::read);
  ASSERT_TRUE(memory);
  EXPECT_EQ(memory.data()[1], 7);
}

TEST(SealedMemory, IsFinal) {
  const FileDescriptor file = makeMemoryFile(3);
  ASSERT_TRUE(sealMemoryFile(file));
  EXPECT_NE(::ftruncate(file.get(), 0), 0);
  EXPECT_NE(::pwrite(file.get(), "x", 1, 0), 1);
  EXPECT_FALSE(MappedMemory(file.get(), 3, MappedMemory::Access::write));
}

TEST(SealedMemory, CannotBeSealedWhileItIsMappedForWriting) {
  const FileDescriptor file = makeMemoryFile(3);
  const MappedMemory memory(file.get(), 3, MappedMemory::Access::write);
  ASSERT_TRUE(memory);
  EXPECT_FALSE(sealMemoryFile(file));
}

TEST(SealedMemory, IsNoOrdinaryFile) {
  const FileDescriptor file(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(file);
  EXPECT_EQ(sealedMemorySize(file.get()), std::nullopt);
  EXPECT_EQ(sealedMemorySize(-1), std::nullopt);
}

}  // namespace
}  // namespace quorvin
