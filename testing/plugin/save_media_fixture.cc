#include "testing/plugin/save_media_fixture.h"

#include <utility>

namespace quorvin {

Map file(const std::string& path) {
  return {{"filePath", path}};
}

Map fileInto(Value collection) {
  return {{"filePath", "/in/file"}, {"collectionId", std::move(collection)}};
}

SaveMediaTest::SaveMediaTest() {
  library.addAsset(photo("old"));
  library.addCollection(userAlbum("album"), {"old"});
  library.createdAsset.pixelWidth = 4000;
  library.createdAsset.pixelHeight = 3000;
  library.createdAsset.creationDate = NSDate(1000.5);
  library.createdAsset.modificationDate = NSDate(2000.25);
  library.createdAsset.duration = 1.5;
  log.clear();
}
SaveMediaTest::~SaveMediaTest() = default;

const SaveMethod& SaveMediaTest::method() const {
  return GetParam();
}

RecordedReply SaveMediaTest::start(const Map& call) {
  return plugin.call(method().name, call);
}

RecordedReply SaveMediaTest::save(const Map& call) {
  return plugin.answer(method().name, call);
}

RecordedReply SaveMediaTest::saveUpToTheReply(const Map& call) {
  RecordedReply reply = start(call);
  runBackground();
  stepChange();
  stepChange();
  if (!method().isVideo) stepMain();
  return reply;
}

FlutterError SaveMediaTest::saveError(Value details) const {
  return {"Error", method().message, std::move(details)};
}

Value SaveMediaTest::recordOf(const std::string& id) const {
  PHAsset asset = library.createdAsset;
  asset.localIdentifier = id;
  asset.mediaType = method().type;
  return assetToMap(asset);
}

SaveMediaTest::Names SaveMediaTest::allButTheQueues() const {
  Names events = log.events();
  std::erase_if(events, [](const std::string& event) { return event.ends_with(".async"); });
  return events;
}

std::string nameOf(const testing::TestParamInfo<SaveMethod>& test) {
  return test.param.name;
}

}  // namespace quorvin
