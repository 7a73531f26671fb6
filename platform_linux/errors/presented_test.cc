#include "platform_linux/errors/presented.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(PresentedFailures, OfTheLibraryEndInTheirDomainAndCode) {
  EXPECT_EQ(presented(Failure(LibraryErrorCode::missingResource, "the asset is gone.")),
            (NSError{"QuorvinLibraryErrorDomain", 3303,
                     "The asset is gone. (QuorvinLibraryErrorDomain error 3303.)"}));
}

TEST(PresentedFailures, OfMediaBeginWithTheTitleOfTheirCode) {
  const auto textOf = [](MediaErrorCode code) {
    return presented(Failure(code, "it is broken.")).localizedDescription;
  };
  EXPECT_EQ(presented(Failure(MediaErrorCode::cannotDecode, "it is broken.")),
            (NSError{"QuorvinMediaErrorDomain", -11821, "Cannot Decode: It is broken."}));
  EXPECT_EQ(textOf(MediaErrorCode::unknown), "The operation could not be completed: It is broken.");
  EXPECT_EQ(textOf(MediaErrorCode::cannotSave), "Cannot Save: It is broken.");
  EXPECT_EQ(textOf(MediaErrorCode::cannotOpen), "Cannot Open: It is broken.");
  EXPECT_EQ(textOf(MediaErrorCode::operationStopped), "Operation Stopped: It is broken.");
  EXPECT_EQ(textOf(MediaErrorCode::operationInterrupted), "Operation Interrupted: It is broken.");
}

TEST(PresentedFailures, OfFilesAreTheirReasonAlone) {
  EXPECT_EQ(presented(Failure(FileErrorCode::writeFileExists, "it is there already.")),
            (NSError{"QuorvinFileErrorDomain", 516, "It is there already."}));
}

TEST(PresentedFailures, AreNoneOfWhatIsDone) {
  EXPECT_EQ(presented(Done(Null{})), std::nullopt);
  const Failure failure(LibraryErrorCode::internal, "it is broken.");
  EXPECT_EQ(presented(Done(failure)), presented(failure));
}

}  // namespace
}  // namespace quorvin
