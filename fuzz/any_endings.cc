#include "fuzz/any_endings.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace quorvin {
namespace {

std::optional<NSError> anyError(FuzzedDataProvider& data) {
  if (data.ConsumeBool()) return std::nullopt;
  return NSError{"Domain", 1, "It failed."};
}

PHImageInfo anyInfo(FuzzedDataProvider& data) {
  PHImageInfo info;
  for (const std::string_view key :
       {PHImageCancelledKey, PHImageErrorKey, PHImageResultIsDegradedKey}) {
    switch (data.ConsumeIntegralInRange(0, 5)) {
      case 0:
        info.set(key, data.ConsumeBool());
        break;
      case 1:
        info.set(key, NSError{"Domain", 1, "It failed."});
        break;
      case 2:
        info.set(key, std::int64_t{1});
        break;
      default:
        break;
    }
  }
  return info;
}

/// Deliveries that ask for no reply, then one whose info says nothing of being provisional.
template <class Deliver>
void deliverInSteps(FuzzedDataProvider& data, const Deliver& deliver) {
  for (int i = data.ConsumeIntegralInRange(0, 2); i > 0; --i) {
    PHImageInfo provisional = anyInfo(data);
    provisional.set(PHImageResultIsDegradedKey, true);
    deliver(&provisional);
  }
  PHImageInfo last = anyInfo(data);
  last.set(PHImageResultIsDegradedKey, false);
  deliver(data.ConsumeBool() ? &last : nullptr);
}

void end(const FakeImageManager::ImageRequest& request, FuzzedDataProvider& data) {
  const auto image = std::make_shared<const FakeImage>("image");
  const auto deliver = [&](const PHImageInfo* info) {
    request.handler(data.ConsumeBool() ? image : nullptr, info);
  };
  // Only a thumbnail is asked for by this mode, and only it minds deliveries after the final one.
  if (request.options.resizeMode == PHImageRequestOptionsResizeMode::fast) {
    for (int i = data.ConsumeIntegralInRange(0, 3); i > 0; --i) {
      const PHImageInfo info = anyInfo(data);
      deliver(data.ConsumeBool() ? &info : nullptr);
    }
  }
  deliverInSteps(data, deliver);
}

void end(const FakeImageManager::DataRequest& request, FuzzedDataProvider& data) {
  std::optional<ByteBuffer> bytes;
  if (data.ConsumeBool()) bytes = ByteBuffer({1, 2, 3});
  std::optional<std::string> type;
  if (data.ConsumeBool()) type = data.ConsumeBool() ? "public.heic" : "public.jpeg";
  request.handler(std::move(bytes), type, data.ConsumeIntegral<std::int64_t>(), nullptr);
}

void end(const FakeImageManager::VideoRequest& request, FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return request.handler(nullptr, nullptr);
    case 1:
      return request.handler(std::make_shared<const AVComposition>(), nullptr);
    case 2:
      return request.handler(std::make_shared<const AVAsset>(), nullptr);
    default:
      return request.handler(
          std::make_shared<const AVURLAsset>(data.ConsumeBool() ? "/library/v.mov" : ""), nullptr);
  }
}

void end(const FakeImageManager::LivePhotoRequest& request, FuzzedDataProvider& data) {
  PHAssetResources parts;
  if (data.ConsumeBool()) {
    parts.push_back(std::make_shared<const PHAssetResource>(PHAssetResourceType::pairedVideo,
                                                            "IMG.MOV", "public.movie"));
  }
  const auto livePhoto = std::make_shared<const PHLivePhoto>(std::move(parts));
  deliverInSteps(data, [&](const PHImageInfo* info) {
    request.handler(data.ConsumeBool() ? livePhoto : nullptr, info);
  });
}

int endSessions(FakeMediaFramework& media, FuzzedDataProvider& data) {
  int unended = 0;
  for (const auto& session : std::exchange(media.sessions, {})) {
    const auto status =
        static_cast<AVAssetExportSessionStatus>(data.ConsumeIntegralInRange<std::int64_t>(0, 5));
    if (status < AVAssetExportSessionStatus::completed) ++unended;
    session->finish(status, anyError(data));
  }
  return unended;
}

}  // namespace

int endPlatformWork(FakePlatform& platform, FuzzedDataProvider& data) {
  const auto endAll = [&data](const auto& requests) {
    for (const auto& request : requests) end(request, data);
  };
  FakeImageManager& images = platform.imageManager;
  endAll(images.imageRequests());
  endAll(images.dataRequests());
  endAll(images.videoRequests());
  endAll(images.livePhotoRequests());
  images.forgetRequests();
  for (const auto& write : std::exchange(platform.resourceManager.writes, {})) {
    write.finish(anyError(data));
  }
  for (const auto& answer : std::exchange(platform.library.authorizationRequests, {})) {
    answer(static_cast<PHAuthorizationStatus>(data.ConsumeIntegralInRange(0, 5)));
  }
  return endSessions(platform.media, data);
}

}  // namespace quorvin
