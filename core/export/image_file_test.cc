#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "testing/fakes/export_fixture.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;

Map imageFile(bool convertJpeg = false, bool mediumQuality = false,
              const std::string& assetId = "p") {
  return {{"assetId", assetId}, {"convertJpeg", convertJpeg}, {"mediumQuality", mediumQuality}};
}

const Map kStored = imageFile(false, false);
const Map kConverted = imageFile(true, false);
const Map kMedium = imageFile(false, true);

std::string pathOf(const std::string& name) {
  return "/temporary/image/" + name;
}

class GetImageUrl : public ExportTest {
 protected:
  GetImageUrl() {
    addAsset("p");
    resources.add("p", Type::photo, "IMG_1.HEIC", "public.heic");
  }

  void addAsset(const std::string& id) {
    PHAsset asset = photo(id);
    asset.creationDate = NSDate(1000.5);
    asset.modificationDate = NSDate(2000.25);
    library.addAsset(asset);
    log.clear();
  }

  /// Another asset, whose resources the caller adds.
  std::string addAnotherAsset() {
    const std::string id = "asset" + std::to_string(++others_);
    addAsset(id);
    return id;
  }

  /// The call, with its request waiting for the test.
  RecordedReply request(const Map& call) { return plugin.answer("getImageUrl", call); }

  /// The call of a rendering, and its deliveries.
  RecordedReply requestMedium() {
    index_ = images.imageRequests().size();
    return request(kMedium);
  }
  void deliver(const std::shared_ptr<const UIImage>& delivered,
               const std::optional<PHImageInfo>& info = {}) {
    deliverImage(delivered, info, index_);
  }

  RecordedReply requestData(const Map& call) {
    index_ = images.dataRequests().size();
    return request(call);
  }
  void deliver(const std::optional<ByteBuffer>& data, const std::optional<std::string>& type = {},
               const std::optional<PHImageInfo>& info = {}) {
    deliverData(data, type, info, index_, 6);
  }

  const std::shared_ptr<const UIImage> image = std::make_shared<const FakeImage>("final");
  const FlutterError conversionFailed{"Error", "HEIC to JPEG conversion failed", Value()};
  const FlutterError mediumFailed{"Error", "Failed to generate medium quality JPEG", Value()};
  const FlutterError noPhoto{"Error", "No photo resource found", Value()};

 private:
  std::size_t index_ = 0;
  int others_ = 0;
};

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
  library.addCollection(userAlbum("album"), {"p"});
  plugin.answer("getGalleryAssetCount",
                Map{{"collectionId", "album"}, {"sort", 0}, {"mediaType", 0}});
  log.clear();
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

// Medium quality

