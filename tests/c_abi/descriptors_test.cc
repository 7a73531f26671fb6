// An engine whose process has no descriptor to spare, from its start.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "testing/engine/library_copy.h"
#include "testing/media/generated_media.h"
#include "testing/platform/no_more_descriptors.h"

namespace quorvin {
namespace {

using Call = std::pair<std::string, Value>;

class Descriptors : public testing::Test {
 protected:
  /// Every method that reads, of every gallery and of every asset.
  std::vector<Call> readings() {
    std::vector<Call> calls;
    const auto listGalleries = [&calls](int mediaType) {
      calls.emplace_back("getGalleryList", Map{{"withAllPhotos", true},
                                               {"filterEmptyAsset", false},
                                               {"withSmartAlbum", true},
                                               {"mediaType", mediaType}});
    };
    for (const int mediaType : {kAll, kImages, kVideos, kAudio}) listGalleries(mediaType);
    for (const Value& gallery : library_.channel.galleries(kAll)) {
      for (const int sort : {kNewestFirst, kOldestFirst, 2}) {
        Map order{{"collectionId", textAt(gallery, "id")}, {"sort", sort}, {"mediaType", kAll}};
        calls.emplace_back("getGalleryAssetCount", order);
        calls.emplace_back("getGalleryFirstAssetId", order);
        order.emplace_back("start", 0);
        order.emplace_back("end", 1000);
        calls.emplace_back("getAssetList", std::move(order));
      }
    }
    for (const std::string& asset : library_.recents()) {
      for (const char* method : {"getAssetInfo", "getAssetOriginalFilename"}) {
        calls.emplace_back(method, Map{{"assetId", asset}});
      }
    }
    for (const Value& record :
         library_.channel.page(library_.channel.gallery("Bursts"), 0, 1000, kNewestFirst)) {
      calls.emplace_back("getBurstAssetList", Map{{"assetId", textAt(record, "id")}});
    }
    return calls;
  }

  /// All at once.
  std::vector<Bytes> answersTo(const std::vector<Call>& calls) {
    std::vector<const Answer*> answers;
    for (const auto& [method, arguments] : calls) {
      answers.push_back(&library_.channel.call(method, arguments));
    }
    std::vector<Bytes> messages;
    for (const Answer* answer : answers) {
      library_.channel.await(*answer);
      messages.push_back(answer->message);
    }
    return messages;
  }

  const Answer& answerTo(const std::string& method, const Value& arguments) {
    const Answer& answer = library_.channel.call(method, arguments);
    library_.channel.await(answer);
    EXPECT_EQ(answer.count, 1);
    EXPECT_FALSE(answer.message.empty()) << method;
    return answer;
  }

  LibraryCopy library_;
};

TEST_F(Descriptors, ThatAreMissingChangeNoAnswerToAReading) {
  const std::vector<Call> calls = readings();
  const std::vector<Bytes> expected = answersTo(calls);
  EXPECT_GT(calls.size(), 100U);
  for (const Bytes& message : expected) EXPECT_FALSE(message.empty());
  library_.reopen();
  for (int round = 0; round < 3; ++round) {
    const NoMoreDescriptors tight;
    const std::vector<Bytes> answers = answersTo(calls);
    for (std::size_t i = 0; i < calls.size(); ++i)
      EXPECT_EQ(answers[i], expected[i]) << calls[i].first;
  }
}

TEST_F(Descriptors, ThatAreMissingKeepNoAssetFromBeingDeleted) {
  const Names before = library_.recents();
  const Names deleted(before.end() - 3, before.end());
  library_.reopen();
  const auto expectDeleted = [&] {
    const Names after = library_.recents();
    for (const std::string& asset : before) {
      const bool isDeleted = std::ranges::find(deleted, asset) != deleted.end();
      EXPECT_EQ(std::ranges::find(after, asset) == after.end(), isDeleted) << asset;
    }
  };
  {
    const NoMoreDescriptors tight;
    for (const std::string& asset : deleted) library_.remove({asset});
    expectDeleted();
    EXPECT_EQ(library_.total(library_.createAlbum("New")), 0);
  }
  library_.reopen();
  expectDeleted();
}

TEST_F(Descriptors, ThatAreMissingMakeErrorsAndNoHarm) {
  const Names before = library_.recents();
  const std::string asset = library_.channel.asset("IMG_0001.jpg");
  const Map file = fileArguments(kGoodMedia / "NO_DATE.jpg");
  const Map thumbnail{
      {"assetId", asset}, {"width", 64}, {"height", 64}, {"contentMode", 0}, {"jpegFormat", true}};
  const Map image{{"assetId", asset}, {"convertJpeg", false}, {"mediumQuality", false}};
  library_.reopen();
  {
    const NoMoreDescriptors tight;
    EXPECT_EQ(answerTo("saveImage", file).message.front(), 1);
    EXPECT_EQ(answerTo("getThumbnail", thumbnail).message.front(), 1);
    EXPECT_EQ(answerTo("getImageUrl", image).message.front(), 1);
    EXPECT_EQ(library_.recents(), before);
  }
  EXPECT_EQ(answerTo("getThumbnail", thumbnail).message.front(), 0);
  EXPECT_EQ(answerTo("getImageUrl", image).message.front(), 0);
  EXPECT_EQ(answerTo("saveImage", file).message.front(), 0);
  EXPECT_EQ(library_.recents().size(), before.size() + 1);
}

}  // namespace
}  // namespace quorvin
