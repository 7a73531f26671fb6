// What the tests of saveImage and saveVideo share.
#pragma once

#include <string>
#include <utility>

#include "core/queries/asset_record.h"
#include "testing/plugin/changes_fixture.h"

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

Map file(const std::string& path = "/in/file");

Map fileInto(Value collection);

/// Everything twice: with saveImage and with saveVideo.
class SaveMediaTest : public ChangeTest, public testing::WithParamInterface<SaveMethod> {
 protected:
  SaveMediaTest();
  ~SaveMediaTest() override;

  const SaveMethod& method() const;
  RecordedReply start(const Map& call = file());
  RecordedReply save(const Map& call = file());
  /// The call with its completion run, and, for an image, the item that it left to the main queue.
  RecordedReply saveUpToTheReply(const Map& call = file());

  FlutterError saveError(Value details) const;
  Value recordOf(const std::string& id) const;
  Names allButTheQueues() const;
};

std::string nameOf(const testing::TestParamInfo<SaveMethod>& test);

}  // namespace quorvin