TEST_F(GetImageUrl, WritesTheRenderingAsAJpegOfTheBestQuality) {
  const RecordedReply reply = requestMedium();
  log.clear();
  deliver(image);
  const std::string path = pathOf("IMG_1.jpg");
  EXPECT_EQ(log.events(), (Names{"UIImageJPEGRepresentation final 1", "writeAtomically " + path,
                                 "setAttributes " + path, "main.async", "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data, *codec.jpeg);
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrl, SkipsDegradedRenderingsEvenCancelledOrFailedOnes) {
  const RecordedReply reply = requestMedium();
  deliver(image, infoOf(PHImageResultIsDegradedKey, true));
  deliver(nullptr, infoOf(PHImageResultIsDegradedKey, true));
  deliver(image, infoOfEverything(failure));
  EXPECT_EQ(reply.answerCount(), 0u);
  EXPECT_EQ(log.count("UIImage") + log.count("writeAtomically"), 0u);
  deliver(image, infoOf(PHImageResultIsDegradedKey, false));
  EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
}

TEST_F(GetImageUrl, ReportsACancelledRenderingBeforeItsError) {
  PHImageInfo info = infoOf(PHImageCancelledKey, true);
  info.set(PHImageErrorKey, failure);
  for (const PHImageInfo& cancelled : {infoOf(PHImageCancelledKey, true), info}) {
    const RecordedReply reply = requestMedium();
    deliver(image, cancelled);
    EXPECT_EQ(reply.error(), (FlutterError{"Error", "Image request cancelled", Value()}));
  }
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetImageUrl, ReportsTheErrorOfARendering) {
  for (const auto& delivered : {image, std::shared_ptr<const UIImage>()}) {
    const RecordedReply reply = requestMedium();
    deliver(delivered, infoOf(PHImageErrorKey, failure));
    EXPECT_EQ(reply.error(),
              (FlutterError{"Error", "Failed to generate image", Value("The disk is on fire.")}));
  }
  EXPECT_EQ(log.count("UIImage"), 0u);
}

TEST_F(GetImageUrl, TakesOnlyTrueAndErrorsForWhatTheySay) {
  const PHImageInfo::Entry noTruths[] = {false, std::int64_t{1}, 1.0, std::string("true"), failure};
  for (const std::string_view key : {PHImageResultIsDegradedKey, PHImageCancelledKey}) {
    for (const auto& entry : noTruths) {
      const RecordedReply reply = requestMedium();
      deliver(image, infoOf(key, entry));
      EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
    }
  }
  for (const PHImageInfo::Entry& entry :
       {PHImageInfo::Entry(true), PHImageInfo::Entry(std::string("failed"))}) {
    const RecordedReply reply = requestMedium();
    deliver(image, infoOf(PHImageErrorKey, entry));
    EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
  }
}

TEST_F(GetImageUrl, ReportsARenderingWithoutAnImage) {
  for (const std::optional<PHImageInfo>& info :
       {std::optional<PHImageInfo>(), std::optional(PHImageInfo())}) {
    const RecordedReply reply = requestMedium();
    deliver(nullptr, info);
    EXPECT_EQ(reply.error(), mediumFailed);
  }
}

TEST_F(GetImageUrl, ReportsARenderingThatCannotBeEncoded) {
  codec.jpeg.reset();
  const RecordedReply reply = requestMedium();
  deliver(image);
  EXPECT_EQ(reply.error(), mediumFailed);
  EXPECT_EQ(log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrl, AnswersEveryFinalRenderingUnderOneName) {
  RecordedReply reply = requestMedium();
  reply.expectAnswers(4);
  deliver(image);
  deliver(image);
  deliver(nullptr, infoOf(PHImageCancelledKey, true));
  deliver(image);
  for (const std::size_t index : {0u, 1u, 3u}) {
    EXPECT_EQ(std::get<Value>(reply.answer(index).reply), exportReply(pathOf("IMG_1.jpg")));
  }
  EXPECT_EQ(std::get<FlutterError>(reply.answer(2).reply).message, "Image request cancelled");
}

// From HEIC to JPEG

TEST_F(GetImageUrl, WritesHeicAsAJpegOfTheBestQuality) {
  const RecordedReply reply = requestData(kConverted);
  log.clear();
  deliver(storedBytes, "public.heic");
  const std::string path = pathOf("IMG_1.jpg");
  EXPECT_EQ(log.events(), (Names{"imageWithData 5", "UIImageJPEGRepresentation decoded 1",
                                 "writeAtomically " + path, "setAttributes " + path, "main.async",
                                 "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data, *codec.jpeg);
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrl, ConvertsWhateverTypeAndInformationComeWithTheData) {
  for (const std::optional<std::string>& type :
       {std::optional<std::string>(), std::optional<std::string>("public.jpeg")}) {
    const RecordedReply reply = requestData(kConverted);
    deliver(storedBytes, type, infoOfEverything(failure));
    EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.jpg")));
  }
}

TEST_F(GetImageUrl, ReportsAConversionWithoutDataAndCopiesNothing) {
  const RecordedReply reply = requestData(kConverted);
  deliver(std::nullopt, "public.heic", infoOf(PHImageErrorKey, failure));
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_TRUE(plugin.platform.resourceManager.writes.empty());
}

TEST_F(GetImageUrl, ReportsAConversionThatDoesNotDecode) {
  codec.decoded = nullptr;
  const RecordedReply reply = requestData(kConverted);
  deliver(storedBytes);
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_EQ(log.count("UIImage") + log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrl, ReportsAConversionThatCannotBeEncoded) {
  codec.jpeg.reset();
  const RecordedReply reply = requestData(kConverted);
  deliver(storedBytes);
  EXPECT_EQ(reply.error(), conversionFailed);
  EXPECT_EQ(log.count("writeAtomically"), 0u);
}

TEST_F(GetImageUrl, AnswersEveryDeliveryOfDataUnderOneName) {
  for (const bool convertJpeg : {true, false}) {
    RecordedReply reply = requestData(imageFile(convertJpeg));
    reply.expectAnswers(2);
    deliver(storedBytes);
    deliver(storedBytes);
    const Value expected = exportReply(pathOf(convertJpeg ? "IMG_1.jpg" : "IMG_1.HEIC"));
    EXPECT_EQ(std::get<Value>(reply.answer(0).reply), expected);
    EXPECT_EQ(std::get<Value>(reply.answer(1).reply), expected);
  }
}

// Stored bytes

TEST_F(GetImageUrl, WritesStoredBytesUnderTheStoredName) {
  const RecordedReply reply = requestData(kStored);
  log.clear();
  deliver(storedBytes, "public.jpeg", infoOfEverything(failure));
  const std::string path = pathOf("IMG_1.HEIC");
  EXPECT_EQ(log.events(), (Names{"writeAtomically " + path, "setAttributes " + path, "main.async",
                                 "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(files.file(path)->data.data(), storedBytes.data());
}

TEST_F(GetImageUrl, CopiesThePhotoWhenThereIsNoData) {
  const RecordedReply reply = requestData(kStored);
  log.clear();
  const std::string path = pathOf("IMG_1.HEIC");
  deliver(std::nullopt, "public.heic", infoOfEverything(failure));
  EXPECT_EQ(log.events(),
            (Names{"fileExists " + path, "writeDataForAssetResource IMG_1.HEIC to " + path}));
  const auto write = plugin.platform.resourceManager.writes.at(0);
  ASSERT_TRUE(write.options);
  EXPECT_TRUE(write.options->isNetworkAccessAllowed);

  log.clear();
  finishWrite();
  EXPECT_EQ(log.events(), (Names{"setAttributes " + path, "main.async", "reply getImageUrl"}));
  EXPECT_EQ(reply.value(), exportReply(path));
  EXPECT_EQ(attributesOf(path), (NSFileAttributes{NSDate(1000.5), NSDate(2000.25)}));
}

TEST_F(GetImageUrl, CopiesAPhotoThatIsNoHeicAlsoWhenConversionIsAsked) {
  const std::string id = addAnotherAsset();
  resources.add(id, Type::photo, "P.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(true, false, id));
  deliver(std::nullopt);
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(pathOf("P.JPG")));
}

TEST_F(GetImageUrl, CopiesTheChosenPhotoUnderTheAssetsName) {
  const std::string id = addAnotherAsset();
  resources.add(id, Type::video, "V.MOV", "public.movie");
  resources.add(id, Type::fullSizePhoto, "Full.jpg", "public.jpeg");
  resources.add(id, Type::photo, "P.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(false, false, id));
  deliver(std::nullopt);
  EXPECT_EQ(log.eventsOf("writeData"),
            (Names{"writeDataForAssetResource Full.jpg to " + pathOf("V.MOV")}));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(pathOf("V.MOV")));
}

TEST_F(GetImageUrl, RemovesTheEarlierFileBeforeTheCopy) {
  const std::string path = pathOf("IMG_1.HEIC");
  files.addFile(path, ByteBuffer({9}));
  const RecordedReply reply = requestData(kStored);
  log.clear();
  deliver(std::nullopt);
  EXPECT_EQ(log.events(), (Names{"fileExists " + path, "removeItem " + path,
                                 "writeDataForAssetResource IMG_1.HEIC to " + path}));
  EXPECT_FALSE(files.file(path));
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(path));
}

TEST_F(GetImageUrl, CopiesAlsoWhenTheEarlierFileCannotBeRemoved) {
  files.addFile(pathOf("IMG_1.HEIC"), ByteBuffer({9}));
  files.removeItemFails = failure;
  const RecordedReply reply = requestData(kStored);
  deliver(std::nullopt);
  ASSERT_EQ(log.count("writeDataForAssetResource"), 1u);
  finishWrite();
  EXPECT_EQ(reply.value(), exportReply(pathOf("IMG_1.HEIC")));
}

TEST_F(GetImageUrl, ReportsAFailedCopyInTheWordsOfALivePhoto) {
  const RecordedReply reply = requestData(kStored);
  deliver(std::nullopt);
  log.clear();
  finishWrite(failure);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Failed to export live photo video id = p",
                                         Value("The disk is on fire.")}));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply getImageUrl"}));
}

TEST_F(GetImageUrl, StampsTheCurrentTimeOnACopyForAnAbsentDate) {
  const auto start = std::chrono::system_clock::now();
  library.addAsset(photo("undated"));
  resources.add("undated", Type::photo, "U.JPG", "public.jpeg");
  const RecordedReply reply = requestData(imageFile(false, false, "undated"));
  deliver(std::nullopt);
  finishWrite();
  EXPECT_TRUE(isFrom(attributesOf(pathOf("U.JPG")).NSFileCreationDate, start));
  EXPECT_TRUE(isFrom(attributesOf(pathOf("U.JPG")).NSFileModificationDate, start));
}

TEST_F(GetImageUrl, RepliesBothTheFailureAndTheFileWhenACopyCannotBeStamped) {
  files.setAttributesFails = failure;
  RecordedReply reply = requestData(kStored);
  reply.expectAnswers(2);
  deliver(std::nullopt);
  log.clear();
  finishWrite();
  EXPECT_EQ(std::get<FlutterError>(reply.answer(0).reply),
            (FlutterError{"Error",
                          "Save temporary image error: Error Domain=Domain Code=42 \"The disk is "
                          "on fire.\"",
                          Value("The disk is on fire.")}));
  EXPECT_EQ(std::get<Value>(reply.answer(1).reply), exportReply(pathOf("IMG_1.HEIC")));
  EXPECT_EQ(log.events(), (Names{"setAttributes " + pathOf("IMG_1.HEIC"), "main.async",
                                 "main.async", "reply getImageUrl", "reply getImageUrl"}));
}

// Threads and lives

TEST_F(GetImageUrl, WorksOnThePlatformsThreadsAndRepliesOnTheMainQueue) {
  const RecordedReply reply = requestData(kStored);
  const auto handler = images.dataRequests().at(0).handler;
  std::thread([&] { handler(std::nullopt, std::nullopt, 1, nullptr); }).join();
  const auto write = plugin.platform.resourceManager.writes.at(0);
  std::thread([&] { write.finish(failure); }).join();
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

TEST_F(GetImageUrl, CachesNothingAndHoldsNoLock) {
  codec.duringEncoding = [this] { EXPECT_FALSE(plugin.manager().lockIsHeld()); };
  const RecordedReply converted = requestData(kConverted);
  deliver(storedBytes);
  const RecordedReply medium = requestMedium();
  deliver(image);
  EXPECT_EQ(log.count("UIImageJPEGRepresentation"), 2u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetImageUrl, KeepsTheCallsApart) {
  const RecordedReply stored = request(kStored);
  const RecordedReply converted = request(kConverted);
  deliverData(storedBytes, {}, {}, 1);
  EXPECT_EQ(stored.answerCount(), 0u);
  EXPECT_EQ(converted.value(), exportReply(pathOf("IMG_1.jpg")));
  deliverData(storedBytes, {}, {}, 0);
  EXPECT_EQ(stored.value(), exportReply(pathOf("IMG_1.HEIC")));
}

TEST_F(GetImageUrl, IsAnsweredAfterThePluginsRegistrationIsGone) {
  const RecordedReply copied = requestData(kStored);
  letGoOfThePlugin();
  deliver(std::nullopt);
  finishWrite();
  EXPECT_EQ(copied.value(), exportReply(pathOf("IMG_1.HEIC")));
}

TEST_F(GetImageUrl, LetsGoOfTheReplyWithItsHandlers) {
  const auto witness = std::make_shared<int>(0);
  for (const Map& call : {kStored, kConverted, kMedium}) {
    plugin.plugin().handle({"getImageUrl", call}, [witness](const FlutterReply&) {});
    plugin.runToEnd();
    EXPECT_GT(witness.use_count(), 1);
    images.forgetRequests();
    EXPECT_EQ(witness.use_count(), 1);
  }
  plugin.plugin().handle({"getImageUrl", kStored}, [witness](const FlutterReply&) {});
  plugin.runToEnd();
  deliverData(std::nullopt);
  images.forgetRequests();
  EXPECT_GT(witness.use_count(), 1);
  plugin.platform.resourceManager.writes.clear();
  EXPECT_EQ(witness.use_count(), 1);
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
