// The image manager's requests for videos and live photos.
#include <utility>

#include "platform_linux/errors/failure.h"
#include "platform_linux/images/linux_image_manager.h"
#include "platform_linux/images/stored_media.h"
#include "platform_linux/images/target_size.h"
#include "platform_linux/videos/linux_composition.h"
#include "platform_linux/videos/slow_motion.h"

namespace quorvin {

PHImageRequestID LinuxImageManager::requestAVAssetForVideo(std::shared_ptr<const PHAsset> asset,
                                                           const PHVideoRequestOptions& options,
                                                           AVAssetResultHandler resultHandler) {
  const auto handler = std::make_shared<const AVAssetResultHandler>(std::move(resultHandler));
  const auto load = [this, asset = std::move(asset), version = options.version,
                     handler](const Progress&) -> Result<Delivery> {
    const auto video = loadVideo(*asset, version);
    if (!video) return video.error();
    return Delivery(
        [handler, video = *video](const PHImageInfo& info) { (*handler)(video, &info); });
  };
  return requests_.start(
      false, {load, [handler](const PHImageInfo& info) { (*handler)(nullptr, &info); }});
}

Result<std::shared_ptr<const AVAsset>> LinuxImageManager::loadVideo(
    const PHAsset& asset, PHImageRequestOptionsVersion version) {
  const auto resource = findResource(asset, PHAssetMediaType::video, version);
  if (!resource) return resource.error();
  const Result<FileDescriptor> file = openResource(**resource);
  if (!file) return file.error();

  const bool isPlayedByMap = version == PHImageRequestOptionsVersion::current &&
                             (*resource)->type == PHAssetResourceType::video;
  auto stored = isPlayedByMap ? assets_.timeMap(asset.localIdentifier) : Result<TimeMap>(TimeMap());
  if (!stored) return stored.error();
  TimeMap map = *std::move(stored);
  const bool isSlowMotion = (asset.mediaSubtypes & PHAssetMediaSubtype::videoHighFrameRate) != 0;
  if (isPlayedByMap && map.empty() && isSlowMotion) {
    // Stored slowed down already, or imported before time maps were stored.
    const Result<MediaProbe> probe = media_.probe(*file, (*resource)->originalFilename);
    if (!probe) return mediaError(**resource, probe.error());
    map = slowMotionTimeMap(*probe);
  }
  if (map.empty()) {
    return std::shared_ptr<const AVAsset>(
        std::make_shared<const LinuxVideo>((*resource)->path, (*resource)->file));
  }
  return std::shared_ptr<const AVAsset>(
      std::make_shared<const LinuxComposition>((*resource)->file, std::move(map)));
}

PHImageRequestID LinuxImageManager::requestLivePhotoForAsset(
    std::shared_ptr<const PHAsset> asset, CGSize targetSize, PHImageContentMode,
    const PHLivePhotoRequestOptions& options, PHLivePhotoResultHandler resultHandler) {
  const auto handler = std::make_shared<const PHLivePhotoResultHandler>(std::move(resultHandler));
  const bool isPrecededByDegraded =
      options.deliveryMode == PHImageRequestOptionsDeliveryMode::opportunistic;
  const auto load = [this, asset = std::move(asset), targetSize, isPrecededByDegraded,
                     handler](const Progress& progress) -> Result<Delivery> {
    if (const Done valid = checkTargetSize(targetSize); !valid) return valid.error();
    const auto livePhoto = loadLivePhoto(*asset);
    if (!livePhoto) return livePhoto.error();
    const Delivery delivery = [handler, livePhoto = *livePhoto](const PHImageInfo& info) {
      (*handler)(livePhoto, &info);
    };
    if (isPrecededByDegraded) progress.deliverDegraded(delivery);
    return delivery;
  };
  return requests_.start(
      false, {load, [handler](const PHImageInfo& info) { (*handler)(nullptr, &info); }});
}

Result<std::shared_ptr<const PHLivePhoto>> LinuxImageManager::loadLivePhoto(const PHAsset& asset) {
  const Result<StoredResources> resources = assets_.storedResources(asset.localIdentifier);
  if (!resources) return resources.error();
  PHAssetResources parts;
  for (const auto type : {PHAssetResourceType::photo, PHAssetResourceType::pairedVideo}) {
    const auto part = firstOfType(*resources, type);
    if (!part || (asset.mediaSubtypes & PHAssetMediaSubtype::photoLive) == 0) {
      return Failure(LibraryErrorCode::missingResource,
                     "the asset has no photo with a paired video.");
    }
    const Result<FileDescriptor> file = openResource(*part);
    if (!file) return file.error();
    parts.push_back(part);
  }
  return std::make_shared<const PHLivePhoto>(std::move(parts));
}

}  // namespace quorvin
