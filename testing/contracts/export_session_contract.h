// What every implementation of export sessions holds to.
//
// A subject is default-constructible and has:
//   std::shared_ptr<AVAssetExportSession> session();  // of a movie, which writes both file types
//   std::shared_ptr<AVAssetExportSession> mpeg4Session();  // one that writes MPEG-4 alone
//   void start(std::shared_ptr<AVAssetExportSession> session, std::function<void()> completion);
//   void damageTheMovie();  // sessions made before cannot decode it
//   void cancel(AVAssetExportSession& session);
//   std::string folder();   // exists, is empty, ends in no "/"
//   void put(const std::string& path, const std::string& text);
//   bool isExported(const std::string& path);  // a video that an export wrote
//   std::optional<std::string> text(const std::string& path);  // none when there is no file
//   bool exists(const std::string& path);
//   void settle();  // lets what was started go on, and returns once it and its completions ended;
//                   // no export ends before
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ExportSessionContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/media.h"

namespace quorvin {

template <class Subject>
class ExportSessionContract : public testing::Test {
 protected:
  using Session = std::shared_ptr<AVAssetExportSession>;
  static constexpr std::int64_t kCannotDecode = -11821;
  static constexpr std::int64_t kCannotSave = -11823;
  static constexpr std::int64_t kOperationStopped = -11838;

  Subject& subject() { return subject_; }
  std::string at(const std::string& name) { return subject_.folder() + "/" + name; }
  Session sessionTo(const std::string& path) {
    Session made = subject_.session();
    made->setOutputURL(path);
    return made;
  }
  /// Its completion is called once.
  void run(const Session& session) {
    int completions = 0;
    subject_.start(session, [&completions] { ++completions; });
    subject_.settle();
    EXPECT_EQ(completions, 1);
  }
  void expectFailure(const Session& session, std::int64_t code) {
    run(session);
    EXPECT_EQ(session->status(), AVAssetExportSessionStatus::failed);
    const auto error = session->error();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, code);
    EXPECT_FALSE(error->localizedDescription.empty());
  }

 private:
  Subject subject_;
};

TYPED_TEST_SUITE_P(ExportSessionContract);

TYPED_TEST_P(ExportSessionContract, GoesFromUnknownThroughExportingToCompleted) {
  using Status = AVAssetExportSessionStatus;
  const auto session = this->sessionTo(this->at("out.mov"));
  EXPECT_EQ(session->status(), Status::unknown);
  EXPECT_FALSE(session->error());
  std::vector<Status> told;
  this->subject().start(session, [&] { told.push_back(session->status()); });
  EXPECT_TRUE(session->status() == Status::waiting || session->status() == Status::exporting);
  EXPECT_FALSE(this->subject().exists(this->at("out.mov")));
  this->subject().settle();
  EXPECT_EQ(told, std::vector{Status::completed});
  EXPECT_FALSE(session->error());
  EXPECT_TRUE(this->subject().isExported(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, CompletesElsewhereAfterItReturned) {
  std::optional<std::thread::id> ranOn;
  this->subject().start(this->sessionTo(this->at("out.mov")),
                        [&ranOn] { ranOn = std::this_thread::get_id(); });
  this->subject().settle();
  ASSERT_TRUE(ranOn);
  EXPECT_NE(*ranOn, std::this_thread::get_id());
  EXPECT_TRUE(this->subject().isExported(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, WritesTheFileTypesThatItSupports) {
  using Type = AVFileType;
  EXPECT_EQ(this->subject().session()->supportedFileTypes(),
            (std::vector{Type::AVFileTypeQuickTimeMovie, Type::AVFileTypeMPEG4}));
  for (const auto type : {Type::AVFileTypeQuickTimeMovie, Type::AVFileTypeMPEG4}) {
    const std::string path = this->at("out" + std::to_string(static_cast<int>(type)));
    const auto session = this->sessionTo(path);
    session->setOutputFileType(type);
    session->setShouldOptimizeForNetworkUse(true);
    this->run(session);
    EXPECT_EQ(session->status(), AVAssetExportSessionStatus::completed);
    EXPECT_TRUE(this->subject().isExported(path));
  }
}

TYPED_TEST_P(ExportSessionContract, WritesNoFileTypeThatItDoesNotSupport) {
  const auto session = this->subject().mpeg4Session();
  EXPECT_EQ(session->supportedFileTypes(), std::vector{AVFileType::AVFileTypeMPEG4});
  session->setOutputURL(this->at("out.mov"));
  session->setOutputFileType(AVFileType::AVFileTypeQuickTimeMovie);
  this->expectFailure(session, this->kOperationStopped);
  EXPECT_FALSE(this->subject().exists(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, ReplacesAFileAtThePathAndNoFolder) {
  this->subject().put(this->at("out.mov"), "theirs");
  const auto session = this->sessionTo(this->at("out.mov"));
  this->run(session);
  EXPECT_EQ(session->status(), AVAssetExportSessionStatus::completed);
  EXPECT_TRUE(this->subject().isExported(this->at("out.mov")));
  this->expectFailure(this->sessionTo(this->subject().folder()), this->kCannotSave);
  EXPECT_TRUE(this->subject().exists(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, MakesNoFolder) {
  this->expectFailure(this->sessionTo(this->at("missing/out.mov")), this->kCannotSave);
  EXPECT_FALSE(this->subject().exists(this->at("missing")));
  this->expectFailure(this->subject().session(), this->kCannotSave);
}

TYPED_TEST_P(ExportSessionContract, LeavesNothingWhenTheMovieDoesNotDecode) {
  const auto session = this->sessionTo(this->at("out.mov"));
  this->subject().damageTheMovie();
  this->expectFailure(session, this->kCannotDecode);
  EXPECT_FALSE(this->subject().exists(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, LeavesNothingWhenItIsCancelled) {
  const auto session = this->sessionTo(this->at("out.mov"));
  int completions = 0;
  this->subject().start(session, [&completions] { ++completions; });
  this->subject().cancel(*session);
  this->subject().settle();
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(session->status(), AVAssetExportSessionStatus::cancelled);
  ASSERT_TRUE(session->error());
  EXPECT_EQ(session->error()->code, this->kOperationStopped);
  EXPECT_FALSE(this->subject().exists(this->at("out.mov")));
}

TYPED_TEST_P(ExportSessionContract, GoesOnWithOthersWhenOneIsCancelled) {
  const auto one = this->sessionTo(this->at("one.mov"));
  const auto other = this->sessionTo(this->at("other.mov"));
  int completions = 0;
  this->subject().start(one, [] {});
  this->subject().start(other, [&completions] { ++completions; });
  this->subject().cancel(*one);
  this->subject().settle();
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(one->status(), AVAssetExportSessionStatus::cancelled);
  EXPECT_EQ(other->status(), AVAssetExportSessionStatus::completed);
  EXPECT_TRUE(this->subject().isExported(this->at("other.mov")));
}

REGISTER_TYPED_TEST_SUITE_P(ExportSessionContract, GoesFromUnknownThroughExportingToCompleted,
                            CompletesElsewhereAfterItReturned, WritesTheFileTypesThatItSupports,
                            WritesNoFileTypeThatItDoesNotSupport, ReplacesAFileAtThePathAndNoFolder,
                            MakesNoFolder, LeavesNothingWhenTheMovieDoesNotDecode,
                            LeavesNothingWhenItIsCancelled, GoesOnWithOthersWhenOneIsCancelled);

}  // namespace quorvin
