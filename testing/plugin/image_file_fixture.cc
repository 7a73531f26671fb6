#include "testing/plugin/image_file_fixture.h"

namespace quorvin {

Map imageFile(bool convertJpeg, bool mediumQuality, const std::string& assetId) {
  return {{"assetId", assetId}, {"convertJpeg", convertJpeg}, {"mediumQuality", mediumQuality}};
}

std::string pathOf(const std::string& name) {
  return "/temporary/image/" + name;
}

ImageFileTest::ImageFileTest() {
  addAsset("p");
  resources.add("p", PHAssetResourceType::photo, "IMG_1.HEIC", "public.heic");
}
ImageFileTest::~ImageFileTest() = default;

void ImageFileTest::addAsset(const std::string& id) {
  PHAsset asset = photo(id);
  asset.creationDate = NSDate(1000.5);
  asset.modificationDate = NSDate(2000.25);
  library.addAsset(asset);
  log.clear();
}

std::string ImageFileTest::addAnotherAsset() {
  const std::string id = "asset" + std::to_string(++others_);
  addAsset(id);
  return id;
}

RecordedReply ImageFileTest::request(const Map& call) {
  return plugin.answer("getImageUrl", call);
}

RecordedReply ImageFileTest::requestMedium() {
  index_ = images.imageRequests().size();
  return request(kMedium);
}

void ImageFileTest::deliver(const std::shared_ptr<const UIImage>& delivered,
                            const std::optional<PHImageInfo>& info) {
  deliverImage(delivered, info, index_);
}

RecordedReply ImageFileTest::requestData(const Map& call) {
  index_ = images.dataRequests().size();
  return request(call);
}

void ImageFileTest::deliver(const std::optional<ByteBuffer>& data,
                            const std::optional<std::string>& type,
                            const std::optional<PHImageInfo>& info) {
  deliverData(data, type, info, index_, 6);
}

}  // namespace quorvin
