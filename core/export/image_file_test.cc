#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "testing/plugin/image_file_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;
using GetImageUrl = ImageFileTest;

// Before the request

TEST_F(GetImageUrl, RefusesFaultyArguments) {
  library.removeAsset("p");
  expectArgumentFaults(plugin, "getImageUrl", imageFile(),
                       {{"assetId", Takes::text},
                        {"convertJpeg", Takes::boolean},
                        {"mediumQuality", Takes::boolean}},
                       "Error arguments");
  EXPECT_EQ(log.count("createDirectory"), 0u);
}

TEST_F(GetImageUrl, ReportsAnUnknownAssetByTheIdentifierGivenAndMakesNoFolder) {
  for (const std::string id : {"abc", ""}) {
    EXPECT_EQ(request(imageFile(true, true, id)).error(),
              (FlutterError{"Error", "Asset not found id = " + id, Value()}));
  }
  EXPECT_EQ(log.count("createDirectory"), 0u);
}

TEST_F(GetImageUrl, MakesTheFolderThenListsTheResourcesThenRequests) {
  for (const auto& [call, requested] : std::vector<std::pair<Map, std::string>>{
           {kStored, "requestImageDataAndOrientationForAsset p"},
           {kConverted, "requestImageDataAndOrientationForAsset p"},
           {kMedium, "requestImageForAsset p"}}) {
    log.clear();
    RecordedReply reply = request(call);
    reply.expectSilence();
    EXPECT_EQ(log.events(), (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                                   "createDirectory /temporary/image", "assetResourcesForAsset p",
                                   "assetResourcesForAsset p", requested}));
  }
}

TEST_F(GetImageUrl, ReportsAFolderThatCannotBeMadeBeforeItLooksAtTheResources) {
  files.createDirectoryFails = failure;
  EXPECT_EQ(request(imageFile(false, false, addAnotherAsset())).error(),
            (FlutterError{"Error", "Create temp dir failed", Value("The disk is on fire.")}));
  EXPECT_EQ(log.count("assetResourcesForAsset"), 0u);
}

TEST_F(GetImageUrl, ReportsAnAssetWithoutAPhotoAfterItMadeTheFolder) {
  const auto expectNoPhoto = [this](const std::string& id) {
    for (const Map& call : {imageFile(false, false, id), imageFile(true, true, id)}) {
      log.clear();
      EXPECT_EQ(request(call).error(), noPhoto);
      EXPECT_EQ(log.count("createDirectory /temporary/image"), 1u);
    }
  };
  expectNoPhoto(addAnotherAsset());
  for (const Type type :
       {Type::video, Type::audio, Type::alternatePhoto, Type::fullSizeVideo, Type::adjustmentData,
        Type::adjustmentBasePhoto, Type::pairedVideo, Type::fullSizePairedVideo,
        Type::adjustmentBasePairedVideo, Type::adjustmentBaseVideo, Type::photoProxy}) {
    SCOPED_TRACE(static_cast<int>(type));
    const std::string id = addAnotherAsset();
    resources.add(id, type, "IMG.HEIC", "public.heic");
    expectNoPhoto(id);
  }
  EXPECT_TRUE(images.dataRequests().empty());
  EXPECT_TRUE(images.imageRequests().empty());
}

TEST_F(GetImageUrl, RequestsTheCachedAssetWithoutAFetch) {
  haveCached("p");
  RecordedReply stored = request(kStored);
  RecordedReply medium = request(kMedium);
  stored.expectSilence();
  medium.expectSilence();
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(images.dataRequests().at(0).asset, plugin.manager().cachedAsset("p"));
  EXPECT_EQ(images.imageRequests().at(0).asset, plugin.manager().cachedAsset("p"));
}

TEST_F(GetImageUrl, RunsOnTheBackgroundQueue) {
  RecordedReply reply = plugin.call("getImageUrl", kStored);
  reply.expectSilence();
  EXPECT_EQ(log.events(), (Names{"background.async"}));
}

// Which way leads to the file

TEST_F(GetImageUrl, RequestsCurrentFinalDataThatMayComeFromTheNetwork) {
  for (const Map& call : {kStored, kConverted}) {
    RecordedReply reply = request(call);
    reply.expectSilence();
    EXPECT_EQ(
        images.dataRequests().back().options,
        (PHImageRequestOptions{.version = PHImageRequestOptionsVersion::current,
                               .deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat,
                               .resizeMode = PHImageRequestOptionsResizeMode::fast,
                               .isSynchronous = false,
                               .isNetworkAccessAllowed = true}));
  }
}

