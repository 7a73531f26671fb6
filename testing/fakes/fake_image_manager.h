// An image manager whose requests end when the test says so.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "core/platform/images.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_photo_library.h"

namespace quorvin {

/// Any thread. Handlers are fired by the test, with anything, as often as it likes, on the thread
/// that it likes, or all by `complete`, as the system does. Logs "request... ID".
class FakeImageManager : public PHImageManager {
 public:
  template <class Options, class Handler>
  struct Request {
    PHImageRequestID id = 0;
    std::shared_ptr<const PHAsset> asset;
    CGSize targetSize;
    PHImageContentMode contentMode = 0;
    Options options;
    Handler handler;
    bool cancelled = false;
  };
  using ImageRequest = Request<PHImageRequestOptions, PHImageResultHandler>;
  using DataRequest = Request<PHImageRequestOptions, PHImageDataResultHandler>;
  using VideoRequest = Request<PHVideoRequestOptions, AVAssetResultHandler>;
  using LivePhotoRequest = Request<PHLivePhotoRequestOptions, PHLivePhotoResultHandler>;

  /// The files of an asset, for `complete`.
  struct Originals {
    ByteBuffer data;
    std::string typeIdentifier;
    bool isDamaged = false;
    std::string videoPath;            ///< of a video
    PHAssetResources livePhotoFiles;  ///< of a live photo
  };

  FakeImageManager(EventLog& log, const FakePhotoLibrary& library);
  ~FakeImageManager() override;

  /// By the asset's identifier; none are missing. Set before other threads come in.
  std::map<std::string, Originals> originals;
  /// Ends every request that was made since the last time, on this thread.
  void complete();

  /// Copies of what was asked for, oldest first.
  std::vector<ImageRequest> imageRequests() const;
  std::vector<DataRequest> dataRequests() const;
  std::vector<VideoRequest> videoRequests() const;
  std::vector<LivePhotoRequest> livePhotoRequests() const;

  /// What happens inside a request for an image, on its thread. Set before other threads come in.
  std::function<void(const ImageRequest&)> duringImageRequest;

  /// Lets go of every handler, as a manager does whose requests are over.
  void forgetRequests();

  PHImageRequestID requestImageForAsset(std::shared_ptr<const PHAsset> asset, CGSize targetSize,
                                        PHImageContentMode contentMode,
                                        const PHImageRequestOptions& options,
                                        PHImageResultHandler resultHandler) override;
  PHImageRequestID requestImageDataAndOrientationForAsset(
      std::shared_ptr<const PHAsset> asset, const PHImageRequestOptions& options,
      PHImageDataResultHandler resultHandler) override;
  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> asset,
                                          const PHVideoRequestOptions& options,
                                          AVAssetResultHandler resultHandler) override;
  PHImageRequestID requestLivePhotoForAsset(std::shared_ptr<const PHAsset> asset, CGSize targetSize,
                                            PHImageContentMode contentMode,
                                            const PHLivePhotoRequestOptions& options,
                                            PHLivePhotoResultHandler resultHandler) override;
  /// Only notes it; the test fires the handler.
  void cancelImageRequest(PHImageRequestID request) override;

 private:
  /// Null, and why in `info`, when there are none to read, or the request was cancelled.
  const Originals* read(const PHAsset& asset, bool isCancelled, PHImageInfo& info) const;
  void refuseKind(const PHAsset& asset, bool isRightKind, bool isCancelled,
                  PHImageInfo& info) const;
  void complete(const ImageRequest& request) const;
  void complete(const DataRequest& request) const;
  void complete(const VideoRequest& request) const;
  void complete(const LivePhotoRequest& request) const;

  template <class Options, class Handler>
  using Requests = std::vector<Request<Options, Handler>>;

  template <class Options, class Handler>
  Request<Options, Handler> keep(Requests<Options, Handler>& requests, const std::string& event,
                                 std::shared_ptr<const PHAsset> asset, CGSize targetSize,
                                 PHImageContentMode contentMode, const Options& options,
                                 Handler handler);
  template <class T>
  std::vector<T> copyOf(const std::vector<T>& requests) const;

  EventLog& log_;
  const FakePhotoLibrary& library_;
  mutable std::mutex mutex_;
  PHImageRequestID lastId_ = 0;
  PHImageRequestID completed_ = 0;  ///< the last that `complete` ended
  std::vector<ImageRequest> images_;
  std::vector<DataRequest> data_;
  std::vector<VideoRequest> videos_;
  std::vector<LivePhotoRequest> livePhotos_;
};

}  // namespace quorvin
