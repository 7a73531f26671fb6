#include "testing/fakes/fake_image_manager.h"

#include <utility>

namespace quorvin {

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

}  // namespace quorvin
