// Files that workers failed over: they are not tried again.
#include "platform_linux/media/remembering_media.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "posix/write_all.h"
#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_pool.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class Remembering : public testing::Test {
 protected:
  /// Probes a file that makes the testing worker do that; true when it was answered from memory.
  bool isRecalled(const std::string& text, MediaWork work = MediaWork::probe) {
    return memory_.recall(asking(text).get(), work).has_value();
  }
  /// The error's text, or "answered".
  std::string probed(const std::string& text, const std::string& name = "a.jpg") {
    const auto result = media_.probe(asking(text), name);
    return result ? "answered" : result.error().reason;
  }
  fs::path place() const { return folder_ / "state/quorvin/failed"; }

  TemporaryFolder folder_;
  MediaWorkerPool pool_{[] {
    auto options = testingPoolOptions(1);
    options.requestTimeLimit = std::chrono::milliseconds(500);
    return options;
  }()};
  FailureMemory memory_{place(), QUORVIN_TESTING_WORKER_PROGRAM};
  RememberingMedia media_{pool_, pool_, memory_};
};

TEST_F(Remembering, AnswersAtOnceWhatAWorkerDiedOf) {
  EXPECT_EQ(probed("crash"), "the media worker ended unexpectedly.");
  const auto again = media_.probe(asking("crash"), "another name.jpg");
  ASSERT_FALSE(again);
  EXPECT_EQ(again.error().code, kInterrupted);
  EXPECT_EQ(again.error().reason,
            "the file is set aside, for it was tried before: the media worker ended unexpectedly. "
            "“quorvin doctor --forget” has it tried again.");
}

TEST_F(Remembering, KeepsAlsoWhatWasAnsweredWithNonsense) {
  for (const std::string text : {"garbage", "no map", "path as extension"}) {
    EXPECT_FALSE(isRecalled(text)) << text;
    EXPECT_NE(probed(text), "answered") << text;
    EXPECT_TRUE(isRecalled(text)) << text;
  }
}

TEST_F(Remembering, KeepsWhatComputedAllOfTheTime) {
  EXPECT_FALSE(isRecalled("be busy"));
  // A worker that gets less than half of a processor is not to blame, and the machine may be busy.
  for (int i = 0; i < 100 && !isRecalled("be busy"); ++i) EXPECT_NE(probed("be busy"), "answered");
  EXPECT_TRUE(isRecalled("be busy"));
}

// The file is not to blame.
TEST_F(Remembering, ForgetsWhatWasDoneToAWorkerFromOutside) {
  for (const std::string text : {"die", "hang", "stop", "error"}) {
    EXPECT_NE(probed(text), "answered") << text;
    EXPECT_FALSE(isRecalled(text)) << text;
  }
  pool_.shutDown();
  EXPECT_NE(probed("crash"), "answered");
  EXPECT_FALSE(isRecalled("crash"));
}

TEST_F(Remembering, BlamesNoFileForWhatAWorkerReadBefore) {
  EXPECT_EQ(probed("answer"), "answered");
  EXPECT_EQ(probed("crash when used"), "answered") << "by a fresh worker";
  EXPECT_FALSE(isRecalled("crash when used"));
}

TEST_F(Remembering, TriesAFileThatIsTooMuchForOneThingForAnother) {
  EXPECT_NE(probed("crash"), "answered");
  EXPECT_FALSE(isRecalled("crash", MediaWork::preview));
  RenderRequest whole;
  whole.fit = RenderRequest::Fit::original;
  EXPECT_FALSE(media_.render(asking("crash"), whole));
  EXPECT_TRUE(isRecalled("crash", MediaWork::picture));
  EXPECT_FALSE(isRecalled("crash", MediaWork::preview));
  EXPECT_FALSE(media_.exportContainers(asking("crash"), VideoPreset::passthrough));
  EXPECT_TRUE(isRecalled("crash", MediaWork::containers));
  EXPECT_FALSE(media_.exportVideo(asking("crash"), makeMemoryFile(0), {}, {}));
  EXPECT_TRUE(isRecalled("crash", MediaWork::video));
}

