#include "platform_linux/errors/system_failure.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace quorvin {
namespace {

TEST(SystemFailures, SayTheSystemsWordsInTheLibrarysDomain) {
  EXPECT_EQ(
      systemFailure("the file cannot be read", EACCES),
      Failure(LibraryErrorCode::invalidResource, "the file cannot be read: Permission denied."));
  const auto codeOf = [](int number) { return systemFailure("It fails", number); };
  for (const int number : {ENOENT, ENOTDIR}) {
    EXPECT_TRUE(codeOf(number).is(LibraryErrorCode::missingResource)) << number;
    EXPECT_TRUE(meansMissing(number)) << number;
  }
  for (const int number : {EACCES, EPERM, EIO, EFBIG}) {
    EXPECT_TRUE(codeOf(number).is(LibraryErrorCode::invalidResource)) << number;
  }
  for (const int number : {ENOSPC, EDQUOT}) {
    EXPECT_TRUE(codeOf(number).is(LibraryErrorCode::notEnoughSpace)) << number;
  }
  for (const int number : {EEXIST, EISDIR, EROFS, ENAMETOOLONG, ELOOP, ENOMEM}) {
    EXPECT_TRUE(codeOf(number).is(LibraryErrorCode::internal)) << number;
    EXPECT_FALSE(meansMissing(number)) << number;
  }
}

TEST(FileFailures, SayWhyInWordsOfTheirOwn) {
  struct Case {
    int number;
    FileErrorCode code;
    const char* reason;
  };
  for (const Case& each : {
           Case{ENOENT, FileErrorCode::noSuchFile, "there is no such file or folder"},
           Case{ENOTDIR, FileErrorCode::noSuchFile, "a part of its path isn’t a folder"},
           Case{EACCES, FileErrorCode::writeNoPermission, "you don’t have permission"},
           Case{EPERM, FileErrorCode::writeNoPermission, "you don’t have permission"},
           Case{EEXIST, FileErrorCode::writeFileExists,
                "an item with the same name already exists"},
           Case{EISDIR, FileErrorCode::writeFileExists,
                "a folder with the same name already exists"},
           Case{ENOSPC, FileErrorCode::writeOutOfSpace, "there isn’t enough space"},
           Case{EDQUOT, FileErrorCode::writeOutOfSpace, "there isn’t enough space"},
           Case{EROFS, FileErrorCode::writeVolumeReadOnly, "the volume is read-only"},
           Case{EFBIG, FileErrorCode::writeUnknown, "it would be too large"},
           Case{ENAMETOOLONG, FileErrorCode::writeUnknown, "its name is too long"},
           Case{ELOOP, FileErrorCode::writeUnknown, "its path leads through too many links"},
           Case{EIO, FileErrorCode::writeUnknown, "of an error of the system: Input/output error"},
       }) {
    EXPECT_EQ(fileFailure("It couldn’t be done", each.number),
              Failure(each.code, "It couldn’t be done because " + std::string(each.reason) + "."));
  }
}

TEST(FileFailures, OfSavingNameTheFileAndItsFolder) {
  EXPECT_EQ(savingFailure("/a/b/c.jpg", EROFS).reason,
            "the file “c.jpg” couldn’t be saved in the folder “b” because the volume is "
            "read-only.");
}

}  // namespace
}  // namespace quorvin
