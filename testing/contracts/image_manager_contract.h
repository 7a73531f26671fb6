// What every implementation of the image manager holds to.
//
// A subject is default-constructible, grants full access at first, and has:
//   PHImageManager& manager();
//   std::shared_ptr<const PHAsset> photo();      // 600 x 400
//   std::shared_ptr<const PHAsset> livePhoto();  // IMG_1.HEIC and IMG_1.MOV
//   std::shared_ptr<const PHAsset> video();
//   std::shared_ptr<const PHAsset> sound();
//   std::shared_ptr<const PHAsset> damagedPhoto();
//   ByteBuffer photoBytes();
//   std::string photoType();
//   bool isVideoFile(const std::string& path);
//   void removeOriginals(const PHAsset& asset);
//   void refuseAccess();  // from now on
//   void settle();  // lets the requests go on, and returns once all calls of their handlers are
//                   // over; none is made before
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ImageManagerContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/platform/images.h"

namespace quorvin {

template <class Subject>
class ImageManagerContract : public testing::Test {
 protected:
  using Asset = std::shared_ptr<const PHAsset>;
  using Mode = PHImageRequestOptionsDeliveryMode;
  using Size = std::pair<std::int64_t, std::int64_t>;

  struct Data {
    std::optional<ByteBuffer> bytes;
    std::optional<std::string> type;
    std::int64_t orientation = 0;
  };
  template <class Outcome>
  struct Call {
    Outcome outcome;
    PHImageInfo info;
    std::thread::id thread;
  };
  using ImageCall = Call<std::shared_ptr<const UIImage>>;

  Subject& subject() { return subject_; }
  PHImageManager& manager() { return subject_.manager(); }

  /// The calls that a request comes to. `cancelled`: it is withdrawn before it goes on.
  std::vector<ImageCall> images(const Asset& asset, CGSize size, PHImageContentMode mode = 0,
                                Mode delivery = Mode::highQualityFormat, bool cancelled = false) {
    PHImageRequestOptions options;
    options.deliveryMode = delivery;
    return calls<std::shared_ptr<const UIImage>>(cancelled, [&](const auto& into) {
      return manager().requestImageForAsset(asset, size, mode, options, into);
    });
  }
  Call<Data> data(const Asset& asset, bool cancelled = false) {
    return only(calls<Data>(cancelled, [&](const auto& into) {
      return manager().requestImageDataAndOrientationForAsset(
          asset, {},
          [into](std::optional<ByteBuffer> bytes, const std::optional<std::string>& type,
                 std::int64_t orientation, const PHImageInfo* info) {
            into(Data{std::move(bytes), type, orientation}, info);
          });
    }));
  }
  auto video(const Asset& asset, bool cancelled = false) {
    return only(calls<std::shared_ptr<const AVAsset>>(cancelled, [&](const auto& into) {
      return manager().requestAVAssetForVideo(asset, {}, into);
    }));
  }
  auto livePhoto(const Asset& asset, bool cancelled = false) {
    PHLivePhotoRequestOptions options;
    options.deliveryMode = Mode::highQualityFormat;
    return only(calls<std::shared_ptr<const PHLivePhoto>>(cancelled, [&](const auto& into) {
      return manager().requestLivePhotoForAsset(asset, PHImageManagerMaximumSize, 0, options, into);
    }));
  }

  template <class Outcome>
  static Call<Outcome> only(const std::vector<Call<Outcome>>& calls) {
    EXPECT_EQ(calls.size(), 1U);
    return calls.empty() ? Call<Outcome>() : calls.front();
  }
  Size sizeFor(const Asset& asset, CGSize target, PHImageContentMode mode = 0) {
    const auto image = only(images(asset, target, mode)).outcome;
    return image == nullptr ? Size() : Size(image->width(), image->height());
  }
  /// The code of a call's error, which says something; 0 for none.
  static std::int64_t codeOf(const PHImageInfo& info) {
    EXPECT_FALSE(info.isTrue(PHImageCancelledKey));
    const NSError* error = info.error(PHImageErrorKey);
    if (error == nullptr) return 0;
    EXPECT_FALSE(error->localizedDescription.empty());
    return error->code;
  }
  /// What each kind of request for the asset fails with; none has a result.
  std::vector<std::int64_t> codesOf(const Asset& asset) {
    const auto image = only(images(asset, {100, 100}));
    const auto bytes = data(asset);
    const auto movie = video(asset);
    const auto live = livePhoto(asset);
    EXPECT_EQ(image.outcome, nullptr);
    EXPECT_FALSE(bytes.outcome.bytes);
    EXPECT_FALSE(bytes.outcome.type);
    EXPECT_EQ(movie.outcome, nullptr);
    EXPECT_EQ(live.outcome, nullptr);
    return {codeOf(image.info), codeOf(bytes.info), codeOf(movie.info), codeOf(live.info)};
  }

