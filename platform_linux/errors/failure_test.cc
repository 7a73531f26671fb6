#include "platform_linux/errors/failure.h"

#include <gtest/gtest.h>

#include <memory>

namespace quorvin {
namespace {

TEST(ResultOfAnOperation, IsAValueOrAFailure) {
  Result<std::string> value = std::string("abc");
  ASSERT_TRUE(value);
  EXPECT_EQ(*value, "abc");
  EXPECT_EQ(value->size(), 3u);

  const Result<std::string> failed = Failure(FileErrorCode::noSuchFile, "No.");
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.error(), Failure(FileErrorCode::noSuchFile, "No."));
}

TEST(ResultOfAnOperation, GivesItsValueAway) {
  Result<std::unique_ptr<int>> result = std::make_unique<int>(5);
  const std::unique_ptr<int> taken = *std::move(result);
  EXPECT_EQ(*taken, 5);
}

TEST(AFailure, IsOfALibraryCodeInTheLibrarysDomainAlone) {
  const Failure cancelled(LibraryErrorCode::userCancelled, "No.");
  EXPECT_TRUE(cancelled.is(LibraryErrorCode::userCancelled));
  EXPECT_FALSE(cancelled.is(LibraryErrorCode::internal));
  Failure other = cancelled;
  other.domain = FailureDomain::file;
  EXPECT_FALSE(other.is(LibraryErrorCode::userCancelled));
}

TEST(AFailure, IsSaidAsASentenceOfItsOwnBehindItsSubject) {
  Failure failure(LibraryErrorCode::invalidResource, "the file is damaged.");
  EXPECT_EQ(failure.sentence(), "The file is damaged.");
  failure.subject = "img_1.jpg";
  EXPECT_EQ(failure.sentence(), "img_1.jpg: The file is damaged.");
  EXPECT_EQ(Failure(LibraryErrorCode::internal, "“a.jpg” is gone.").sentence(), "“a.jpg” is gone.");
  EXPECT_EQ(Failure().sentence(), "");
}

}  // namespace
}  // namespace quorvin
