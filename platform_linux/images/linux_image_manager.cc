#include "platform_linux/images/linux_image_manager.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "platform_linux/errors/failure.h"
#include "platform_linux/images/preview_images.h"
#include "platform_linux/images/stored_media.h"
#include "platform_linux/images/target_size.h"
#include "platform_linux/media/worker_lane.h"

namespace quorvin {

namespace {

/// The sides of a degraded image, in pixels: cameras embed previews of about this size, which cost
/// next to nothing to decode. Where there is none, the final image is the only one.
constexpr int kDegradedSide = 160;

using SharedImageHandler = std::shared_ptr<const PHImageResultHandler>;

ImageRequests::Delivery deliveryOf(const SharedImageHandler& handler,
                                   std::shared_ptr<const UIImage> image) {
  return [handler, image = std::move(image)](const PHImageInfo& info) { (*handler)(image, &info); };
}

Result<std::shared_ptr<const UIImage>> plainly(
    const Result<std::shared_ptr<const RenderedImage>>& image) {
  if (!image) return image.error();
  return std::shared_ptr<const UIImage>(*image);
}

}  // namespace

struct LinuxImageManager::ImageRequest {
  std::shared_ptr<const PHAsset> asset;
  CGSize targetSize;
  PHImageContentMode contentMode;
  PHImageRequestOptions options;
  SharedImageHandler handler;

  bool hasOriginalSize() const {
    return targetSize == PHImageManagerMaximumSize ||
           options.resizeMode == PHImageRequestOptionsResizeMode::none;
  }
  bool isPrecededByDegraded() const {
    return options.deliveryMode == PHImageRequestOptionsDeliveryMode::opportunistic &&
           !options.isSynchronous &&
           std::max(asset->pixelWidth, asset->pixelHeight) > kDegradedSide &&
           (hasOriginalSize() || std::max(targetSize.width, targetSize.height) > kDegradedSide);
  }

  /// Equal for requests that come to the same.
  std::string key() const {
    std::ostringstream key;
    key << asset->localIdentifier << ' ' << targetSize.width << ' ' << targetSize.height << ' '
        << contentMode << ' ' << static_cast<int>(options.version) << ' '
        << static_cast<int>(options.deliveryMode) << ' ' << static_cast<int>(options.resizeMode);
    return key.str();
  }

