#include "platform_linux/files/copy_content.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "platform_linux/files/file_descriptor.h"
#include "platform_linux/files/testing_folder.h"

namespace quorvin {
namespace {

struct Files {
  TemporaryFolder folder;
  FileDescriptor file(const std::string& name, const std::string& content) {
    writeFile(folder / name, content);
    return FileDescriptor(::open((folder / name).c_str(), O_RDWR | O_CLOEXEC));
  }
};

std::string large(char last) {
  return std::string(1'000'003, 'x') + last;
}

TEST(CopyContent, CopiesTheWholeOrAPart) {
  Files files;
  const auto source = files.file("source", large('a'));
  const auto whole = files.file("whole", "");
  EXPECT_FALSE(copyContent(source.get(), 0, 1'000'004, whole.get()));
  EXPECT_EQ(readFile(files.folder / "whole"), large('a'));
  const auto part = files.file("part", "");
  EXPECT_FALSE(copyContent(source.get(), 1'000'000, 4, part.get()));
  EXPECT_EQ(readFile(files.folder / "part"), "xxxa");
}

TEST(CopyContent, CopiesBetweenFileSystems) {
  Files files;
  const auto source = files.file("source", large('a'));
  SmallVolume volume("size=2m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const FileDescriptor copy(::open((volume / "copy").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_FALSE(copyContent(source.get(), 0, 1'000'004, copy.get()));
  EXPECT_EQ(readFile(volume / "copy"), large('a'));
}

TEST(CopyContent, FailsToCopyMoreThanThereIs) {
  Files files;
  const auto source = files.file("source", "short");
  const auto copy = files.file("copy", "");
  const auto failure = copyContent(source.get(), 0, 6, copy.get());
  ASSERT_TRUE(failure);
  EXPECT_TRUE(failure->isOfSource);
}

TEST(CopyContent, TellsThatTheTargetHasNoSpace) {
  Files files;
  const auto source = files.file("source", large('a'));
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const FileDescriptor copy(::open((volume / "copy").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const auto failure = copyContent(source.get(), 0, 1'000'004, copy.get());
  ASSERT_TRUE(failure);
  EXPECT_FALSE(failure->isOfSource);
  EXPECT_EQ(failure->errorNumber, ENOSPC);
}

TEST(CopyContent, CopiesNothingMoreOnceItIsToStop) {
  Files files;
  const auto source = files.file("source", large('a'));
  const auto copy = files.file("copy", "");
  std::stop_source stop;
  stop.request_stop();
  const auto failure = copyContent(source.get(), 3, 1'000'001, copy.get(), stop.get_token());
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->errorNumber, ECANCELED);
  EXPECT_EQ(readFile(files.folder / "copy"), "");
}

TEST(WriteAll, WritesEveryByte) {
  Files files;
  const auto file = files.file("file", "");
  const std::string text = large('a');
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  EXPECT_EQ(writeAll(file.get(), {bytes, text.size()}), 0);
  EXPECT_EQ(readFile(files.folder / "file"), text);
  EXPECT_EQ(writeAll(-1, {bytes, text.size()}), EBADF);
}

}  // namespace
}  // namespace quorvin
