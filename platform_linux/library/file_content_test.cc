#include "platform_linux/library/file_content.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform_linux/files/file_descriptor.h"
#include "platform_linux/library/testing_library.h"

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

TEST(FileContent, TellsContentsApart) {
  Files files;
  const auto one = files.file("one", large('a'));
  const auto same = files.file("same", large('a'));
  const auto other = files.file("other", large('b'));
  const auto shorter = files.file("shorter", std::string(1'000'003, 'x'));
  EXPECT_EQ(*hashContent(one.get()), *hashContent(same.get()));
  EXPECT_NE(*hashContent(one.get()), *hashContent(other.get()));
  EXPECT_EQ(hashContent(one.get())->size(), 16U);
  EXPECT_TRUE(haveSameContent(one.get(), same.get()));
  EXPECT_FALSE(haveSameContent(one.get(), other.get()));
  EXPECT_FALSE(haveSameContent(one.get(), shorter.get()));
  EXPECT_FALSE(haveSameContent(one.get(), -1));
}

TEST(FileContent, MakesNamesValidUtf8) {
  EXPECT_EQ(validUtf8("plain \u00E9 \u20AC \U0001F408"), "plain \u00E9 \u20AC \U0001F408");
  EXPECT_EQ(validUtf8("\xC0\xAF"), "\uFFFD\uFFFD");                      // longer than needed
  EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");            // a surrogate
  EXPECT_EQ(validUtf8("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD");  // beyond the last
  EXPECT_EQ(validUtf8("a\xE2\x82"), "a\uFFFD\uFFFD");                    // cut short
  EXPECT_EQ(validUtf8("\xF4\x8F\xBF\xBF"), "\xF4\x8F\xBF\xBF");
}

}  // namespace
}  // namespace quorvin
