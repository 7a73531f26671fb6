#include "platform_linux/library/originals/file_content.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "posix/file_descriptor.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

TEST(FileContent, TellsContentsApart) {
  const TemporaryFolder folder;
  const auto one = openedFile(folder / "one", largeContent('a'));
  const auto same = openedFile(folder / "same", largeContent('a'));
  const auto other = openedFile(folder / "other", largeContent('b'));
  const auto shorter = openedFile(folder / "shorter", std::string(1'000'003, 'x'));
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