  RenderRequest finalRendering(MediaKind kind) const {
    using Fit = RenderRequest::Fit;
    const bool isExact = options.resizeMode == PHImageRequestOptionsResizeMode::exact;
    RenderRequest render;
    render.kind = kind;
    // Exact renderings are made to be kept: half a picture must not pass for a whole one.
    render.failOnDamage = isExact;
    render.fit = hasOriginalSize()                             ? Fit::original
                 : contentMode == PHImageContentModeAspectFill ? Fit::fill
                                                               : Fit::fit;
    if (render.fit == Fit::original) return render;
    render.targetWidth = targetSize.width;
    render.targetHeight = targetSize.height;
    render.crop = isExact && render.fit == Fit::fill;
    return render;
  }
  static RenderRequest degradedRendering() {
    RenderRequest render;
    render.targetWidth = kDegradedSide;
    render.targetHeight = kDegradedSide;
    render.previewAlone = true;
    return render;
  }
};

PHImageRequestID LinuxImageManager::requestImageForAsset(std::shared_ptr<const PHAsset> asset,
                                                         CGSize targetSize,
                                                         PHImageContentMode contentMode,
                                                         const PHImageRequestOptions& options,
                                                         PHImageResultHandler resultHandler) {
  const auto handler = std::make_shared<const PHImageResultHandler>(std::move(resultHandler));
  ImageRequest request{std::move(asset), targetSize, contentMode, options, handler};
  ImageRequests::Work work;
  work.isLarge = laneOf(request.finalRendering(MediaKind::image)) != WorkerLane::looks;
  work.key = request.key();
  work.run = [this, request = std::move(request)](const Progress& progress) {
    return loadImage(request, progress);
  };
  work.giveUp = deliveryOf(handler, nullptr);
  return requests_.start(options.isSynchronous, std::move(work));
}

Result<ImageRequests::Delivery> LinuxImageManager::loadImage(const ImageRequest& request,
                                                             const Progress& progress) {
  if (const Done valid = checkTargetSize(request.targetSize); !valid) return valid.error();
  const Result<StoredResources> resources = assets_.storedResources(request.asset->localIdentifier);
  if (!resources) return resources.error();
  const bool isVideo = request.asset->mediaType == PHAssetMediaType::video;
  if (!isVideo && request.asset->mediaType != PHAssetMediaType::image) {
    return deliveryOf(request.handler, nullptr);  // sound shows nothing, and that is no error
  }
  const auto resource = resourceOfVersion(*request.asset, *resources, request.options.version);
  if (!resource) return resource.error();
  const Result<FileDescriptor> file = openResource(**resource);
  if (!file) return file.error();

  if (!isVideo && request.isPrecededByDegraded()) {
    const auto degraded = media_.render(*file, ImageRequest::degradedRendering(), progress.stop());
    if (degraded) progress.deliverDegraded(deliveryOf(request.handler, *degraded));
    if (!progress.isWanted()) return deliveryOf(request.handler, nullptr);
  }
  const auto kind = isVideo ? MediaKind::video : MediaKind::image;
  const auto image = render(
      request, {(*resource)->file, kind, {request.asset->pixelWidth, request.asset->pixelHeight}},
      *file, progress.stop());
  if (!image) return mediaError(**resource, image.error());
  return deliveryOf(request.handler, *image);
}

Result<std::shared_ptr<const UIImage>> LinuxImageManager::render(const ImageRequest& request,
                                                                 PreviewJob job,
                                                                 const FileDescriptor& file,
                                                                 const std::stop_token& stop) {
  const RenderRequest rendering = request.finalRendering(job.kind);
  if (previews_ == nullptr) return plainly(media_.render(file, rendering, stop));
  const PreviewKeeper::Request present(*previews_);
  const PreviewImages images(*previews_, media_);
  if (auto image = images.find(job, file, rendering, stop)) return image;
  const auto image = media_.render(file, rendering, stop);
  if (image) images.note(std::move(job), rendering, *image);
  return plainly(image);
}

PHImageRequestID LinuxImageManager::requestImageDataAndOrientationForAsset(
    std::shared_ptr<const PHAsset> asset, const PHImageRequestOptions& options,
    PHImageDataResultHandler resultHandler) {
  const auto handler = std::make_shared<const PHImageDataResultHandler>(std::move(resultHandler));
  const auto load = [this, asset = std::move(asset), version = options.version,
                     handler](const Progress&) -> Result<Delivery> {
    const auto resource = findResource(*asset, PHAssetMediaType::image, version);
    if (!resource) return resource.error();
    Result<ByteBuffer> data = readResource(**resource);
    if (!data) return data.error();
    // The handler becomes the only owner of the bytes, so that it can answer with their memory.
    return Delivery([handler, resource = *resource,
                     data = *std::move(data)](const PHImageInfo& info) mutable {
      (*handler)(std::move(data), resource->uniformTypeIdentifier, resource->orientation, &info);
    });
  };
  return requests_.start(options.isSynchronous, {load, [handler](const PHImageInfo& info) {
                                                   (*handler)(std::nullopt, std::nullopt, 1, &info);
                                                 }});
}

Result<std::shared_ptr<const StoredResource>> LinuxImageManager::findResource(
    const PHAsset& asset, PHAssetMediaType mediaType, PHImageRequestOptionsVersion version) {
  const Result<StoredResources> resources = assets_.storedResources(asset.localIdentifier);
  if (!resources) return resources.error();
  if (asset.mediaType != mediaType) {
    return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                   "the asset is of another media type.");
  }
  return resourceOfVersion(asset, *resources, version);
}

}  // namespace quorvin
