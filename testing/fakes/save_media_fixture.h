// What the tests of saveImage and saveVideo share.
#pragma once

#include <string>
#include <utility>

#include "core/queries/asset_record.h"
#include "testing/fakes/changes_fixture.h"

namespace quorvin {

/// One of the two methods, and what differs between them.
struct SaveMethod {
  std::string name;
  std::string message;
  std::string request;
  PHAssetMediaType type;
  bool isVideo;
};

inline const SaveMethod kSaveImage = {"saveImage", "Save image error",
                                      "creationRequestForAssetFromImageAtFileURL",
                                      PHAssetMediaType::image, false};
inline const SaveMethod kSaveVideo = {"saveVideo", "Save video error",
                                      "creationRequestForAssetFromVideoAtFileURL",
                                      PHAssetMediaType::video, true};

inline Map file(const std::string& path = "/in/file") {
  return {{"filePath", path}};
}

inline Map fileInto(Value collection) {
  return {{"filePath", "/in/file"}, {"collectionId", std::move(collection)}};
}

/// Everything twice: with saveImage and with saveVideo.
class SaveMediaTest : public ChangeTest, public testing::WithParamInterface<SaveMethod> {
 protected:
  SaveMediaTest() {
    library.addAsset(photo("old"));
    library.addCollection(userAlbum("album"), {"old"});
    library.createdAsset.pixelWidth = 4000;
    library.createdAsset.pixelHeight = 3000;
    library.createdAsset.creationDate = NSDate(1000.5);
    library.createdAsset.modificationDate = NSDate(2000.25);
    library.createdAsset.duration = 1.5;
    log.clear();
  }

  const SaveMethod& method() const { return GetParam(); }
  RecordedReply start(const Map& call = file()) { return plugin.call(method().name, call); }
  RecordedReply save(const Map& call = file()) { return plugin.answer(method().name, call); }
  /// The call with its completion run, and, for an image, the item that it left to the main queue.
  RecordedReply saveUpToTheReply(const Map& call = file()) {
    RecordedReply reply = start(call);
    runBackground();
    stepChange();
    stepChange();
    if (!method().isVideo) stepMain();
    return reply;
  }

  FlutterError saveError(Value details) const {
    return {"Error", method().message, std::move(details)};
  }
  Value recordOf(const std::string& id) const {
    PHAsset asset = library.createdAsset;
    asset.localIdentifier = id;
    asset.mediaType = method().type;
    return assetToMap(asset);
  }
  Names allButTheQueues() const {
    Names events = log.events();
    std::erase_if(events, [](const std::string& event) { return event.ends_with(".async"); });
    return events;
  }
};

inline std::string nameOf(const testing::TestParamInfo<SaveMethod>& test) {
  return test.param.name;
}

}  // namespace quorvin
