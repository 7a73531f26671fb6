// Many threads at once on one manager. Under ThreadSanitizer this is where a missing lock shows.
#include "core/manager/image_manager.h"

#include <gtest/gtest.h>

#include <barrier>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 60;
constexpr int kListed = 40;
constexpr int kUnlisted = 20;

class ManyCallsAtOnce : public PluginTest {
 protected:
  ManyCallsAtOnce() {
    std::vector<std::string> members;
    for (int i = 0; i < kListed; ++i) {
      PHAsset asset =
          i % 4 == 1 ? video("a" + std::to_string(i), i) : photo("a" + std::to_string(i), i);
      if (i < 10) asset.burstIdentifier = "burst";
      asset.representsBurst = i == 0;
      library.addAsset(asset);
      members.push_back(asset.localIdentifier);
      plugin.platform.resources.add(asset.localIdentifier, PHAssetResourceType::photo, "IMG.JPG");
    }
    for (int i = 0; i < kUnlisted; ++i) library.addAsset(photo("unlisted" + std::to_string(i)));
    library.addCollectionOfEverything(userLibrary());
    library.addCollection(userAlbum("album"), members);
    plugin.platform.imageManager.duringImageRequest = [this](const auto& request) {
      deliveries.async([handler = request.handler] {
        const auto image = std::make_shared<const FakeImage>("image");
        PHImageInfo degraded;
        degraded.set(PHImageResultIsDegradedKey, true);
        handler(image, &degraded);
        handler(image, nullptr);
        handler(image, nullptr);
      });
    };
    // The log would line the threads up.
    log.stop();
  }

  void call(const char* method, Map arguments) {
    replies.push_back(plugin.call(method, std::move(arguments)));
  }

  void callEverything(int round) {
    const std::string asset = "a" + std::to_string(round % kListed);
    const std::string unlisted = "unlisted" + std::to_string(round % kUnlisted);
    const int start = round % 30;
    call("getAssetList", {{"collectionId", "album"},
                          {"start", start},
                          {"end", start + 10},
                          {"sort", round % 3},
                          {"mediaType", round % 3}});
    call("getGalleryList", {{"withAllPhotos", true},
                            {"filterEmptyAsset", false},
                            {"withSmartAlbum", true},
                            {"mediaType", round % 4}});
    const Map gallery = {{"collectionId", "album"}, {"sort", round % 3}, {"mediaType", round % 3}};
    call("getGalleryAssetCount", gallery);
    call("getGalleryFirstAssetId", gallery);
    call("getBurstAssetList", {{"assetId", "a0"}});
    call("getAssetInfo", {{"assetId", asset}});
    call("getAssetInfo", {{"assetId", unlisted}});
    call("getAssetOriginalFilename", {{"assetId", unlisted}});
    call("getThumbnail", {{"assetId", asset},
                          {"width", 64},
                          {"height", 64},
                          {"contentMode", 0},
                          {"jpegFormat", round % 2 == 0}});
  }

  /// Runs handlers and deliveries until there are no more.
  void work() {
    while (plugin.platform.dispatch.background.runNext() || deliveries.runNext()) {
    }
  }

  ManualQueue deliveries{"deliveries", log};
  std::deque<RecordedReply> replies;
};

TEST_F(ManyCallsAtOnce, AreEachAnsweredOnceWhileTheCacheIsCleared) {
  for (int round = 0; round < kRounds; ++round) callEverything(round);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([this] { work(); });
  for (int round = 0; round < kRounds; ++round) call("clearAllCache", {});
  for (std::thread& thread : threads) thread.join();
  work();
  plugin.runToEnd();
  for (const RecordedReply& reply : replies) EXPECT_EQ(reply.answerCount(), 1u);
  // Whatever the order, only listed assets are cached.
  for (const std::string& cached : plugin.manager().cachedIdentifiers()) {
    EXPECT_FALSE(cached.starts_with("unlisted")) << cached;
  }
}

TEST_F(ManyCallsAtOnce, MeetAtTheCacheWithWhatTheyFetched) {
  std::barrier<> meeting(kThreads);
  library.duringFetch = [&meeting] {
    // The first fetch of each call finds the gallery, the second its assets.
    thread_local int fetches = 0;
    if (++fetches == 2) meeting.arrive_and_wait();
  };
  for (int i = 0; i < kThreads / 2; ++i) {
    call("getGalleryAssetCount", {{"collectionId", "album"}, {"sort", i % 2}, {"mediaType", 1}});
    call(
        "getAssetList",
        {{"collectionId", "album"}, {"start", 0}, {"end", kListed}, {"sort", i}, {"mediaType", 0}});
  }
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.push_back(plugin.platform.dispatch.background.start());
  }
  for (std::thread& thread : threads) thread.join();
  plugin.runToEnd();
  for (const RecordedReply& reply : replies) EXPECT_EQ(reply.answerCount(), 1u);
  // All but the burst's members that are neither its representative nor picked.
  EXPECT_EQ(plugin.manager().cachedIdentifiers().size(), static_cast<std::size_t>(kListed - 9));
}

}  // namespace
}  // namespace quorvin
