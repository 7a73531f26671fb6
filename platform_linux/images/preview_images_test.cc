#include "platform_linux/images/preview_images.h"

#include <gtest/gtest.h>

#include <cmath>
#include <future>

#include "platform_linux/images/linux_image_codec.h"
#include "platform_linux/images/linux_image_manager.h"
#include "platform_linux/library/opening/opening.h"
#include "testing/platform/testing_previews.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;

/// Notes what is rendered. One thread at a time.
class NotingMedia final : public MediaService {
 public:
  explicit NotingMedia(MediaService& media) : media_(media) {}
  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override {
    return media_.probe(file, name);
  }
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop) override {
    requests.push_back(request);
    return media_.render(file, request, std::move(stop));
  }
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override {
    ++encodings;
    return media_.encode(image, format, quality);
  }
  Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                              const WriteXmpRequest& request) override {
    return media_.writeXmp(existing, request);
  }

  std::vector<RenderRequest> requests;
  int encodings = 0;

 private:
  MediaService& media_;
};

class PreviewImagesTest : public PreviewsFixture {
 protected:
  /// Opens the library, whose keeper does nothing by itself.
  void open() {
    Library::open({.path = path(), .authorization = PHAuthorizationStatus::authorized});
    library_ = *Library::open({.path = path(), .authorization = PHAuthorizationStatus::authorized});
    keeper_ = std::make_unique<PreviewKeeper>(library_->catalogue(), failures_,
                                              PreviewKeeper::Options{worker(), 24h});
    images_ = std::make_unique<LinuxImageManager>(*library_, media_, 1, keeper_.get());
  }
  void TearDown() override {
    if (images_) images_->shutDown();
  }

  std::shared_ptr<const UIImage> image(
      CGSize size, PHImageContentMode mode = PHImageContentModeAspectFit,
      PHImageRequestOptionsResizeMode resize = PHImageRequestOptionsResizeMode::fast) {
    PHImageRequestOptions options;
    options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
    options.isSynchronous = true;
    options.resizeMode = resize;
    const auto asset = library_->fetchAssetsInAssetCollection(*recents(), nullptr)->firstObject();
    std::shared_ptr<const UIImage> got;
    images_->requestImageForAsset(
        asset, size, mode, options,
        [&got](std::shared_ptr<const UIImage> image, const PHImageInfo*) { got = image; });
    EXPECT_NE(got, nullptr);
    return got;
  }
  std::shared_ptr<const PHAssetCollection> recents() {
    return library_->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr)
        ->firstObject();
  }
  static PixelSize sizeOfImage(const UIImage& image) { return {image.width(), image.height()}; }

  /// Decibels.
  double closeness(const UIImage& one, const UIImage& other) {
    const Bytes ours = pixelsOf(one);
    const Bytes theirs = pixelsOf(other);
    EXPECT_EQ(ours.size(), theirs.size());
    double sum = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) sum += std::pow(ours[i] - theirs[i], 2);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(ours.size()) / sum);
  }
  using Bytes = std::vector<std::uint8_t>;
  Bytes pixelsOf(const UIImage& image) {
    std::shared_ptr<const UIImage> kept;
    if (const auto* preview = dynamic_cast<const PreviewImage*>(&image)) {
      kept = LinuxImageCodec(pool_).imageWithData(preview->jpeg());
    }
    const auto& rendered = dynamic_cast<const RenderedImage&>(kept ? *kept : image);
    const MappedMemory memory(rendered.fd(), *sealedMemorySize(rendered.fd()),
                              MappedMemory::Access::read);
    return {memory.bytes().begin(), memory.bytes().end()};
  }

  FailureMemory failures_{"", ""};
  NotingMedia media_{pool_};
  std::unique_ptr<Library> library_;
  std::unique_ptr<PreviewKeeper> keeper_;
  std::unique_ptr<LinuxImageManager> images_;
};

TEST_F(PreviewImagesTest, OfTheirOwnSizeNeedNoWorker) {
  const std::string original = import({2400, 1600});
  makeAll();
  open();
  LinuxImageCodec codec(media_);
  for (const PreviewSide& side : kPreviewSides) {
    const auto pixels = static_cast<double>(side.pixels);
    const auto got = image({pixels, pixels});
    EXPECT_EQ(sizeOfImage(*got), previewSize({2400, 1600}, side));
    const auto jpeg = codec.UIImageJPEGRepresentation(*got, 1);
    ASSERT_TRUE(jpeg);
    EXPECT_EQ(*jpeg, store()->find(stateOf(original), side)->jpeg);
  }
  EXPECT_TRUE(media_.requests.empty());
  EXPECT_EQ(media_.encodings, 0);
}