 private:
  template <class Outcome, class Request>
  std::vector<Call<Outcome>> calls(bool cancelled, const Request& request) {
    const auto made = std::make_shared<std::vector<Call<Outcome>>>();
    const PHImageRequestID id = request([made](Outcome outcome, const PHImageInfo* info) {
      EXPECT_NE(info, nullptr);
      made->push_back({std::move(outcome), *info, std::this_thread::get_id()});
    });
    EXPECT_GT(id, 0);
    if (cancelled) manager().cancelImageRequest(id);
    subject_.settle();
    for (const Call<Outcome>& call : *made) {
      EXPECT_NE(call.thread, std::this_thread::get_id());
      const auto* told = call.info.template entry<std::int64_t>(PHImageResultRequestIDKey);
      EXPECT_EQ(told != nullptr ? *told : 0, id);
      EXPECT_NE(call.info.template entry<bool>(PHImageResultIsDegradedKey), nullptr);
      EXPECT_NE(call.info.template entry<bool>(PHImageResultIsInCloudKey), nullptr);
      EXPECT_FALSE(call.info.isTrue(PHImageResultIsInCloudKey));
    }
    return *made;
  }

  Subject subject_;
};

TYPED_TEST_SUITE_P(ImageManagerContract);

TYPED_TEST_P(ImageManagerContract, FitsAnImageIntoTheTargetOrCoversItAndNeverEnlarges) {
  using Size = typename TestFixture::Size;
  const auto photo = this->subject().photo();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(this->sizeFor(photo, {300, 300}), Size(300, 200));
  EXPECT_EQ(this->sizeFor(photo, {300, 300}, PHImageContentModeAspectFill), Size(450, 300));
  EXPECT_EQ(this->sizeFor(photo, {300, 300}, 7), Size(300, 200));
  EXPECT_EQ(this->sizeFor(photo, {101, 101}), Size(101, 67));
  EXPECT_EQ(this->sizeFor(photo, {1, 1}), Size(1, 1));
  EXPECT_EQ(this->sizeFor(photo, {infinity, 200}), Size(300, 200));
  EXPECT_EQ(this->sizeFor(photo, {5000, 5000}), Size(600, 400));
  EXPECT_EQ(this->sizeFor(photo, {5000, 5000}, PHImageContentModeAspectFill), Size(600, 400));
  EXPECT_EQ(this->sizeFor(photo, PHImageManagerMaximumSize), Size(600, 400));
}

TYPED_TEST_P(ImageManagerContract, RefusesSizesThatAreNone) {
  const auto photo = this->subject().photo();
  const double noNumber = std::numeric_limits<double>::quiet_NaN();
  for (const CGSize size : {CGSize{0, 0}, CGSize{-1, 5}, CGSize{5, 0}, CGSize{noNumber, 5}}) {
    const auto call = this->only(this->images(photo, size));
    EXPECT_EQ(call.outcome, nullptr);
    EXPECT_EQ(this->codeOf(call.info), 3306);
  }
}

TYPED_TEST_P(ImageManagerContract, CallsOnceWithTheFinalImageUnlessOpportunistic) {
  using Mode = PHImageRequestOptionsDeliveryMode;
  const auto photo = this->subject().photo();
  const auto call = this->only(this->images(photo, {500, 500}, 0, Mode::highQualityFormat));
  EXPECT_NE(call.outcome, nullptr);
  EXPECT_FALSE(call.info.isTrue(PHImageResultIsDegradedKey));
  EXPECT_EQ(this->codeOf(call.info), 0);
  EXPECT_NE(this->only(this->images(photo, {500, 500}, 0, Mode::fastFormat)).outcome, nullptr);
}

TYPED_TEST_P(ImageManagerContract, MakesNoCallButADegradedOneBeforeTheFinalOneWhenOpportunistic) {
  using Mode = PHImageRequestOptionsDeliveryMode;
  const auto calls = this->images(this->subject().photo(), {500, 500}, 0, Mode::opportunistic);
  ASSERT_TRUE(calls.size() == 1 || calls.size() == 2);
  if (calls.size() == 2) {
    EXPECT_TRUE(calls[0].info.isTrue(PHImageResultIsDegradedKey));
    EXPECT_NE(calls[0].outcome, nullptr);
  }
  EXPECT_FALSE(calls.back().info.isTrue(PHImageResultIsDegradedKey));
  ASSERT_NE(calls.back().outcome, nullptr);
  EXPECT_EQ(calls.back().outcome->width(), 500);
}

TYPED_TEST_P(ImageManagerContract, GivesTheStoredBytesOfAPhoto) {
  const auto call = this->data(this->subject().photo());
  EXPECT_EQ(this->codeOf(call.info), 0);
  EXPECT_FALSE(call.info.isTrue(PHImageResultIsDegradedKey));
  EXPECT_EQ(call.outcome.bytes, this->subject().photoBytes());
  EXPECT_EQ(call.outcome.type, this->subject().photoType());
  EXPECT_EQ(call.outcome.orientation, 1);
}

TYPED_TEST_P(ImageManagerContract, GivesAVideoAsItsFile) {
  const auto call = this->video(this->subject().video());
  EXPECT_EQ(this->codeOf(call.info), 0);
  const auto file = std::dynamic_pointer_cast<const AVURLAsset>(call.outcome);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(this->subject().isVideoFile(file->URL));
}

TYPED_TEST_P(ImageManagerContract, GivesALivePhotoAsItsStillAndItsMovie) {
  const auto call = this->livePhoto(this->subject().livePhoto());
  EXPECT_EQ(this->codeOf(call.info), 0);
  ASSERT_NE(call.outcome, nullptr);
  ASSERT_EQ(call.outcome->resources.size(), 2U);
  EXPECT_EQ(call.outcome->resources[0]->type, PHAssetResourceType::photo);
  EXPECT_EQ(call.outcome->resources[0]->originalFilename, "IMG_1.HEIC");
  EXPECT_EQ(call.outcome->resources[1]->type, PHAssetResourceType::pairedVideo);
  EXPECT_EQ(call.outcome->resources[1]->originalFilename, "IMG_1.MOV");
}

TYPED_TEST_P(ImageManagerContract, GivesNothingOfAnotherKindThanTheAssets) {
  EXPECT_EQ(this->codesOf(this->subject().sound()),
            (std::vector<std::int64_t>{0, 3306, 3306, 3303}));
  EXPECT_EQ(this->codeOf(this->data(this->subject().video()).info), 3306);
  EXPECT_EQ(this->codeOf(this->video(this->subject().livePhoto()).info), 3306);
  EXPECT_EQ(this->codeOf(this->livePhoto(this->subject().photo()).info), 3303);
}

TYPED_TEST_P(ImageManagerContract, TellsThatAPhotoDoesNotDecodeAndGivesItsBytesAllTheSame) {
  const auto photo = this->subject().damagedPhoto();
  const auto call = this->only(this->images(photo, {100, 100}));
  EXPECT_EQ(call.outcome, nullptr);
  EXPECT_EQ(this->codeOf(call.info), 3302);
  EXPECT_TRUE(this->data(photo).outcome.bytes);
}

TYPED_TEST_P(ImageManagerContract, TellsThatTheOriginalsAreMissing) {
  const auto photo = this->subject().photo();
  const auto live = this->subject().livePhoto();
  const auto video = this->subject().video();
  for (const auto& each : {photo, live, video}) this->subject().removeOriginals(*each);
  EXPECT_EQ(this->codesOf(photo), (std::vector<std::int64_t>{3303, 3303, 3306, 3303}));
  EXPECT_EQ(this->codeOf(this->livePhoto(live).info), 3303);
  EXPECT_EQ(this->codeOf(this->video(video).info), 3303);
}

TYPED_TEST_P(ImageManagerContract, AsksForAccessAnewAtEveryRequest) {
  const auto photo = this->subject().photo();
  EXPECT_NE(this->only(this->images(photo, {100, 100})).outcome, nullptr);
  this->subject().refuseAccess();
  EXPECT_EQ(this->codesOf(photo), (std::vector<std::int64_t>(4, 3311)));
}

TYPED_TEST_P(ImageManagerContract, CallsOnceThatARequestWasCancelled) {
  using Mode = PHImageRequestOptionsDeliveryMode;
  const auto photo = this->subject().photo();
  for (const auto mode : {Mode::highQualityFormat, Mode::opportunistic}) {
    const auto call = this->only(this->images(photo, {500, 500}, 0, mode, true));
    EXPECT_EQ(call.outcome, nullptr);
    EXPECT_TRUE(call.info.isTrue(PHImageCancelledKey));
    EXPECT_EQ(call.info.error(PHImageErrorKey), nullptr);
  }
  const auto data = this->data(photo, true);
  EXPECT_FALSE(data.outcome.bytes);
  EXPECT_TRUE(data.info.isTrue(PHImageCancelledKey));
  EXPECT_TRUE(this->video(this->subject().video(), true).info.isTrue(PHImageCancelledKey));
  EXPECT_TRUE(this->livePhoto(this->subject().livePhoto(), true).info.isTrue(PHImageCancelledKey));
  this->manager().cancelImageRequest(4711);
  EXPECT_NE(this->only(this->images(photo, {100, 100})).outcome, nullptr);
}

REGISTER_TYPED_TEST_SUITE_P(ImageManagerContract,
                            FitsAnImageIntoTheTargetOrCoversItAndNeverEnlarges,
                            RefusesSizesThatAreNone, CallsOnceWithTheFinalImageUnlessOpportunistic,
                            MakesNoCallButADegradedOneBeforeTheFinalOneWhenOpportunistic,
                            GivesTheStoredBytesOfAPhoto, GivesAVideoAsItsFile,
                            GivesALivePhotoAsItsStillAndItsMovie,
                            GivesNothingOfAnotherKindThanTheAssets,
                            TellsThatAPhotoDoesNotDecodeAndGivesItsBytesAllTheSame,
                            TellsThatTheOriginalsAreMissing, AsksForAccessAnewAtEveryRequest,
                            CallsOnceThatARequestWasCancelled);

}  // namespace quorvin