TEST_F(GetImageUrl, RequestsAnExactRenderingThatFitsIntoItsSize) {
  RecordedReply reply = request(kMedium);
  reply.expectSilence();
  const auto sent = images.imageRequests().at(0);
  EXPECT_EQ(sent.options, (PHImageRequestOptions{
                              .version = PHImageRequestOptionsVersion::current,
                              .deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat,
                              .resizeMode = PHImageRequestOptionsResizeMode::exact,
                              .isSynchronous = false,
                              .isNetworkAccessAllowed = true}));
  EXPECT_EQ(sent.targetSize, (CGSize{1024.0, 1024.0}));
  EXPECT_EQ(sent.contentMode, 0);
}

TEST_F(GetImageUrl, PutsMediumQualityBeforeConversion) {
  const RecordedReply reply = request(imageFile(true, true));
  EXPECT_TRUE(images.dataRequests().empty());
  deliverImage(image);
  EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
}

TEST_F(GetImageUrl, ConvertsWhatItsTypeCallsHeicOrHeifInAnyCase) {
  for (const std::string type : {"public.heic", "public.heif", "public.HEIC", "PUBLIC.HEIF",
                                 "public.heics", "x.HeIf-y", "heic", "com.example.preheifpost"}) {
    SCOPED_TRACE(type);
    const std::string id = addAnotherAsset();
    resources.add(id, Type::photo, "A.B", type);
    const RecordedReply reply = requestData(imageFile(true, false, id));
    deliver(storedBytes);
    EXPECT_EQ(reply.value(), exportReply(pathOf("A.jpg")));
  }
}

TEST_F(GetImageUrl, StoresWhatIsNoHeicAsItIs) {
  for (const std::string type : {"public.jpeg", "public.avif", "public.hei", "public.he.ic", ""}) {
    SCOPED_TRACE(type);
    const std::string id = addAnotherAsset();
    resources.add(id, Type::photo, "A.HEIC", type);
    const RecordedReply reply = requestData(imageFile(true, false, id));
    deliver(storedBytes, "public.heic");
    EXPECT_EQ(reply.value(), exportReply(pathOf("A.HEIC")));
    EXPECT_EQ(files.file(pathOf("A.HEIC"))->data, storedBytes);
  }
  EXPECT_EQ(log.count("imageWithData"), 0u);
}

TEST_F(GetImageUrl, JudgesTheFirstPhotoOrFullSizePhoto) {
  struct Case {
    std::vector<std::pair<Type, std::string>> types;
    bool converts;
  };
  for (const Case& c : {Case{{{Type::photo, "public.heic"}, {Type::fullSizePhoto, "x"}}, true},
                        Case{{{Type::photo, "x"}, {Type::fullSizePhoto, "public.heic"}}, false},
                        Case{{{Type::fullSizePhoto, "x"}, {Type::photo, "public.heic"}}, false},
                        Case{{{Type::fullSizePhoto, "public.heic"}, {Type::photo, "x"}}, true},
                        Case{{{Type::alternatePhoto, "public.heic"}, {Type::photo, "x"}}, false},
                        Case{{{Type::video, "x"}, {Type::fullSizePhoto, "public.heic"}}, true}}) {
    const std::string id = addAnotherAsset();
    for (const auto& [type, identifier] : c.types) resources.add(id, type, "A.HEIC", identifier);
    const RecordedReply reply = requestData(imageFile(true, false, id));
    deliver(storedBytes);
    EXPECT_EQ(reply.value(), exportReply(pathOf(c.converts ? "A.jpg" : "A.HEIC"))) << id;
  }
}

// The file's name

TEST_F(GetImageUrl, NamesTheFileByTheAssetsFirstPhotoOrVideo) {
  const std::string withVideo = addAnotherAsset();
  resources.add(withVideo, Type::fullSizePhoto, "Full.jpg", "public.jpeg");
  resources.add(withVideo, Type::video, "V.MOV", "public.movie");
  resources.add(withVideo, Type::photo, "P.JPG", "public.jpeg");
  const std::string rendered = addAnotherAsset();
  resources.add(rendered, Type::pairedVideo, "M.MOV", "public.movie");
  resources.add(rendered, Type::fullSizePhoto, "Full.jpg", "public.jpeg");
  for (const auto& [id, name] : {std::pair{withVideo, "V.MOV"}, std::pair{rendered, "M.MOV"}}) {
    const RecordedReply reply = requestData(imageFile(false, false, id));
    deliver(storedBytes);
    EXPECT_EQ(reply.value(), exportReply(pathOf(name)));
  }
}

TEST_F(GetImageUrl, NamesTheFileByTheIdentifierWhenTheNameIsGone) {
  resources.afterListing = [this](const std::string& id) { resources.removeAll(id); };
  const RecordedReply stored = requestData(kStored);
  deliver(storedBytes);
  EXPECT_EQ(stored.value(), exportReply(pathOf("image-p")));

  addAsset("a.b");
  resources.add("a.b", Type::photo, "IMG_1.HEIC", "public.heic");
  const RecordedReply converted = requestData(imageFile(true, false, "a.b"));
  deliver(storedBytes);
  EXPECT_EQ(converted.value(), exportReply(pathOf("image-a.jpg")));
}

