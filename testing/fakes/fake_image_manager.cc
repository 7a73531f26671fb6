#include "testing/fakes/fake_image_manager.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "testing/fakes/fake_image_codec.h"

namespace quorvin {
namespace {

constexpr double kDegradedSide = 160;

const NSError kDamaged{"Library", 3302, "The file does not decode."};
const NSError kMissing{"Library", 3303, "The file is missing."};
const NSError kNotSupported{"Library", 3306, "That cannot be asked of the asset."};

PHImageInfo infoOf(PHImageRequestID request, bool isDegraded = false) {
  PHImageInfo info;
  info.set(PHImageResultRequestIDKey, std::int64_t{request});
  info.set(PHImageResultIsDegradedKey, isDegraded);
  info.set(PHImageResultIsInCloudKey, false);
  return info;
}

bool isSize(CGSize size) {
  return size == PHImageManagerMaximumSize || (size.width > 0 && size.height > 0);
}

std::shared_ptr<const UIImage> imageOf(const PHAsset& asset, CGSize target, bool covers) {
  const auto width = static_cast<double>(asset.pixelWidth);
  const auto height = static_cast<double>(asset.pixelHeight);
  const double x = target.width / width, y = target.height / height;
  double scale = std::min(covers ? std::max(x, y) : std::min(x, y), 1.0);
  if (target == PHImageManagerMaximumSize) scale = 1;
  const auto scaled = [scale](double side) {
    return std::max(std::int64_t{1}, static_cast<std::int64_t>(std::llround(side * scale)));
  };
  return std::make_shared<const FakeImage>(asset.localIdentifier, scaled(width), scaled(height));
}

}  // namespace

FakeImageManager::FakeImageManager(EventLog& log, const FakePhotoLibrary& library)
    : log_(log), library_(library) {}
FakeImageManager::~FakeImageManager() = default;

template <class Options, class Handler>
FakeImageManager::Request<Options, Handler> FakeImageManager::keep(
    Requests<Options, Handler>& requests, const std::string& event,
    std::shared_ptr<const PHAsset> asset, CGSize targetSize, PHImageContentMode contentMode,
    const Options& options, Handler handler) {
  log_.add(event + " " + asset->localIdentifier);
  const std::lock_guard guard(mutex_);
  requests.push_back(
      {++lastId_, std::move(asset), targetSize, contentMode, options, std::move(handler)});
  return requests.back();
}

template <class T>
std::vector<T> FakeImageManager::copyOf(const std::vector<T>& requests) const {
  const std::lock_guard guard(mutex_);
  return requests;
}

std::vector<FakeImageManager::ImageRequest> FakeImageManager::imageRequests() const {
  return copyOf(images_);
}
std::vector<FakeImageManager::DataRequest> FakeImageManager::dataRequests() const {
  return copyOf(data_);
}
std::vector<FakeImageManager::VideoRequest> FakeImageManager::videoRequests() const {
  return copyOf(videos_);
}
std::vector<FakeImageManager::LivePhotoRequest> FakeImageManager::livePhotoRequests() const {
  return copyOf(livePhotos_);
}

PHImageRequestID FakeImageManager::requestImageForAsset(std::shared_ptr<const PHAsset> asset,
                                                        CGSize targetSize,
                                                        PHImageContentMode contentMode,
                                                        const PHImageRequestOptions& options,
                                                        PHImageResultHandler resultHandler) {
  const ImageRequest request = keep(images_, "requestImageForAsset", std::move(asset), targetSize,
                                    contentMode, options, std::move(resultHandler));
  if (duringImageRequest) duringImageRequest(request);
  return request.id;
}

PHImageRequestID FakeImageManager::requestImageDataAndOrientationForAsset(
    std::shared_ptr<const PHAsset> asset, const PHImageRequestOptions& options,
    PHImageDataResultHandler resultHandler) {
  return keep(data_, "requestImageDataAndOrientationForAsset", std::move(asset), {}, 0, options,
              std::move(resultHandler))
      .id;
}

PHImageRequestID FakeImageManager::requestAVAssetForVideo(std::shared_ptr<const PHAsset> asset,
                                                          const PHVideoRequestOptions& options,
                                                          AVAssetResultHandler resultHandler) {
  return keep(videos_, "requestAVAssetForVideo", std::move(asset), {}, 0, options,
              std::move(resultHandler))
      .id;
}

PHImageRequestID FakeImageManager::requestLivePhotoForAsset(
    std::shared_ptr<const PHAsset> asset, CGSize targetSize, PHImageContentMode contentMode,
    const PHLivePhotoRequestOptions& options, PHLivePhotoResultHandler resultHandler) {
  return keep(livePhotos_, "requestLivePhotoForAsset", std::move(asset), targetSize, contentMode,
              options, std::move(resultHandler))
      .id;
}

void FakeImageManager::forgetRequests() {
  // Handlers go outside the lock: what they hold may be anything.
  std::vector<ImageRequest> images;
  std::vector<DataRequest> data;
  std::vector<VideoRequest> videos;
  std::vector<LivePhotoRequest> livePhotos;
  const std::lock_guard guard(mutex_);
  std::swap(images, images_);
  std::swap(data, data_);
  std::swap(videos, videos_);
  std::swap(livePhotos, livePhotos_);
}

void FakeImageManager::cancelImageRequest(PHImageRequestID request) {
  log_.add("cancelImageRequest " + std::to_string(request));
  const auto mark = [request](auto& requests) {
    for (auto& kept : requests) kept.cancelled |= kept.id == request;
  };
  const std::lock_guard guard(mutex_);
  mark(images_);
  mark(data_);
  mark(videos_);
  mark(livePhotos_);
}

void FakeImageManager::complete() {
  const auto endNew = [this](const auto& requests) {
    for (const auto& each : requests) {
      if (each.id > completed_) complete(each);
    }
  };
  endNew(imageRequests());
  endNew(dataRequests());
  endNew(videoRequests());
  endNew(livePhotoRequests());
  const std::lock_guard guard(mutex_);
  completed_ = lastId_;
}

const FakeImageManager::Originals* FakeImageManager::read(const PHAsset& asset, bool isCancelled,
                                                          PHImageInfo& info) const {
  if (isCancelled) {
    info.set(PHImageCancelledKey, true);
    return nullptr;
  }
  if (auto refused = library_.accessError(asset.localIdentifier)) {
    info.set(PHImageErrorKey, *std::move(refused));
    return nullptr;
  }
  const auto found = originals.find(asset.localIdentifier);
  if (found != originals.end()) return &found->second;
  info.set(PHImageErrorKey, kMissing);
  return nullptr;
}

void FakeImageManager::refuseKind(const PHAsset& asset, bool isRightKind, bool isCancelled,
                                  PHImageInfo& info) const {
  // That there is no access comes first.
  if (isRightKind || isCancelled || library_.accessError(asset.localIdentifier)) return;
  info.set(PHImageErrorKey, kNotSupported);
}

void FakeImageManager::complete(const ImageRequest& request) const {
  PHImageInfo info = infoOf(request.id);
  const PHAsset& asset = *request.asset;
  const auto end = [&](const std::optional<NSError>& error) {
    if (error) info.set(PHImageErrorKey, *error);
    request.handler(nullptr, &info);
  };
  if (!request.cancelled && !isSize(request.targetSize)) return end(kNotSupported);
  const Originals* files = read(asset, request.cancelled, info);
  if (files == nullptr) return end(std::nullopt);
  const bool isVisible =
      asset.mediaType == PHAssetMediaType::image || asset.mediaType == PHAssetMediaType::video;
  if (!isVisible) return end(std::nullopt);  // which is no error
  if (files->isDamaged) return end(kDamaged);

  const bool covers = request.contentMode == PHImageContentModeAspectFill;
  const auto image = imageOf(asset, request.targetSize, covers);
  const bool isLarge = std::max(image->width(), image->height()) > kDegradedSide;
  if (request.options.deliveryMode == PHImageRequestOptionsDeliveryMode::opportunistic && isLarge) {
    const PHImageInfo degraded = infoOf(request.id, true);
    request.handler(imageOf(asset, {kDegradedSide, kDegradedSide}, false), &degraded);
  }
  request.handler(image, &info);
}

void FakeImageManager::complete(const DataRequest& request) const {
  PHImageInfo info = infoOf(request.id);
  const Originals* files = read(*request.asset, request.cancelled, info);
  const bool isPhoto = request.asset->mediaType == PHAssetMediaType::image;
  if (files != nullptr && isPhoto) {
    return request.handler(files->data, files->typeIdentifier, 1, &info);
  }
  refuseKind(*request.asset, isPhoto, request.cancelled, info);
  request.handler(std::nullopt, std::nullopt, 1, &info);
}

void FakeImageManager::complete(const VideoRequest& request) const {
  PHImageInfo info = infoOf(request.id);
  const Originals* files = read(*request.asset, request.cancelled, info);
  const bool isVideo = request.asset->mediaType == PHAssetMediaType::video;
  if (files != nullptr && isVideo) {
    return request.handler(std::make_shared<const AVURLAsset>(files->videoPath), &info);
  }
  refuseKind(*request.asset, isVideo, request.cancelled, info);
  request.handler(nullptr, &info);
}

void FakeImageManager::complete(const LivePhotoRequest& request) const {
  PHImageInfo info = infoOf(request.id);
  const Originals* files = read(*request.asset, request.cancelled, info);
  if (files == nullptr || files->livePhotoFiles.empty()) {
    if (files != nullptr) info.set(PHImageErrorKey, kMissing);
    return request.handler(nullptr, &info);
  }
  request.handler(std::make_shared<const PHLivePhoto>(files->livePhotoFiles), &info);
}

}  // namespace quorvin
