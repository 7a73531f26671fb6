#include "testing/fakes/fake_platform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

const NSError kFailure{"Domain", 1, "It failed."};

class FakePlatformTest : public testing::Test {
 protected:
  FakePlatform platform{[](const std::string& what) { ADD_FAILURE() << what; }};
};

TEST_F(FakePlatformTest, WritesFilesOnlyIntoFoldersThatExist) {
  FakeFileManager& files = platform.files;
  const ByteBuffer bytes({1});
  EXPECT_TRUE(files.writeAtomically(bytes, "/temporary/image/a.jpg"));
  EXPECT_FALSE(files.createDirectory("/temporary/image/"));
  EXPECT_FALSE(files.createDirectory("/temporary/image"));
  EXPECT_FALSE(files.writeAtomically(bytes, "/temporary/image/a.jpg"));
  EXPECT_TRUE(files.fileExists("/temporary/image"));
  EXPECT_TRUE(files.fileExists("/temporary/image/a.jpg"));
  EXPECT_EQ(files.file("/temporary/image/a.jpg")->data, bytes);
  EXPECT_FALSE(files.removeItem("/temporary/image/a.jpg"));
  EXPECT_TRUE(files.removeItem("/temporary/image/a.jpg"));
}

TEST_F(FakePlatformTest, StampsFilesThatExist) {
  FakeFileManager& files = platform.files;
  files.addFile("/a", ByteBuffer({1}));
  const NSFileAttributes dates{NSDate(1), NSDate(2)};
  EXPECT_FALSE(files.setAttributes(dates, "/a"));
  EXPECT_EQ(files.file("/a")->attributes, dates);
  EXPECT_TRUE(files.setAttributes(dates, "/b"));
}

TEST_F(FakePlatformTest, FailsFileOperationsWhenTold) {
  FakeFileManager& files = platform.files;
  files.createDirectoryFails = files.removeItemFails = files.writeFails = files.setAttributesFails =
      kFailure;
  EXPECT_EQ(files.createDirectory("/d"), kFailure);
  EXPECT_EQ(files.removeItem("/d"), kFailure);
  EXPECT_EQ(files.writeAtomically({}, "/temporary/a"), kFailure);
  EXPECT_EQ(files.setAttributes({}, "/a"), kFailure);
}

TEST_F(FakePlatformTest, KeepsEveryKindOfRequestUntilItIsForgotten) {
  FakeImageManager& images = platform.imageManager;
  const auto asset = std::make_shared<const PHAsset>(photo("p"));
  images.requestImageForAsset(asset, {1, 2}, 0, {}, nullptr);
  const auto data = images.requestImageDataAndOrientationForAsset(asset, {}, nullptr);
  images.requestAVAssetForVideo(asset, {}, nullptr);
  images.requestLivePhotoForAsset(asset, {3, 4}, 1, {}, nullptr);
  images.cancelImageRequest(data);
  EXPECT_FALSE(images.imageRequests().at(0).cancelled);
  EXPECT_TRUE(images.dataRequests().at(0).cancelled);
  EXPECT_EQ(images.videoRequests().at(0).id, 3);
  EXPECT_EQ(images.livePhotoRequests().at(0).targetSize, (CGSize{3, 4}));
  EXPECT_EQ(
      platform.log.events(),
      (Names{"requestImageForAsset p", "requestImageDataAndOrientationForAsset p",
             "requestAVAssetForVideo p", "requestLivePhotoForAsset p", "cancelImageRequest 2"}));
  images.forgetRequests();
  EXPECT_TRUE(images.livePhotoRequests().empty());
}

TEST_F(FakePlatformTest, EndsAnExportWhenTold) {
  const auto asset = std::make_shared<const AVURLAsset>("/v.mov");
  const auto made = platform.media.exportSessionWithAsset(asset, AVAssetExportPresetPassthrough);
  made->setOutputURL("/out.mp4");
  made->setOutputFileType(AVFileType::AVFileTypeMPEG4);
  made->setShouldOptimizeForNetworkUse(true);
  bool finished = false;
  made->exportAsynchronously([&finished] { finished = true; });
  EXPECT_EQ(made->status(), AVAssetExportSessionStatus::exporting);

  FakeExportSession& session = *platform.media.sessions.at(0);
  EXPECT_EQ(session.asset, asset);
  EXPECT_EQ(session.preset, AVAssetExportPresetPassthrough);
  EXPECT_EQ(session.fileType, AVFileType::AVFileTypeMPEG4);
  EXPECT_TRUE(session.optimizesForNetworkUse);
  session.finish(AVAssetExportSessionStatus::failed, kFailure);
  EXPECT_TRUE(finished);
  EXPECT_EQ(made->error(), kFailure);
}

TEST_F(FakePlatformTest, EndsAResourceWriteWhenTold) {
  platform.library.addAsset(photo("p"));
  platform.resources.add("p", PHAssetResourceType::photo, "IMG.HEIC", "public.heic");
  const PHAssetResources resources = platform.resources.assetResourcesForAsset(photo("p"));
  std::optional<NSError> reported;
  platform.resourceManager.writeDataForAssetResource(
      resources.at(0), "/out", nullptr, [&reported](const auto& error) { reported = error; });
  platform.resourceManager.writes.at(0).finish(kFailure);
  EXPECT_EQ(reported, kFailure);
}

TEST_F(FakePlatformTest, DecodesAndEncodesAsLaidDown) {
  const auto image = platform.codec.imageWithData(ByteBuffer({1, 2}));
  EXPECT_EQ(platform.codec.UIImageJPEGRepresentation(*image, 0.5), platform.codec.jpeg);
  EXPECT_EQ(platform.codec.UIImagePNGRepresentation(*image), platform.codec.png);
  EXPECT_EQ(platform.log.events(),
            (Names{"imageWithData 2", "UIImageJPEGRepresentation decoded 0.5",
                   "UIImagePNGRepresentation decoded"}));
}

}  // namespace
}  // namespace quorvin
