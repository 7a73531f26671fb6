// What every implementation of the file manager holds to.
//
// A subject is default-constructible and has:
//   NSFileManager& files();
//   std::string folder();                                     // exists, is empty, ends in no "/"
//   void put(const std::string& path, const std::string& text);  // in a folder that exists
//   std::optional<std::string> text(const std::string& path);    // none when there is no file
//   std::optional<NSDate> modificationDate(const std::string& path);  // of a file
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, FileManagerContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/file_manager.h"

namespace quorvin {

template <class Subject>
class FileManagerContract : public testing::Test {
 protected:
  static constexpr std::int64_t kNoSuchFile = 4;
  static constexpr std::int64_t kFileExists = 516;

  NSFileManager& files() { return subject_.files(); }
  std::string at(const std::string& name) { return subject_.folder() + "/" + name; }
  Subject& subject() { return subject_; }

  static ByteBuffer bytes(const std::string& text) {
    return ByteBuffer(std::vector<std::uint8_t>(text.begin(), text.end()));
  }
  /// The code of the error, which must say something; 0 for none.
  static std::int64_t codeOf(const std::optional<NSError>& error) {
    if (!error) return 0;
    EXPECT_FALSE(error->localizedDescription.empty());
    EXPECT_FALSE(error->domain.empty());
    return error->code;
  }

