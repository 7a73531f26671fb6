// What the tests of getLivePhotoUrl share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "testing/plugin/export_fixture.h"

namespace quorvin {

inline const std::string kPath = "/temporary/livephoto/IMG_1.mov";

Map livePhotoFile(bool mediumQuality = false, const std::string& assetId = "p");

std::shared_ptr<const PHAssetResource> resource(PHAssetResourceType type, const std::string& name);

std::shared_ptr<const PHLivePhoto> livePhotoOf(PHAssetResources resources);

/// A live photo, and calls of getLivePhotoUrl with their deliveries.
class LivePhotoTest : public ExportTest {
 protected:
  LivePhotoTest();
  ~LivePhotoTest() override;

  void addLivePhoto(const std::string& id, const std::optional<std::string>& name,
                    std::optional<NSDate> created = NSDate(1000.5),
                    std::optional<NSDate> modified = NSDate(2000.25),
                    std::uint64_t subtypes = PHAssetMediaSubtype::photoLive);

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call = livePhotoFile());
  void deliver(const std::shared_ptr<const PHLivePhoto>& delivered,
               const std::optional<PHImageInfo>& info = {});
  /// The whole export with a successful copy.
  RecordedReply write(const std::string& id = "p");

  const std::shared_ptr<const PHLivePhoto> livePhoto =
      livePhotoOf({resource(PHAssetResourceType::photo, "still.heic"),
                   resource(PHAssetResourceType::pairedVideo, "paired.mp4")});

 private:
  std::size_t index_ = 0;
};

}  // namespace quorvin