TEST_F(GetImageUrl, NamesTheFileByTheIdentifierWhenTheNameIsEmpty) {
  const std::string id = addAnotherAsset();
  resources.add(id, Type::photo, "", "public.heic");
  const RecordedReply copied = requestData(imageFile(false, false, id));
  deliver(std::nullopt);
  finishWrite();
  EXPECT_EQ(copied.value(), exportReply(pathOf("image-" + id)));
  EXPECT_EQ(log.count("removeItem"), 0u);
  const RecordedReply converted = requestData(imageFile(true, false, id));
  deliver(storedBytes);
  EXPECT_EQ(converted.value(), exportReply(pathOf("image-" + id + ".jpg")));
}

TEST_F(GetImageUrl, FailsToWriteUnderAnIdentifierWithSlashes) {
  resources.afterListing = [this](const std::string& id) { resources.removeAll(id); };
  const std::string id = "A.b/L0/001";
  addAsset(id);
  resources.add(id, Type::photo, "IMG_1.HEIC", "public.heic");
  const RecordedReply stored = requestData(imageFile(false, false, id));
  deliver(storedBytes);
  EXPECT_EQ(stored.error().message, "Failed to save image");
  EXPECT_EQ(log.eventsOf("writeAtomically"), (Names{"writeAtomically " + pathOf("image-" + id)}));

  resources.add(id, Type::photo, "IMG_1.HEIC", "public.heic");
  log.clear();
  const RecordedReply converted = requestData(imageFile(true, false, id));
  deliver(storedBytes);
  EXPECT_EQ(converted.error().message, "Failed to save image");
  EXPECT_EQ(log.eventsOf("writeAtomically"),
            (Names{"writeAtomically " + pathOf("image-" + id + ".jpg")}));
  EXPECT_EQ(log.eventsOf("createDirectory"), (Names{"createDirectory /temporary/image"}));
}

TEST_F(GetImageUrl, ReplacesTheLastExtensionOfAConvertedImage) {
  for (const auto& [name, converted] : std::vector<std::pair<std::string, std::string>>{
           {"IMG_1.HEIC", "IMG_1.jpg"},
           {"a.tar.gz", "a.tar.jpg"},
           {"plain", "plain.jpg"},
           {".hidden", ".hidden.jpg"},
           {"photo.JPG", "photo.jpg"},
           {"photo.jpg", "photo.jpg"},
           {"\xC3\xA9t\xC3\xA9.heic", "\xC3\xA9t\xC3\xA9.jpg"}}) {
    SCOPED_TRACE(name);
    const std::string id = addAnotherAsset();
    resources.add(id, Type::photo, name, "public.heic");
    const RecordedReply data = requestData(imageFile(true, false, id));
    deliver(storedBytes);
    EXPECT_EQ(data.value(), exportReply(pathOf(converted)));
    const RecordedReply medium = request(imageFile(false, true, id));
    deliverImage(image, {}, images.imageRequests().size() - 1);
    EXPECT_EQ(medium.value(), exportReply(pathOf(converted)));
    EXPECT_EQ(files.file(pathOf(converted))->data, *codec.jpeg);
  }
}

class GetImageUrlWithoutAnImageManager : public testing::Test {
 protected:
  PluginHarness plugin{failTheTest(), PluginHarness::Has::noImageManager};
};

TEST_F(GetImageUrlWithoutAnImageManager, SaysNothingAfterItMadeTheFolder) {
  plugin.library.addAsset(photo("p"));
  plugin.platform.resources.add("p", Type::photo, "IMG_1.HEIC", "public.heic");
  for (const Map& call : {kStored, kConverted, kMedium}) {
    plugin.log.clear();
    RecordedReply reply = plugin.answer("getImageUrl", call);
    reply.expectSilence();
    EXPECT_EQ(plugin.log.count("createDirectory /temporary/image"), 1u);
    EXPECT_EQ(plugin.log.count("main.async") + plugin.log.count("writeData"), 0u);
  }
}

TEST_F(GetImageUrlWithoutAnImageManager, StillReportsFaults) {
  EXPECT_EQ(plugin.answer("getImageUrl").error().message, "Error arguments");
  EXPECT_EQ(plugin.answer("getImageUrl", kStored).error().message, "Asset not found id = p");
  plugin.library.addAsset(photo("p"));
  EXPECT_EQ(plugin.answer("getImageUrl", kStored).error().message, "No photo resource found");
  plugin.platform.files.createDirectoryFails = NSError{"Domain", 1, "Full."};
  EXPECT_EQ(plugin.answer("getImageUrl", kStored).error().message, "Create temp dir failed");
}

}  // namespace
}  // namespace quorvin
