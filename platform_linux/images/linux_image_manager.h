// Images, image data, videos and live photos of the library's assets.
#pragma once

#include <cstddef>
#include <memory>
#include <stop_token>

#include "core/platform/images.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/images/image_requests.h"
#include "platform_linux/library/fetch/asset_files.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/previews/preview_keeper.h"

namespace quorvin {

/// Any thread. Handlers run on the manager's own threads, which they may keep busy; those of a
/// synchronous request on the caller's. A handler gets an info map on every call. Whether the
/// library may be read is asked anew for every request.
class LinuxImageManager final : public PHImageManager {
 public:
  /// `assets`, `media` and `previews`, if there are any, outlive the manager. It does as many
  /// things at a time as it has threads; these have the priority of the thread that calls this.
  LinuxImageManager(AssetFiles& assets, MediaService& media, std::size_t threadCount,
                    PreviewKeeper* previews = nullptr)
      : assets_(assets), media_(media), previews_(previews), requests_(threadCount) {}

  PHImageRequestID requestImageForAsset(std::shared_ptr<const PHAsset> asset, CGSize targetSize,
                                        PHImageContentMode contentMode,
                                        const PHImageRequestOptions& options,
                                        PHImageResultHandler resultHandler) override;
  PHImageRequestID requestImageDataAndOrientationForAsset(
      std::shared_ptr<const PHAsset> asset, const PHImageRequestOptions& options,
      PHImageDataResultHandler resultHandler) override;
  /// Slow motion that was stored at its capture rate comes as a `LinuxComposition`.
  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> asset,
                                          const PHVideoRequestOptions& options,
                                          AVAssetResultHandler resultHandler) override;
  /// The live photo's resources are its original photo, then its paired video.
  PHImageRequestID requestLivePhotoForAsset(std::shared_ptr<const PHAsset> asset, CGSize targetSize,
                                            PHImageContentMode contentMode,
                                            const PHLivePhotoRequestOptions& options,
                                            PHLivePhotoResultHandler resultHandler) override;
  void cancelImageRequest(PHImageRequestID request) override { requests_.cancel(request); }

  /// Drops all requests that wait, without a call, and lets no further call begin. Returns at
  /// once, so that what running requests wait for can be ended before `shutDown` waits for them.
  void beginShutDown() { requests_.beginShutDown(); }

  /// `beginShutDown`, and returns when no handler runs or can run any more. Later requests are
  /// dropped without a call. One thread, not from inside a handler.
  void shutDown() { requests_.shutDown(); }

 private:
  using Delivery = ImageRequests::Delivery;
  using Progress = ImageRequests::Progress;
  struct ImageRequest;

  Result<Delivery> loadImage(const ImageRequest& request, const Progress& progress);
  Result<std::shared_ptr<const UIImage>> render(const ImageRequest& request, PreviewJob job,
                                                const FileDescriptor& file,
                                                const std::stop_token& stop);
  /// An error when the asset is of another type.
  Result<std::shared_ptr<const StoredResource>> findResource(const PHAsset& asset,
                                                             PHAssetMediaType mediaType,
                                                             PHImageRequestOptionsVersion version);
  Result<std::shared_ptr<const AVAsset>> loadVideo(const PHAsset& asset,
                                                   PHImageRequestOptionsVersion version);
  Result<std::shared_ptr<const PHLivePhoto>> loadLivePhoto(const PHAsset& asset);

  AssetFiles& assets_;
  MediaService& media_;
  PreviewKeeper* const previews_;
  ImageRequests requests_;  ///< last, so that its threads end first
};

}  // namespace quorvin
