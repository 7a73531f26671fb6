#include "platform_linux/files/copy_content.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "posix/file_descriptor.h"
#include "posix/write_all.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

TEST(CopyContent, CopiesTheWholeOrAPart) {
  const TemporaryFolder folder;
  const auto source = openedFile(folder / "source", largeContent('a'));
  const auto whole = openedFile(folder / "whole", "");
  EXPECT_FALSE(copyContent(source.get(), 0, 1'000'004, whole.get()));
  EXPECT_EQ(readFile(folder / "whole"), largeContent('a'));
  const auto part = openedFile(folder / "part", "");
  EXPECT_FALSE(copyContent(source.get(), 1'000'000, 4, part.get()));
  EXPECT_EQ(readFile(folder / "part"), "xxxa");
}

TEST(CopyContent, CopiesBetweenFileSystems) {
  const TemporaryFolder folder;
  const auto source = openedFile(folder / "source", largeContent('a'));
  SmallVolume volume("size=2m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const FileDescriptor copy(::open((volume / "copy").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_FALSE(copyContent(source.get(), 0, 1'000'004, copy.get()));
  EXPECT_EQ(readFile(volume / "copy"), largeContent('a'));
}

TEST(CopyContent, FailsToCopyMoreThanThereIs) {
  const TemporaryFolder folder;
  const auto source = openedFile(folder / "source", "short");
  const auto copy = openedFile(folder / "copy", "");
  const auto failure = copyContent(source.get(), 0, 6, copy.get());
  ASSERT_TRUE(failure);
  EXPECT_TRUE(failure->isOfSource);
}

TEST(CopyContent, TellsThatTheTargetHasNoSpace) {
  const TemporaryFolder folder;
  const auto source = openedFile(folder / "source", largeContent('a'));
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const FileDescriptor copy(::open((volume / "copy").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const auto failure = copyContent(source.get(), 0, 1'000'004, copy.get());
  ASSERT_TRUE(failure);
  EXPECT_FALSE(failure->isOfSource);
  EXPECT_EQ(failure->errorNumber, ENOSPC);
}

TEST(CopyContent, CopiesNothingMoreOnceItIsToStop) {
  const TemporaryFolder folder;
  const auto source = openedFile(folder / "source", largeContent('a'));
  const auto copy = openedFile(folder / "copy", "");
  std::stop_source stop;
  stop.request_stop();
  const auto failure = copyContent(source.get(), 3, 1'000'001, copy.get(), stop.get_token());
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->errorNumber, ECANCELED);
  EXPECT_EQ(readFile(folder / "copy"), "");
}

TEST(WriteAll, WritesEveryByte) {
  const TemporaryFolder folder;
  const auto file = openedFile(folder / "file", "");
  const std::string text = largeContent('a');
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  EXPECT_EQ(writeAll(file.get(), {bytes, text.size()}), 0);
  EXPECT_EQ(readFile(folder / "file"), text);
  EXPECT_EQ(writeAll(-1, {bytes, text.size()}), EBADF);
}

}  // namespace
}  // namespace quorvin