TEST_F(PreviewImagesTest, EncodeAnewWhatIsToBeSmallerOrPng) {
  import({900, 600});
  makeAll();
  open();
  const auto got = image({512, 512});
  LinuxImageCodec codec(media_);
  const auto best = codec.UIImageJPEGRepresentation(*got, 1);
  const auto small = codec.UIImageJPEGRepresentation(*got, 0.5);
  const auto png = codec.UIImagePNGRepresentation(*got);
  ASSERT_TRUE(best && small && png);
  EXPECT_LT(small->size(), best->size() / 2);
  EXPECT_EQ(png->data()[1], 'P');
}

TEST_F(PreviewImagesTest, ServeSmallerSizes) {
  import({2400, 1601});
  makeAll();
  open();
  struct Case {
    CGSize size;
    PHImageContentMode mode;
    double of;  ///< the side of the preview that serves
  };
  const Case cases[] = {{{256, 256}, PHImageContentModeAspectFit, 512},
                        {{300, 300}, PHImageContentModeAspectFill, 512},
                        {{341, 341}, PHImageContentModeAspectFill, 512},
                        {{513, 513}, PHImageContentModeAspectFit, 1600},
                        {{1200, 1200}, PHImageContentModeAspectFit, 1600}};
  for (const Case& c : cases) {
    media_.requests.clear();
    const auto served = image(c.size, c.mode);
    ASSERT_EQ(media_.requests.size(), 1U);
    EXPECT_EQ(media_.requests[0].fullWidth, 2400);
    images_->shutDown();
    images_ = std::make_unique<LinuxImageManager>(*library_, media_, 1);
    const auto cold = image(c.size, c.mode);
    images_ = std::make_unique<LinuxImageManager>(*library_, media_, 1, keeper_.get());
    EXPECT_EQ(sizeOfImage(*served), sizeOfImage(*cold)) << c.size.width;
    EXPECT_GT(closeness(*served, *cold), 38) << c.size.width;
  }
}

TEST_F(PreviewImagesTest, LeaveLargerAndExactAndOriginalSizesToTheOriginal) {
  import({2400, 1600});
  makeAll();
  open();
  image({1601, 1601});
  image({512, 512}, PHImageContentModeAspectFit, PHImageRequestOptionsResizeMode::exact);
  image({512, 512}, PHImageContentModeAspectFit, PHImageRequestOptionsResizeMode::none);
  image({1600, 1200}, PHImageContentModeAspectFill);
  ASSERT_EQ(media_.requests.size(), 4U);
  for (const RenderRequest& request : media_.requests) EXPECT_EQ(request.fullWidth, 0);
}

TEST_F(PreviewImagesTest, OfAnEarlierStateDoNotServe) {
  const std::string original = import({900, 600});
  makeAll();
  std::filesystem::last_write_time(path() + "/originals/" + original,
                                   std::filesystem::file_time_type::clock::now());
  open();
  image({512, 512});
  ASSERT_EQ(media_.requests.size(), 1U);
  EXPECT_EQ(media_.requests[0].fullWidth, 0);
}

TEST_F(PreviewImagesTest, ThatAreDamagedGiveWayToTheOriginal) {
  const std::string original = import({900, 600});
  const PreviewStore::Made made{kGridSide, {900, 600}, ByteBuffer(Bytes{1, 2, 3})};
  EXPECT_TRUE(store()->keep(stateOf(original), {&made, 1}));
  open();
  EXPECT_EQ(sizeOfImage(*image({256, 256})), (PixelSize{256, 171}));
  EXPECT_EQ(media_.requests.size(), 2U);
}

TEST_F(PreviewImagesTest, ThatAreCutOffGiveWayToTheOriginal) {
  const std::string original = import({900, 600});
  makeAll();
  const ByteBuffer whole = store()->find(stateOf(original), kGridSide)->jpeg;
  const PreviewStore::Made half{
      kGridSide, {900, 600}, ByteBuffer(Bytes(whole.data(), whole.data() + whole.size() / 2))};
  EXPECT_TRUE(store()->keep(stateOf(original), {&half, 1}));
  open();
  image({256, 256});
  ASSERT_EQ(media_.requests.size(), 2U);
  EXPECT_EQ(media_.requests[1].fullWidth, 0) << "of the original";
}

TEST_F(PreviewImagesTest, OfAMissingOriginalDoNotServe) {
  const std::string original = import({900, 600});
  makeAll();
  open();
  std::filesystem::remove(path() + "/originals/" + original);
  const auto asset = library_->fetchAssetsInAssetCollection(*recents(), nullptr)->firstObject();
  PHImageRequestOptions options;
  options.isSynchronous = true;
  bool isError = false;
  images_->requestImageForAsset(asset, {512, 512}, PHImageContentModeAspectFit, options,
                                [&](std::shared_ptr<const UIImage>, const PHImageInfo* info) {
                                  isError = info->error(PHImageErrorKey) != nullptr;
                                });
  EXPECT_TRUE(isError);
}

}  // namespace
}  // namespace quorvin
