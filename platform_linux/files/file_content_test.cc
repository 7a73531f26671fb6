#include "platform_linux/files/file_content.h"

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

}  // namespace
}  // namespace quorvin
