// What the tests of getLivePhotoUrl share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "testing/fakes/export_fixture.h"

namespace quorvin {

inline const std::string kPath = "/temporary/livephoto/IMG_1.mov";

inline Map livePhotoFile(bool mediumQuality = false, const std::string& assetId = "p") {
  return {{"assetId", assetId}, {"mediumQuality", mediumQuality}};
}

inline std::shared_ptr<const PHAssetResource> resource(PHAssetResourceType type,
                                                       const std::string& name) {
  return std::make_shared<const PHAssetResource>(type, name, "public.data");
}

inline std::shared_ptr<const PHLivePhoto> livePhotoOf(PHAssetResources resources) {
  return std::make_shared<const PHLivePhoto>(std::move(resources));
}

/// A live photo, and calls of getLivePhotoUrl with their deliveries.
class LivePhotoTest : public ExportTest {
 protected:
  LivePhotoTest() { addLivePhoto("p", "IMG_1.HEIC"); }

  void addLivePhoto(const std::string& id, const std::optional<std::string>& name,
                    std::optional<NSDate> created = NSDate(1000.5),
                    std::optional<NSDate> modified = NSDate(2000.25),
                    std::uint64_t subtypes = PHAssetMediaSubtype::photoLive) {
    PHAsset asset = photo(id);
    asset.mediaSubtypes = subtypes;
    asset.creationDate = created;
    asset.modificationDate = modified;
    library.addAsset(asset);
    if (name) resources.add(id, PHAssetResourceType::photo, *name, "public.heic");
    log.clear();
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call = livePhotoFile()) {
    index_ = images.livePhotoRequests().size();
    RecordedReply reply = plugin.answer("getLivePhotoUrl", call);
    return reply;
  }
  void deliver(const std::shared_ptr<const PHLivePhoto>& delivered,
               const std::optional<PHImageInfo>& info = {}) {
    log.clear();
    deliverLivePhoto(delivered, info, index_);
  }
  /// The whole export with a successful copy.
  RecordedReply write(const std::string& id = "p") {
    RecordedReply reply = request(livePhotoFile(false, id));
    deliver(livePhoto);
    finishWrite({}, plugin.platform.resourceManager.writes.size() - 1);
    return reply;
  }

  const std::shared_ptr<const PHLivePhoto> livePhoto =
      livePhotoOf({resource(PHAssetResourceType::photo, "still.heic"),
                   resource(PHAssetResourceType::pairedVideo, "paired.mp4")});

 private:
  std::size_t index_ = 0;
};

}  // namespace quorvin