 private:
  Subject subject_;
};

TYPED_TEST_SUITE_P(FileManagerContract);

TYPED_TEST_P(FileManagerContract, HasAnAbsoluteTemporaryDirectoryThatEndsInOneSlash) {
  const std::string path = this->files().NSTemporaryDirectory();
  EXPECT_TRUE(path.starts_with('/'));
  EXPECT_TRUE(path.ends_with('/'));
  EXPECT_FALSE(path.ends_with("//"));
  EXPECT_TRUE(this->files().fileExists(path.substr(0, path.size() - 1)));
  EXPECT_EQ(this->files().NSTemporaryDirectory(), path);
}

TYPED_TEST_P(FileManagerContract, MakesAFolderAndThoseOnTheWay) {
  EXPECT_EQ(this->codeOf(this->files().createDirectory(this->at("a/b/c"))), 0);
  for (const char* name : {"a", "a/b", "a/b/c"}) {
    EXPECT_TRUE(this->files().fileExists(this->at(name))) << name;
  }
}

TYPED_TEST_P(FileManagerContract, IsContentWithAFolderThatExists) {
  EXPECT_EQ(this->codeOf(this->files().createDirectory(this->at("a"))), 0);
  this->subject().put(this->at("a/file"), "text");
  EXPECT_EQ(this->codeOf(this->files().createDirectory(this->at("a"))), 0);
  EXPECT_EQ(this->codeOf(this->files().createDirectory(this->at("a/"))), 0);
  EXPECT_EQ(this->subject().text(this->at("a/file")), "text");
}

TYPED_TEST_P(FileManagerContract, MakesNoFolderWhereAFileStands) {
  this->subject().put(this->at("file"), "text");
  EXPECT_EQ(this->codeOf(this->files().createDirectory(this->at("file"))), this->kFileExists);
  EXPECT_NE(this->codeOf(this->files().createDirectory(this->at("file/below"))), 0);
  EXPECT_EQ(this->subject().text(this->at("file")), "text");
}

TYPED_TEST_P(FileManagerContract, WritesANewFile) {
  EXPECT_FALSE(this->files().fileExists(this->at("file")));
  EXPECT_EQ(this->codeOf(this->files().writeAtomically(this->bytes("text"), this->at("file"))), 0);
  EXPECT_TRUE(this->files().fileExists(this->at("file")));
  EXPECT_EQ(this->subject().text(this->at("file")), "text");
}

TYPED_TEST_P(FileManagerContract, WritesAFileWithoutBytes) {
  EXPECT_EQ(this->codeOf(this->files().writeAtomically(ByteBuffer(), this->at("file"))), 0);
  EXPECT_EQ(this->subject().text(this->at("file")), "");
}

TYPED_TEST_P(FileManagerContract, ReplacesAFileByAShorterOne) {
  this->subject().put(this->at("file"), "a long text");
  EXPECT_EQ(this->codeOf(this->files().writeAtomically(this->bytes("new"), this->at("file"))), 0);
  EXPECT_EQ(this->subject().text(this->at("file")), "new");
}

TYPED_TEST_P(FileManagerContract, WritesNothingIntoAFolderThatIsMissing) {
  const auto error = this->files().writeAtomically(this->bytes("text"), this->at("missing/file"));
  EXPECT_EQ(this->codeOf(error), this->kNoSuchFile);
  EXPECT_FALSE(this->files().fileExists(this->at("missing")));
}

TYPED_TEST_P(FileManagerContract, WritesNothingWhereAFolderStands) {
  this->files().createDirectory(this->at("folder"));
  this->subject().put(this->at("folder/file"), "text");
  EXPECT_EQ(this->codeOf(this->files().writeAtomically(this->bytes("new"), this->at("folder"))),
            this->kFileExists);
  EXPECT_EQ(this->subject().text(this->at("folder/file")), "text");
}

TYPED_TEST_P(FileManagerContract, RemovesAFile) {
  this->subject().put(this->at("file"), "text");
  EXPECT_EQ(this->codeOf(this->files().removeItem(this->at("file"))), 0);
  EXPECT_FALSE(this->files().fileExists(this->at("file")));
}

TYPED_TEST_P(FileManagerContract, RemovesAFolderWithAllThatIsInIt) {
  this->files().createDirectory(this->at("a/b"));
  this->subject().put(this->at("a/file"), "text");
  this->subject().put(this->at("a/b/file"), "text");
  this->subject().put(this->at("a file beside it"), "kept");
  EXPECT_EQ(this->codeOf(this->files().removeItem(this->at("a"))), 0);
  for (const char* name : {"a", "a/b", "a/file", "a/b/file"}) {
    EXPECT_FALSE(this->files().fileExists(this->at(name))) << name;
  }
  EXPECT_EQ(this->subject().text(this->at("a file beside it")), "kept");
}

TYPED_TEST_P(FileManagerContract, CannotRemoveWhatIsNotThere) {
  EXPECT_EQ(this->codeOf(this->files().removeItem(this->at("missing"))), this->kNoSuchFile);
}

TYPED_TEST_P(FileManagerContract, SetsTheModificationDate) {
  this->subject().put(this->at("file"), "text");
  for (const double seconds : {1.5, -1.5, 1'700'000'000.25, 0.0}) {
    const NSDate date(seconds);
    EXPECT_EQ(this->codeOf(this->files().setAttributes({date, date}, this->at("file"))), 0);
    EXPECT_EQ(this->subject().modificationDate(this->at("file")), date);
  }
}

TYPED_TEST_P(FileManagerContract, LeavesADateThatIsNotGivenAsItIs) {
  this->subject().put(this->at("file"), "text");
  const NSDate date(86'400);
  this->files().setAttributes({std::nullopt, date}, this->at("file"));
  EXPECT_EQ(this->codeOf(this->files().setAttributes({NSDate(5), std::nullopt}, this->at("file"))),
            0);
  EXPECT_EQ(this->codeOf(this->files().setAttributes({}, this->at("file"))), 0);
  EXPECT_EQ(this->subject().modificationDate(this->at("file")), date);
}

TYPED_TEST_P(FileManagerContract, SetsNoDatesOfWhatIsNotThere) {
  const NSDate date(5);
  EXPECT_EQ(this->codeOf(this->files().setAttributes({date, date}, this->at("missing"))),
            this->kNoSuchFile);
  EXPECT_EQ(this->codeOf(this->files().setAttributes({date, std::nullopt}, this->at("missing"))),
            this->kNoSuchFile);
}

TYPED_TEST_P(FileManagerContract, TakesNoDateThatIsNoNumber) {
  this->subject().put(this->at("file"), "text");
  const NSDate noDate(std::numeric_limits<double>::quiet_NaN());
  EXPECT_NE(this->codeOf(this->files().setAttributes({noDate, std::nullopt}, this->at("file"))), 0);
  EXPECT_NE(this->codeOf(this->files().setAttributes({std::nullopt, noDate}, this->at("file"))), 0);
}

REGISTER_TYPED_TEST_SUITE_P(FileManagerContract, HasAnAbsoluteTemporaryDirectoryThatEndsInOneSlash,
                            MakesAFolderAndThoseOnTheWay, IsContentWithAFolderThatExists,
                            MakesNoFolderWhereAFileStands, WritesANewFile, WritesAFileWithoutBytes,
                            ReplacesAFileByAShorterOne, WritesNothingIntoAFolderThatIsMissing,
                            WritesNothingWhereAFolderStands, RemovesAFile,
                            RemovesAFolderWithAllThatIsInIt, CannotRemoveWhatIsNotThere,
                            SetsTheModificationDate, LeavesADateThatIsNotGivenAsItIs,
                            SetsNoDatesOfWhatIsNotThere, TakesNoDateThatIsNoNumber);

}  // namespace quorvin
