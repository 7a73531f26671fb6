#include "host/engine_options.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>

namespace quorvin {
namespace {

QuorvinOptions goodOptions() {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = "/library";
  options.authorization = -1;
  return options;
}

std::string refusal(const QuorvinOptions& options) {
  const auto read = readEngineOptions(&options);
  return read ? "accepted" : read.error().reason;
}

TEST(EngineOptions, TakesEveryField) {
  QuorvinOptions options = goodOptions();
  options.temporary_path = "/tmp/x";
  options.system_version = "17.2";
  options.authorization = 2;
  options.request_authorization = [](void* data) { return *static_cast<std::int32_t*>(data); };
  options.confirm_deletion = [](std::size_t count, void* data) {
    return count == 7 ? *static_cast<std::int32_t*>(data) : 0;
  };
  std::int32_t answer = 3;
  options.user_data = &answer;
  const auto read = readEngineOptions(&options);
  ASSERT_TRUE(read) << read.error().reason;
  EXPECT_EQ(read->libraryPath, "/library");
  EXPECT_EQ(read->temporaryPath, "/tmp/x");
  EXPECT_EQ(read->systemVersion, "17.2");
  EXPECT_EQ(read->authorization, PHAuthorizationStatus::denied);
  EXPECT_EQ(read->prompt(), PHAuthorizationStatus::authorized);
  EXPECT_TRUE(read->deletionPrompt(7));
  EXPECT_FALSE(read->deletionPrompt(8));
}

TEST(EngineOptions, LeavesOutWhatIsNotGiven) {
  const auto read = readEngineOptions(std::make_unique<QuorvinOptions>(goodOptions()).get());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->temporaryPath, "");
  EXPECT_EQ(read->systemVersion, std::nullopt);
  EXPECT_EQ(read->authorization, std::nullopt);
  EXPECT_FALSE(read->prompt);
  EXPECT_FALSE(read->deletionPrompt);
  EXPECT_FALSE(read->mediaWorker.empty());
}

TEST(EngineOptions, TakesTheUsersDefaultLibrary) {
  QuorvinOptions options = goodOptions();
  options.library_path = nullptr;
  const auto read = readEngineOptions(&options);
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->libraryPath.ends_with("/quorvin/library")) << read->libraryPath;
}

TEST(EngineOptions, MakesPathsAbsolute) {
  QuorvinOptions options = goodOptions();
  options.library_path = "a/../b";
  options.temporary_path = "./c";
  const auto read = readEngineOptions(&options);
  ASSERT_TRUE(read);
  const auto here = std::filesystem::current_path();
  EXPECT_EQ(read->libraryPath, here / "b");
  EXPECT_EQ(read->temporaryPath, here / "c");
}

TEST(EngineOptions, TakesTheShorterStructsOfOtherVersions) {
  QuorvinOptions options = goodOptions();
  options.temporary_path = "/not/seen";
  options.system_version = "not seen";
  options.authorization = 7;  // not seen either
  options.struct_size = offsetof(QuorvinOptions, temporary_path);
  const auto read = readEngineOptions(&options);
  ASSERT_TRUE(read) << read.error().reason;
  EXPECT_EQ(read->libraryPath, "/library");
  EXPECT_EQ(read->temporaryPath, "");
  EXPECT_EQ(read->systemVersion, std::nullopt);
  EXPECT_EQ(read->authorization, std::nullopt);
}

TEST(EngineOptions, AsksNobodyBeforeADeletionWhereTheFirstVersionsStructEnds) {
  QuorvinOptions options = goodOptions();
  options.confirm_deletion = [](std::size_t, void*) { return std::int32_t{1}; };
  options.struct_size = offsetof(QuorvinOptions, confirm_deletion);
  const auto read = readEngineOptions(&options);
  ASSERT_TRUE(read) << read.error().reason;
  EXPECT_EQ(read->libraryPath, "/library");
  EXPECT_FALSE(read->deletionPrompt);
}

TEST(EngineOptions, TakesALongerStructThatAsksForNothingNew) {
  struct {
    QuorvinOptions known;
    std::uint64_t later;
  } options{goodOptions(), 0};
  options.known.struct_size = sizeof options;
  EXPECT_EQ(refusal(options.known), "accepted");
  options.later = 1;
  EXPECT_EQ(refusal(options.known),
            "The options ask for something that this version does not have.");
}

TEST(EngineOptions, RefusesSizesThatNoVersionHas) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, sizeof(void*), sizeof(void*) + 1,
        sizeof(QuorvinOptions) - 1, std::size_t{1} << 20, static_cast<std::size_t>(-1)}) {
    QuorvinOptions options = goodOptions();
    options.struct_size = size;
    EXPECT_EQ(refusal(options),
              "struct_size is " + std::to_string(size) + ", not sizeof(QuorvinOptions).");
  }
}

TEST(EngineOptions, RefusesNoOptions) {
  const auto read = readEngineOptions(nullptr);
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().reason, "The options are missing (NULL).");
}

TEST(EngineOptions, RefusesStatusesThatDoNotExist) {
  for (const std::int32_t status : {-2, 5, 1000}) {
    QuorvinOptions options = goodOptions();
    options.authorization = status;
    EXPECT_EQ(refusal(options),
              "The authorization is " + std::to_string(status) + ", not -1 to 4.");
  }
  for (const std::int32_t status : {-1, 0, 1, 2, 3, 4}) {
    QuorvinOptions options = goodOptions();
    options.authorization = status;
    EXPECT_EQ(refusal(options), "accepted");
  }
}

TEST(EngineOptions, RefusesTextsThatNoReplyCouldCarry) {
  QuorvinOptions options = goodOptions();
  options.library_path = "/\xFF";
  EXPECT_EQ(refusal(options), "The library's path is not UTF-8.");
  options.library_path = "";
  EXPECT_EQ(refusal(options), "The library's path is empty.");
  options = goodOptions();
  options.temporary_path = "/tmp/\xC3";
  EXPECT_EQ(refusal(options), "The temporary path is not UTF-8.");
  options = goodOptions();
  options.system_version = "\x80";
  EXPECT_EQ(refusal(options), "The system version is not UTF-8.");
}

TEST(EngineOptions, TakesAPromptsAnswerOnlyWhenItIsAStatus) {
  for (const std::int32_t answer : {-1, 5, 1 << 30}) {
    QuorvinOptions options = goodOptions();
    std::int32_t given = answer;
    options.request_authorization = [](void* data) { return *static_cast<std::int32_t*>(data); };
    options.user_data = &given;
    const auto read = readEngineOptions(&options);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->prompt(), std::nullopt) << answer;
  }
}

}  // namespace
}  // namespace quorvin
