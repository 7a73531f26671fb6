#include "testing/plugin/live_photo_fixture.h"

#include <utility>

namespace quorvin {

Map livePhotoFile(bool mediumQuality, const std::string& assetId) {
  return {{"assetId", assetId}, {"mediumQuality", mediumQuality}};
}

std::shared_ptr<const PHAssetResource> resource(PHAssetResourceType type, const std::string& name) {
  return std::make_shared<const PHAssetResource>(type, name, "public.data");
}

std::shared_ptr<const PHLivePhoto> livePhotoOf(PHAssetResources resources) {
  return std::make_shared<const PHLivePhoto>(std::move(resources));
}

LivePhotoTest::LivePhotoTest() {
  addLivePhoto("p", "IMG_1.HEIC");
}
LivePhotoTest::~LivePhotoTest() = default;

void LivePhotoTest::addLivePhoto(const std::string& id, const std::optional<std::string>& name,
                                 std::optional<NSDate> created, std::optional<NSDate> modified,
                                 std::uint64_t subtypes) {
  PHAsset asset = photo(id);
  asset.mediaSubtypes = subtypes;
  asset.creationDate = created;
  asset.modificationDate = modified;
  library.addAsset(asset);
  if (name) resources.add(id, PHAssetResourceType::photo, *name, "public.heic");
  log.clear();
}

RecordedReply LivePhotoTest::request(const Map& call) {
  index_ = images.livePhotoRequests().size();
  RecordedReply reply = plugin.answer("getLivePhotoUrl", call);
  return reply;
}

void LivePhotoTest::deliver(const std::shared_ptr<const PHLivePhoto>& delivered,
                            const std::optional<PHImageInfo>& info) {
  log.clear();
  deliverLivePhoto(delivered, info, index_);
}

RecordedReply LivePhotoTest::write(const std::string& id) {
  RecordedReply reply = request(livePhotoFile(false, id));
  deliver(livePhoto);
  finishWrite({}, plugin.platform.resourceManager.writes.size() - 1);
  return reply;
}

}  // namespace quorvin