TEST_F(Remembering, LastsAndIsShared) {
  FailureMemory other(place(), QUORVIN_TESTING_WORKER_PROGRAM);
  EXPECT_FALSE(other.recall(asking("crash").get(), MediaWork::probe));
  EXPECT_NE(probed("crash"), "answered");
  EXPECT_TRUE(other.recall(asking("crash").get(), MediaWork::probe));
  FailureMemory later(place(), QUORVIN_TESTING_WORKER_PROGRAM);
  EXPECT_TRUE(later.recall(asking("crash").get(), MediaWork::probe));
  EXPECT_FALSE(later.recall(asking("crasH").get(), MediaWork::probe)) << "as large";

  EXPECT_TRUE(other.forget());
  EXPECT_FALSE(isRecalled("crash"));
  EXPECT_EQ(probed("crash"), "the media worker ended unexpectedly.");
  EXPECT_TRUE(other.recall(asking("crash").get(), MediaWork::probe));
}

TEST_F(Remembering, ANewWorkerProgramTriesAgain) {
  const std::string program = folder_ / "worker";
  fs::copy_file(QUORVIN_TESTING_WORKER_PROGRAM, program);
  FailureMemory before(place(), program);
  before.remember(asking("crash").get(), MediaWork::probe, Failure());
  EXPECT_TRUE(FailureMemory(place(), program).recall(asking("crash").get(), MediaWork::probe));
  fs::last_write_time(program, fs::last_write_time(program) + std::chrono::hours(1));
  FailureMemory after(place(), program);
  EXPECT_FALSE(after.recall(asking("crash").get(), MediaWork::probe));
  EXPECT_TRUE(after.all().empty());
}

TEST_F(Remembering, ListsWhereTheFilesLay) {
  EXPECT_TRUE(memory_.all().empty());
  for (const std::string name : {"two.jpg", "one.jpg"}) {
    const FileDescriptor file(::open((folder_ / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    const std::string text = "crash";
    ASSERT_EQ(writeAll(file.get(), {reinterpret_cast<const std::uint8_t*>(text.data()), 5}), 0);
    ASSERT_EQ(::ftruncate(file.get(), name == "one.jpg" ? 5 : 6), 0);
    memory_.remember(file.get(), MediaWork::preview,
                     Failure(LibraryErrorCode::operationInterrupted, "it was too much."));
  }
  const auto files = memory_.all();
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].path, folder_ / "one.jpg");
  EXPECT_EQ(files[1].path, folder_ / "two.jpg");
  EXPECT_EQ(files[0].reason, "it was too much.");
  struct stat status = {};
  ASSERT_EQ(::stat(place().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700U) << "names tell much";
}

TEST_F(Remembering, KeepsAThousandTheLatest) {
  for (int i = 0; i < 1005; ++i) {
    memory_.remember(asking("crash " + std::to_string(i)).get(), MediaWork::probe, Failure());
  }
  EXPECT_EQ(memory_.all().size(), 1000U);
  EXPECT_TRUE(isRecalled("crash 1004"));
  EXPECT_FALSE(isRecalled("crash 0"));
}

TEST_F(Remembering, IsNoWorseForAFolderThatCannotBeUsed) {
  for (const char* path : {"", "/dev/null/failed"}) {
    FailureMemory none(path, "");
    none.remember(asking("crash").get(), MediaWork::probe, Failure());
    EXPECT_FALSE(none.recall(asking("crash").get(), MediaWork::probe));
    EXPECT_TRUE(none.all().empty());
  }
  EXPECT_NE(probed("crash"), "answered");
  for (const auto& each : fs::directory_iterator(place())) {
    std::filesystem::resize_file(each, 7);
  }
  fs::create_directory(place() / "folder");
  FailureMemory damaged(place(), QUORVIN_TESTING_WORKER_PROGRAM);
  EXPECT_FALSE(damaged.recall(asking("crash").get(), MediaWork::probe));
  EXPECT_FALSE(damaged.forget()) << "what is no file of its own stays";
}

}  // namespace
}  // namespace quorvin
